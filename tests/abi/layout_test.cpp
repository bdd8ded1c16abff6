#include <tovrel.h>

#include <gtest/gtest.h>

#include <cstddef>

extern "C" size_t tovrel_c_descriptor_size(void);
extern "C" size_t tovrel_c_alpha_pitch_offset(void);

namespace {

TEST(Layout, CAndCxxAgreeOnTheDescriptor) {
    EXPECT_EQ(tovrel_c_descriptor_size(), sizeof(image_descriptor));
    EXPECT_EQ(tovrel_c_alpha_pitch_offset(), offsetof(image_descriptor, alpha_pitch));
}

TEST(Layout, RecordOffsetsOnThisTarget) {
    // The header checks the 32-bit layout at compile time; on 64-bit
    // targets the pointers widen and the fields after them move.
    constexpr bool narrow = sizeof(void *) == 4;
    EXPECT_EQ(offsetof(image_descriptor, format), 16u);
    EXPECT_EQ(offsetof(image_descriptor, alpha_mode), 17u);
    EXPECT_EQ(offsetof(image_descriptor, pixels), narrow ? 20u : 24u);
    EXPECT_EQ(offsetof(image_descriptor, pitch), narrow ? 24u : 32u);
    EXPECT_EQ(offsetof(image_descriptor, alpha_kind), narrow ? 32u : 40u);
    EXPECT_EQ(offsetof(image_descriptor, alpha), narrow ? 36u : 48u);
    EXPECT_EQ(offsetof(image_descriptor, alpha_pitch), narrow ? 40u : 56u);
    EXPECT_EQ(sizeof(map_vertex), 20u);
}

} // namespace
