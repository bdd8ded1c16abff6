// Fuzz target for map_rectangle: images, pitches, formats, alpha, flags,
// both rectangles and the line phase and period come from the input,
// inside and outside the contract. Every buffer is fenced; the source is
// read-only.
//
// Input: flags (u8, u8), null choice (u8), line selection (u8, i32, i32),
// destination and source image plans, a u16 of value kinds (2 bits per
// coordinate) and the eight coordinates (destination x0 y0 x1 y1, source
// x0 y0 x1 y1).
#include "fuzz_image.h"

using namespace tovrel_fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    byte_reader in{data, size};
    const call_input c(in);
    fuzz_image dst, src;
    build_pair(in, dst, src, c.nulls, false);
    const uint16_t kinds = in.u16();
    float x[8];
    for (int i = 0; i < 8; ++i) x[i] = coordinate(in, kinds >> (2 * i), 32.0f);

    // A yuvq source with an alpha kind other than none and W12B draws nothing.
    const bool yuvq_odd_alpha = src.desc.format == TOVREL_FORMAT_YUVQ &&
                                src.desc.alpha_kind != TOVREL_ALPHA_NONE &&
                                src.desc.alpha_kind != TOVREL_ALPHA_W12B;
    const bool nothing = yuvq_odd_alpha || src.vital_null() || dst.vital_null();
    if (verbose) {
        print_image("src", src);
        std::printf("dst (%.9g, %.9g)-(%.9g, %.9g) src (%.9g, %.9g)-(%.9g, %.9g)\n", x[0], x[1],
                    x[2], x[3], x[4], x[5], x[6], x[7]);
    }
    check_call(dst, c, rect_flags_read(c.flags), nothing, true,
               [&](uint32_t flags, int32_t phase, int32_t period) {
                   const poisoned guard({&src, &dst});
                   map_rectangle(dst.arg(), x[0], x[1], x[2], x[3], src.arg(), x[4], x[5], x[6],
                                 x[7], flags, phase, period);
               });
    return 0;
}
