// Fuzz target for multisrc_map_rectangle: up to six sources of one format
// at origins from the input (null entries included), the destination, both
// rectangles as doubles and the line phase and period, inside and outside
// the contract. Every buffer is fenced; sources are read-only.
//
// Input: flags (u8, u8), null choice (u8), line selection (u8, i32, i32),
// source count (u8), the destination image spec, a u16 of value kinds and
// the eight coordinates, then per source an entry kind (u8), origin x and
// y (i32 each) and its image spec (its format byte is replaced by the
// first source's).
#include <cstdint>
#include <memory>

#include "fuzz_image.h"

using namespace tovrel_fuzz;

namespace {

constexpr int max_sources = 6;

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

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    install_sink();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    byte_reader in(data, size);
    uint32_t flags = in.u8();
    const uint8_t high = in.u8();
    if (high & 0x80) flags |= static_cast<uint32_t>(high) << 24;
    const null_choice nulls(in.u8(), 0);
    int32_t line_phase, line_period;
    int32_t split;
    line_selection(in, &line_phase, &line_period, &split);
    const uint8_t count_raw = in.u8();
    const int32_t source_count =
        count_raw == 0xFF ? INT32_MIN : static_cast<int32_t>(count_raw % 9) - 2; // -2..6

    image_spec dst_spec;
    dst_spec.read(in);
    const uint16_t kinds = in.u16();
    double c[8];
    for (int i = 0; i < 8; ++i) c[i] = double_value(in, kinds >> (2 * i), 32.0);

    // Refusals are made per source (by its map_rectangle call, for its own
    // sizes, alpha, fields and piece of the rectangle), so a report stands
    // for a refusal of the whole call only with a single source.
    bool single = source_count == 1;
    std::unique_ptr<fuzz_image> sources[max_sources];
    const image_descriptor *list[max_sources] = {};
    uint8_t format = 0;
    const int stored = source_count > 0 ? source_count : 0;
    for (int i = 0; i < stored; ++i) {
        const uint8_t kind = in.u8();
        const int32_t ox = in.i32(), oy = in.i32();
        image_spec spec;
        spec.read(in);
        if (i == 0) format = spec.format;
        spec.format = format;
        sources[i] = std::make_unique<fuzz_image>();
        // Kind 15: a null entry; from 16 on, origins far from the plane's
        // middle; below, origins within +-512.
        const bool null_entry = kind % 16 == 15;
        sources[i]->build(spec, spec.format_code(), null_choice());
        sources[i]->desc.origin_x = kind >= 16 ? ox : ox % 512;
        sources[i]->desc.origin_y = kind >= 16 ? oy : oy % 512;
        sources[i]->protect();
        list[i] = null_entry ? nullptr : &sources[i]->desc;
        single = single && !null_entry;
    }
    guard_buffer list_memory(static_cast<size_t>(stored) * sizeof list[0]);
    std::memcpy(list_memory.data(), list, static_cast<size_t>(stored) * sizeof list[0]);
    list_memory.make_read_only();

    auto dst = std::make_unique<fuzz_image>();
    const uint8_t src_format = stored > 0 ? sources[0]->desc.format : 0;
    dst->build(dst_spec, destination_layout(src_format, dst_spec.format_code()),
               nulls.for_destination());
    const bool vital = nulls.descriptor() || nulls.pixels() ||
                       (nulls.alpha() && dst->desc.alpha_kind == TOVREL_ALPHA_W12B) ||
                       nulls.other();

    const auto *const *list_arg =
        nulls.other() ? nullptr
                      : reinterpret_cast<const image_descriptor *const *>(list_memory.data());
    if (verbose()) {
        print_image("dst", *dst);
        for (int i = 0; i < stored; ++i)
            print_image(list[i] ? "src" : "src (null entry)", *sources[i]);
        std::printf("flags %#x line_phase %d line_period %d source_count %d nulls %#x\n", flags,
                    line_phase, line_period, source_count, nulls.mask);
        std::printf("dst (%.17g, %.17g)-(%.17g, %.17g) src (%.17g, %.17g)-(%.17g, %.17g)\n", c[0],
                    c[1], c[2], c[3], c[4], c[5], c[6], c[7]);
    }
    const image_descriptor *dst_arg = nulls.descriptor() ? nullptr : &dst->desc;
    const auto draw = [&](uint32_t f, int32_t phase, int32_t period) {
        const poisoned guard({dst.get(), sources[0].get(), sources[1].get(), sources[2].get(),
                              sources[3].get(), sources[4].get(), sources[5].get()},
                             {&list_memory});
        multisrc_map_rectangle(dst_arg, c[0], c[1], c[2], c[3], list_arg, source_count, c[4], c[5],
                               c[6], c[7], f, phase, period);
    };
    dst->snapshot();
    const int reports_before = g_reports.lines;
    draw(flags, line_phase, line_period);
    check_destination(*dst, reports_before, vital || source_count < 1, single);
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
