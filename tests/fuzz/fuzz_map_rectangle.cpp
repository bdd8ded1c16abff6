// Fuzz target for map_rectangle: images, pitches, formats, alpha, flags,
// both rectangles and the line phase and period come from the input,
// inside and outside the contract. Every buffer is fenced; the source is
// read-only.
//
// Input: flags (u8, u8), null choice (u8), line selection (u8, i32, i32),
// destination and source image specs, a u16 of value kinds (2 bits per
// coordinate) and the eight coordinates (destination x0 y0 x1 y1, source
// x0 y0 x1 y1).
#include <cstdint>
#include <memory>

#include "fuzz_image.h"

using namespace tovrel_fuzz;

namespace {

// The destination is laid out in the source's format, except under a yuvq
// source, whose destination format decides.
uint8_t destination_layout(uint8_t src_format, uint8_t dst_format) {
    switch (src_format) {
    case TOVREL_FORMAT_RGBQ:
    case TOVREL_FORMAT_YUY2:
    case TOVREL_FORMAT_W210:
        return src_format;
    default:
        return dst_format;
    }
}

bool vital_null(const null_choice &n, const image_descriptor &image) {
    return n.descriptor() || n.pixels() || (n.alpha() && image.alpha_kind == TOVREL_ALPHA_W12B);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    install_sink();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    byte_reader in(data, size);
    uint32_t flags = in.u8();
    const uint8_t high = in.u8();
    if (high & 0x80) flags |= static_cast<uint32_t>(high) << 24; // bits above the low 8
    const null_choice nulls(in.u8(), high);
    int32_t line_phase, line_period;
    int32_t split;
    line_selection(in, &line_phase, &line_period, &split);

    image_spec dst_spec, src_spec;
    dst_spec.read(in);
    src_spec.read(in);
    const uint16_t kinds = in.u16();
    float c[8];
    for (int i = 0; i < 8; ++i) c[i] = float_value(in, kinds >> (2 * i), 32.0f);

    auto src = std::make_unique<fuzz_image>();
    auto dst = std::make_unique<fuzz_image>();
    src->build(src_spec, src_spec.format_code(), nulls.for_source());
    src->protect();
    dst->build(dst_spec, destination_layout(src_spec.format_code(), dst_spec.format_code()),
               nulls.for_destination());

    const image_descriptor *dst_arg = nulls.for_destination().descriptor() ? nullptr : &dst->desc;
    const image_descriptor *src_arg = nulls.for_source().descriptor() ? nullptr : &src->desc;
    const bool yuvq_odd_alpha = src->desc.format == TOVREL_FORMAT_YUVQ &&
                                src->desc.alpha_kind != TOVREL_ALPHA_NONE &&
                                src->desc.alpha_kind != TOVREL_ALPHA_W12B;
    const bool nothing = yuvq_odd_alpha || vital_null(nulls.for_source(), src->desc) ||
                         vital_null(nulls.for_destination(), dst->desc);

    if (verbose()) {
        print_image("dst", *dst);
        print_image("src", *src);
        std::printf("flags %#x line_phase %d line_period %d nulls %#x\n", flags, line_phase,
                    line_period, nulls.mask);
        std::printf("dst (%.9g, %.9g)-(%.9g, %.9g) src (%.9g, %.9g)-(%.9g, %.9g)\n", c[0], c[1],
                    c[2], c[3], c[4], c[5], c[6], c[7]);
    }
    const auto draw = [&](uint32_t f, int32_t phase, int32_t period) {
        const poisoned guard({src.get(), dst.get()});
        map_rectangle(dst_arg, c[0], c[1], c[2], c[3], src_arg, c[4], c[5], c[6], c[7], f, phase,
                      period);
    };
    dst->snapshot();
    const int reports_before = g_reports.lines;
    draw(flags, line_phase, line_period);
    check_destination(*dst, reports_before, nothing);
    if (rect_flags_read(flags) != flags) {
        check_equivalent(*dst, "unread flag bits changed the result",
                         [&] { draw(rect_flags_read(flags), line_phase, line_period); });
    }
    if (split > 0) {
        check_split(*dst, split,
                    [&](int32_t phase, int32_t period) { draw(flags, phase, period); });
    }
    return 0;
}
