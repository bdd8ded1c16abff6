// Fuzz target for map_polygon: images, pitches, formats, alpha, flags,
// vertices and line selection all come from the input, inside and outside
// the contract. Every buffer is fenced; the source is read-only.
//
// Input: flags (u8, u8), null choice (u8), line selection (u8, i32, i32),
// vertex count (u8), destination and source image plans, then per vertex
// a u16 of value kinds (2 bits per field u, v, w, x, y) and the values.
#include "fuzz_image.h"

using namespace tovrel_fuzz;

namespace {

static_assert(sizeof(map_vertex) == 5 * sizeof(float));

float vertex_field(byte_reader &in, unsigned kind, bool is_w) {
    if (is_w && (kind & 3) == 0) return 1.0f;
    if (is_w && (kind & 3) == 1) return static_cast<float>(1 + in.u32() % 4096) / 256.0f;
    return coordinate(in, kind, 64.0f);
}

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
    const call_input c(in);
    const uint8_t count_raw = in.u8();
    const int32_t vertex_count =
        count_raw == 0xFF ? INT32_MIN : static_cast<int32_t>(count_raw % 44) - 3; // -3..40
    fuzz_image dst, src;
    build_pair(in, dst, src, c.nulls, true);

    const size_t stored = vertex_count > 0 ? static_cast<size_t>(vertex_count) : 0;
    guard_buffer vertex_memory(stored * sizeof(map_vertex));
    auto *vertices = reinterpret_cast<map_vertex *>(vertex_memory.data());
    for (size_t i = 0; i < stored; ++i) {
        const uint16_t k = in.u16();
        float f[5]; // u, v, w, x, y
        for (int j = 0; j < 5; ++j) f[j] = vertex_field(in, k >> (2 * j), j == 2);
        std::memcpy(&vertices[i], f, sizeof f);
    }
    vertex_memory.make_read_only();

    // Word sources with an alpha plane and S16X4 sources into other
    // formats draw nothing.
    const bool nothing =
        vertex_count < 1 || (is_s16(src.desc.format) && !is_s16(dst.desc.format)) ||
        c.nulls.other() ||
        (src.desc.format == TOVREL_FORMAT_WORD && src.desc.alpha_kind == TOVREL_ALPHA_W12B) ||
        src.vital_null() || dst.vital_null();
    if (verbose) {
        print_image("src", src);
        std::printf("vertex_count %d\n", vertex_count);
        for (size_t i = 0; i < stored; ++i)
            std::printf("  u %.9g v %.9g w %.9g x %.9g y %.9g\n", vertices[i].u, vertices[i].v,
                        vertices[i].w, vertices[i].x, vertices[i].y);
    }
    const map_vertex *vertex_arg = c.nulls.other() ? nullptr : vertices;
    // Bits above 16 and a bottom field flag beside the top one are not read.
    uint32_t read_flags = c.flags & 0x1Fu;
    if (read_flags & MAP_FIELD_TOP) read_flags &= ~static_cast<uint32_t>(MAP_FIELD_BOTTOM);
    check_call(
        dst, c, read_flags, nothing, true,
        [&](uint32_t flags, int32_t first, int32_t step) {
            const int reports_before = g_report_lines;
            const poisoned guard({&src, &dst}, &vertex_memory);
            const int32_t result =
                map_polygon(dst.arg(), src.arg(), vertex_arg, vertex_count, flags, first, step);
            if (vertex_count < 1 && result != 0 && g_report_lines == reports_before)
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
