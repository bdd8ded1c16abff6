// Fuzz target for multisrc_map_rectangle: up to six sources of one format
// at origins from the input (multisrc_scene), the destination, both
// rectangles as doubles and the line phase and period, inside and outside
// the contract. Every buffer is fenced; sources are read-only.
#include "fuzz_image.h"

using namespace tovrel_fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    byte_reader in{data, size};
    multisrc_scene s(in);
    // Refusals are made per source (by its map_rectangle call, for its own
    // sizes, alpha, fields and piece of the rectangle), so a report stands
    // for a refusal of the whole call only with a single source.
    const bool single = s.source_count == 1 && s.list[0];
    if (verbose) {
        for (int i = 0; i < s.stored(); ++i)
            print_image(s.list[i] ? "src" : "src (null entry)", s.sources[i]);
        const double *x = s.x;
        std::printf("source_count %d\n", s.source_count);
        std::printf("dst (%.17g, %.17g)-(%.17g, %.17g) src (%.17g, %.17g)-(%.17g, %.17g)\n", x[0],
                    x[1], x[2], x[3], x[4], x[5], x[6], x[7]);
    }
    check_call(s.dst, s.c, rect_flags_read(s.c.flags),
               s.dst.vital_null() || s.c.nulls.other() || s.source_count < 1, single,
               [&](uint32_t flags, int32_t phase, int32_t period) {
                   const poisoned guard({&s.dst, &s.sources[0], &s.sources[1], &s.sources[2],
                                         &s.sources[3], &s.sources[4], &s.sources[5]},
                                        &s.list_memory);
                   s.draw(flags, phase, period);
               });
    return 0;
}
