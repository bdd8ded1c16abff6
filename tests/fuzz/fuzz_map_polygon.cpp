// Fuzz target for map_polygon: images, pitches, formats, alpha, flags,
// vertices and line selection all come from the input (polygon_scene),
// inside and outside the contract. Every buffer is fenced; the source is
// read-only.
#include "fuzz_image.h"

using namespace tovrel_fuzz;

namespace {

bool is_s16(uint8_t f) {
    return f == TOVREL_FORMAT_S16X4A || f == TOVREL_FORMAT_S16X4;
}

// Alpha kinds other than 3 act as 0.
uint32_t plain(uint32_t kind) {
    return kind == TOVREL_ALPHA_W12B ? kind : 0u;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    byte_reader in{data, size};
    polygon_scene s(in);
    fuzz_image &dst = s.dst, &src = s.src;
    const call_input &c = s.c;

    // Word sources with an alpha plane and S16X4 sources into other
    // formats draw nothing.
    const bool nothing =
        s.vertex_count < 1 || (is_s16(src.desc.format) && !is_s16(dst.desc.format)) ||
        c.nulls.other() ||
        (src.desc.format == TOVREL_FORMAT_WORD && src.desc.alpha_kind == TOVREL_ALPHA_W12B) ||
        src.vital_null() || dst.vital_null();
    if (verbose) {
        print_image("src", src);
        std::printf("vertex_count %d\n", s.vertex_count);
        for (size_t i = 0; i < s.stored(); ++i) {
            const map_vertex &v = s.vertices()[i];
            std::printf("  u %.9g v %.9g w %.9g x %.9g y %.9g\n", v.u, v.v, v.w, v.x, v.y);
        }
    }
    // Bits above 16 and a bottom field flag beside the top one are not read.
    uint32_t read_flags = c.flags & 0x1Fu;
    if (read_flags & MAP_FIELD_TOP) read_flags &= ~static_cast<uint32_t>(MAP_FIELD_BOTTOM);
    check_call(
        dst, c, read_flags, nothing, true,
        [&](uint32_t flags, int32_t first, int32_t step) {
            const int reports_before = g_report_lines;
            const poisoned guard({&src, &dst}, &s.vertex_memory);
            const int32_t result = s.draw(flags, first, step);
            if (s.vertex_count < 1 && result != 0 && g_report_lines == reports_before)
                fail("map_polygon with no vertices did not return 0");
        },
        [&] {
            const bool changed = plain(src.desc.alpha_kind) != src.desc.alpha_kind ||
                                 plain(dst.desc.alpha_kind) != dst.desc.alpha_kind;
            src.desc.alpha_kind = plain(src.desc.alpha_kind);
            dst.desc.alpha_kind = plain(dst.desc.alpha_kind);
            return changed;
        });
    return 0;
}
