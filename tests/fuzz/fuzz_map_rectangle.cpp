// Fuzz target for map_rectangle: images, pitches, formats, alpha, flags,
// both rectangles and the line phase and period come from the input
// (rect_scene), inside and outside the contract. Every buffer is fenced;
// the source is read-only.
#include "fuzz_image.h"

using namespace tovrel_fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    byte_reader in{data, size};
    rect_scene s(in);
    const image_descriptor &src = s.src.desc;
    // A yuvq source with an alpha kind other than none and W12B draws nothing.
    const bool yuvq_odd_alpha = src.format == TOVREL_FORMAT_YUVQ &&
                                src.alpha_kind != TOVREL_ALPHA_NONE &&
                                src.alpha_kind != TOVREL_ALPHA_W12B;
    const bool nothing = yuvq_odd_alpha || s.src.vital_null() || s.dst.vital_null();
    if (verbose) {
        print_image("src", s.src);
        const float *x = s.x;
        std::printf("dst (%.9g, %.9g)-(%.9g, %.9g) src (%.9g, %.9g)-(%.9g, %.9g)\n", x[0], x[1],
                    x[2], x[3], x[4], x[5], x[6], x[7]);
    }
    check_call(s.dst, s.c, rect_flags_read(s.c.flags), nothing, true,
               [&](uint32_t flags, int32_t phase, int32_t period) {
                   const poisoned guard({&s.src, &s.dst});
                   s.draw(flags, phase, period);
               });
    return 0;
}
