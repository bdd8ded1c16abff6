// Fuzz target for multisrc_map_rectangle: up to six sources of one format
// at origins from the input (null entries included), the destination, both
// rectangles as doubles and the line phase and period, inside and outside
// the contract. Every buffer is fenced; sources are read-only.
//
// Input: flags (u8, u8), null choice (u8), line selection (u8, i32, i32),
// source count (u8), the destination image plan, a u16 of value kinds and
// the eight coordinates, then per source an entry kind (u8), origin x and
// y (i32 each) and its image plan (its format byte is replaced by the
// first source's).
#include <memory>

#include "fuzz_image.h"

using namespace tovrel_fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    constexpr int max_sources = 6;
    byte_reader in{data, size};
    call_input c(in);
    c.nulls.on_source = false; // nulls only on the destination and the list
    const uint8_t count_raw = in.u8();
    const int32_t source_count =
        count_raw == 0xFF ? INT32_MIN : static_cast<int32_t>(count_raw % 9) - 2; // -2..6
    const image_plan dst_spec = image_plan::read(in);
    const uint16_t kinds = in.u16();
    double x[8];
    for (int i = 0; i < 8; ++i) x[i] = coordinate(in, kinds >> (2 * i), 32.0);

    // Refusals are made per source (by its map_rectangle call, for its own
    // sizes, alpha, fields and piece of the rectangle), so a report stands
    // for a refusal of the whole call only with a single source.
    bool single = source_count == 1;
    std::unique_ptr<fuzz_image> sources[max_sources];
    const image_descriptor *list[max_sources] = {};
    const int stored = source_count > 0 ? source_count : 0;
    for (int i = 0; i < stored; ++i) {
        const uint8_t kind = in.u8();
        const int32_t ox = in.i32(), oy = in.i32();
        image_plan plan = image_plan::read(in);
        if (i > 0) plan.format = sources[0]->desc.format;
        sources[i] = std::make_unique<fuzz_image>();
        sources[i]->build(plan, plan.format_code(), null_choice());
        // Kind 15: a null entry; from 16 on, origins far from the plane's
        // middle; below, origins within +-512.
        sources[i]->desc.origin_x = kind >= 16 ? ox : ox % 512;
        sources[i]->desc.origin_y = kind >= 16 ? oy : oy % 512;
        sources[i]->protect();
        list[i] = kind % 16 == 15 ? nullptr : &sources[i]->desc;
        single = single && list[i];
    }
    guard_buffer list_memory(static_cast<size_t>(stored) * sizeof list[0]);
    std::memcpy(list_memory.data(), list, static_cast<size_t>(stored) * sizeof list[0]);
    list_memory.make_read_only();

    fuzz_image dst;
    dst.build(
        dst_spec,
        destination_layout(stored > 0 ? sources[0]->desc.format : 0, dst_spec.format_code(), false),
        c.nulls, stored > 0 && sources[0]->desc.format == TOVREL_FORMAT_YUVQ);
    const auto *const *list_arg =
        c.nulls.other() ? nullptr
                        : reinterpret_cast<const image_descriptor *const *>(list_memory.data());
    if (verbose) {
        for (int i = 0; i < stored; ++i)
            print_image(list[i] ? "src" : "src (null entry)", *sources[i]);
        std::printf("source_count %d\n", source_count);
        std::printf("dst (%.17g, %.17g)-(%.17g, %.17g) src (%.17g, %.17g)-(%.17g, %.17g)\n", x[0],
                    x[1], x[2], x[3], x[4], x[5], x[6], x[7]);
    }
    check_call(dst, c, rect_flags_read(c.flags),
               dst.vital_null() || c.nulls.other() || source_count < 1, single,
               [&](uint32_t flags, int32_t phase, int32_t period) {
                   const poisoned guard({&dst, sources[0].get(), sources[1].get(), sources[2].get(),
                                         sources[3].get(), sources[4].get(), sources[5].get()},
                                        &list_memory);
                   multisrc_map_rectangle(dst.arg(), x[0], x[1], x[2], x[3], list_arg, source_count,
                                          x[4], x[5], x[6], x[7], flags, phase, period);
               });
    return 0;
}
