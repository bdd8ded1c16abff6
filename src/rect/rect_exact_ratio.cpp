// The exact-ratio kernel tables per format and instruction set, and their
// selection.
#include "rect/rect_exact_ratio.h"

#include <tovrel.h>

#include "rect/rect_exact_ratio_walk.h"

namespace tovrel {
namespace {

using namespace rect;

// The twelve kernels of one format under their names.
template <class T>
struct exact_ratio_set {
    static constexpr rect_kernel rect_x16_9_row1 = &exact_kernel<T, x16_9, false>;
    static constexpr rect_kernel rect_x16_9_row2 = &exact_kernel<T, x16_9, true>;
    static constexpr rect_kernel rect_x2_row1 = &exact_kernel<T, x2, false>;
    static constexpr rect_kernel rect_x2_row2 = &exact_kernel<T, x2, true>;
    static constexpr rect_kernel rect_x8_3_row1 = &exact_kernel<T, x8_3, false>;
    static constexpr rect_kernel rect_x8_3_row2 = &exact_kernel<T, x8_3, true>;
    static constexpr rect_kernel rect_x9_8_row1 = &exact_kernel<T, x9_8, false>;
    static constexpr rect_kernel rect_x9_8_row2 = &exact_kernel<T, x9_8, true>;
    static constexpr rect_kernel rect_x3_2_row1 = &exact_kernel<T, x3_2, false>;
    static constexpr rect_kernel rect_x3_2_row2 = &exact_kernel<T, x3_2, true>;
    static constexpr rect_kernel rect_x4_3_row1 = &exact_kernel<T, x4_3, false>;
    static constexpr rect_kernel rect_x4_3_row2 = &exact_kernel<T, x4_3, true>;
    static constexpr exact_ratio_table table = {{{rect_x16_9_row1, rect_x16_9_row2},
                                                 {rect_x2_row1, rect_x2_row2},
                                                 {rect_x8_3_row1, rect_x8_3_row2},
                                                 {rect_x9_8_row1, rect_x9_8_row2},
                                                 {rect_x3_2_row1, rect_x3_2_row2},
                                                 {rect_x4_3_row1, rect_x4_3_row2}}};
};

template <size_t... I>
constexpr std::array<exact_ratio_group, exact_ratio_count> groups_of(std::index_sequence<I...>) {
    return {ratio_descs[I].group...};
}

} // namespace

const std::array<exact_ratio_group, exact_ratio_count> rect_exact_ratio_groups =
    groups_of(std::make_index_sequence<exact_ratio_count>{});

const exact_ratio_table rect_exact_ratio_yuy2 = exact_ratio_set<uint8_t>::table;
const exact_ratio_table rect_exact_ratio_w210 = exact_ratio_set<uint16_t>::table;

const exact_ratio_table &rect_exact_ratio_table(uint8_t format, rect_isa isa) {
    const bool yuy2 = format == TOVREL_FORMAT_YUY2;
#if defined(__SSE2__)
    if (isa == rect_isa::avx2)
        return yuy2 ? rect_exact_ratio_yuy2_avx2 : rect_exact_ratio_w210_avx2;
    if (isa == rect_isa::sse2)
        return yuy2 ? rect_exact_ratio_yuy2_sse2 : rect_exact_ratio_w210_sse2;
#else
    (void)isa;
#endif
    return yuy2 ? rect_exact_ratio_yuy2 : rect_exact_ratio_w210;
}

bool rect_exact_ratio_kernels(uint8_t format, const rect_choice &c, rect_kernel *row1,
                              rect_kernel *row2) {
    const exact_ratio_table *table = format == TOVREL_FORMAT_YUY2 || format == TOVREL_FORMAT_W210
                                         ? &rect_exact_ratio_table(format, c.isa)
                                         : nullptr;
    if (table == nullptr || c.first_column_run != c.x_step || c.first_width != unit ||
        (c.src_column & 1) != 0 || (c.dst_column & 1) != 0 || c.width <= 0)
        return false;
    for (int32_t r = 0; r < exact_ratio_count; ++r) {
        const exact_ratio_group &g = rect_exact_ratio_groups[size_t(r)];
        if (c.x_step != g.x_step) continue;
        const int64_t group_units = int64_t{g.dst} * unit;
        if (c.width % group_units != 0) return false;
        // The general walk reads the source columns the width reaches at
        // x_step; a step rounded up (5462 for 4/3) reaches one column short
        // of the groups' once the drift passes a column, past 10928 pixels
        // for 4/3. Such lines keep the general kernels.
        const int64_t groups = c.width / group_units;
        if (groups * (int64_t{g.src} * c.x_step - group_units) >= c.x_step) return false;
        *row1 = (*table)[size_t(r)].row1;
        *row2 = (*table)[size_t(r)].row2;
        return true;
    }
    return false;
}

} // namespace tovrel
