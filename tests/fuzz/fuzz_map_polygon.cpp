// Fuzz target for map_polygon: images, pitches, formats, alpha, flags,
// vertices and line selection all come from the input, inside and outside
// the contract. Every buffer is fenced; the source is read-only.
//
// Input: flags (u8, u8), null choice (u8), line selection (u8, i32, i32),
// vertex count (u8), destination and source image specs, then per vertex
// a u16 of value kinds (2 bits per field u, v, w, x, y) and the values.
#include <cstdint>
#include <memory>

#include "fuzz_image.h"

using namespace tovrel_fuzz;

namespace {

// The destination is laid out in the format the writers will use: the
// source's for RGBQ, YUY2, word and W210 sources; its own for the 16-bit
// four-component sources.
uint8_t destination_layout(uint8_t src_format, uint8_t dst_format) {
    switch (src_format) {
    case TOVREL_FORMAT_RGBQ:
    case TOVREL_FORMAT_YUY2:
    case TOVREL_FORMAT_WORD:
    case TOVREL_FORMAT_W210:
        return src_format;
    default:
        return dst_format;
    }
}

// Combinations that select no renderer and report nothing.
bool draws_nothing(const image_descriptor &dst, const image_descriptor &src) {
    if (src.format == TOVREL_FORMAT_WORD && src.alpha_kind == TOVREL_ALPHA_W12B) return true;
    const bool s16 = src.format == TOVREL_FORMAT_S16X4A || src.format == TOVREL_FORMAT_S16X4;
    const bool dst_s16 = dst.format == TOVREL_FORMAT_S16X4A || dst.format == TOVREL_FORMAT_S16X4;
    return s16 && !dst_s16;
}

float vertex_field(byte_reader &in, unsigned kind, bool is_w) {
    if (is_w) {
        if ((kind & 3) == 0) return 1.0f;
        if ((kind & 3) == 1) return static_cast<float>(1 + in.u32() % 4096) / 256.0f;
    }
    return float_value(in, kind, 64.0f);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    install_sink();
    return 0;
}

// A null that the call cannot do without: it must draw nothing.
static bool vital_null(const null_choice &n, const image_descriptor &image) {
    return n.descriptor() || n.pixels() || (n.alpha() && image.alpha_kind == TOVREL_ALPHA_W12B);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    byte_reader in(data, size);
    uint32_t flags = in.u8();
    const uint8_t high = in.u8();
    if (high & 0x80) flags |= static_cast<uint32_t>(high) << 24; // bits above the low 8
    const uint8_t null_raw = in.u8();
    const null_choice nulls(null_raw, high);
    int32_t first_line, line_step;
    int32_t split;
    line_selection(in, &first_line, &line_step, &split);
    const uint8_t count_raw = in.u8();
    const int32_t vertex_count =
        count_raw == 0xFF ? INT32_MIN : static_cast<int32_t>(count_raw % 44) - 3; // -3..40

    image_spec dst_spec, src_spec;
    dst_spec.read(in);
    src_spec.read(in);

    auto src = std::make_unique<fuzz_image>();
    auto dst = std::make_unique<fuzz_image>();
    src->build(src_spec, src_spec.format_code(), nulls.for_source());
    src->protect();
    dst->build(dst_spec, destination_layout(src_spec.format_code(), dst_spec.format_code()),
               nulls.for_destination());

    const size_t stored = vertex_count > 0 ? static_cast<size_t>(vertex_count) : 0;
    guard_buffer vertex_memory(stored * sizeof(map_vertex));
    auto *vertices = reinterpret_cast<map_vertex *>(vertex_memory.data());
    for (size_t i = 0; i < stored; ++i) {
        const uint16_t kinds = in.u16();
        map_vertex v;
        v.u = vertex_field(in, kinds, false);
        v.v = vertex_field(in, kinds >> 2, false);
        v.w = vertex_field(in, kinds >> 4, true);
        v.x = vertex_field(in, kinds >> 6, false);
        v.y = vertex_field(in, kinds >> 8, false);
        vertices[i] = v;
    }
    vertex_memory.make_read_only();

    const image_descriptor *dst_arg = nulls.for_destination().descriptor() ? nullptr : &dst->desc;
    const image_descriptor *src_arg = nulls.for_source().descriptor() ? nullptr : &src->desc;
    const bool nothing = vertex_count < 1 || draws_nothing(dst->desc, src->desc) || nulls.other() ||
                         vital_null(nulls.for_source(), src->desc) ||
                         vital_null(nulls.for_destination(), dst->desc);

    if (verbose()) {
        print_image("dst", *dst);
        print_image("src", *src);
        std::printf("flags %#x first_line %d line_step %d vertex_count %d nulls %#x\n", flags,
                    first_line, line_step, vertex_count, nulls.mask);
        for (size_t i = 0; i < stored; ++i)
            std::printf("  u %.9g v %.9g w %.9g x %.9g y %.9g\n", vertices[i].u, vertices[i].v,
                        vertices[i].w, vertices[i].x, vertices[i].y);
    }
    const map_vertex *vertex_arg = nulls.other() ? nullptr : vertices;
    const auto draw = [&](uint32_t f, int32_t first, int32_t step) {
        const poisoned guard({src.get(), dst.get()}, {&vertex_memory});
        return map_polygon(dst_arg, src_arg, vertex_arg, vertex_count, f, first, step);
    };
    dst->snapshot();
    const int reports_before = g_reports.lines;
    const int32_t result = draw(flags, first_line, line_step);
    if (vertex_count < 1 && result != 0 && g_reports.lines == reports_before)
        fail("map_polygon with no vertices did not return 0");
    check_destination(*dst, reports_before, nothing);

    // Bits above 16 and a bottom field flag beside the top one are not
    // read; alpha kinds other than 3 act as 0.
    uint32_t read_flags = flags & 0x1Fu;
    if (read_flags & MAP_FIELD_TOP) read_flags &= ~static_cast<uint32_t>(MAP_FIELD_BOTTOM);
    const uint32_t src_kind = src->desc.alpha_kind, dst_kind = dst->desc.alpha_kind;
    const auto plain = [](uint32_t kind) { return kind == TOVREL_ALPHA_W12B ? kind : 0u; };
    if (read_flags != flags || plain(src_kind) != src_kind || plain(dst_kind) != dst_kind) {
        src->desc.alpha_kind = plain(src_kind);
        dst->desc.alpha_kind = plain(dst_kind);
        check_equivalent(*dst, "unread flag bits or an unknown alpha kind changed the result",
                         [&] { draw(read_flags, first_line, line_step); });
    }
    if (split > 0) {
        check_split(*dst, split,
                    [&](int32_t phase, int32_t period) { draw(flags, phase, period); });
    }
    return 0;
}
