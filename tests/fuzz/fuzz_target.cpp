// A fuzz target for one operation, built once per scene (FUZZ_SCENE:
// polygon_scene, rect_scene or multisrc_scene). Images, pitches, formats,
// alpha, flags, vertices or rectangles and the line selection all come
// from the input (scene.h), inside and outside the contract. Every buffer
// is fenced; sources are read-only.
#include "scene.h"

namespace tovrel_fuzz {

const bool verbose = std::getenv("TOVREL_FUZZ_VERBOSE") != nullptr;

// The report sink: every line must be one whole, non-empty, printable
// message ending in a single "\n". Counts the lines and keeps the last.
int g_report_lines = 0;
char g_last_report[128];

void TOVREL_CALL fuzz_report_sink(const char *line, void *) {
    if (!line) fail("report sink received a null line");
    const size_t n = std::strlen(line);
    if (n < 2 || line[n - 1] != '\n') fail("report line does not end in a newline");
    for (size_t i = 0; i + 1 < n; ++i) {
        const unsigned char c = static_cast<unsigned char>(line[i]);
        if (c == '\n' || c < 0x20 || c > 0x7E) fail("report line holds a control character");
    }
    ++g_report_lines;
    std::snprintf(g_last_report, sizeof g_last_report, "%s", line);
}

// What a call of the scene must do: the flags it reads (the others must
// not change the result), whether it must draw nothing, and whether a
// report refuses the whole call.
struct expectation {
    uint32_t read_flags;
    bool must_not_draw, report_refuses_all;
};

// Bits above 16 and a bottom field flag beside the top one are not read.
// Word sources with an alpha plane and S16X4 sources into other formats
// draw nothing.
expectation expect(const polygon_scene &s) {
    uint32_t read = s.c.flags & 0x1Fu;
    if (read & MAP_FIELD_TOP) read &= ~static_cast<uint32_t>(MAP_FIELD_BOTTOM);
    const image_descriptor &src = s.src.desc;
    const bool nothing =
        s.vertex_count < 1 || (format_of(src.format).s16 && !format_of(s.dst.desc.format).s16) ||
        s.c.nulls.other() ||
        (src.format == TOVREL_FORMAT_WORD && src.alpha_kind == TOVREL_ALPHA_W12B) ||
        s.src.vital_null() || s.dst.vital_null();
    return {read, nothing, true};
}

// The flags the rectangle operations read: bits 4, 8, 16, 64 and 128 of
// the low byte, a top field flag winning over the bottom one.
uint32_t rect_flags_read(uint32_t flags) {
    uint32_t f = flags & 0xDCu;
    if (f & RECT_SRC_FIELD_TOP) f &= ~static_cast<uint32_t>(RECT_SRC_FIELD_BOTTOM);
    if (f & RECT_DST_FIELD_TOP) f &= ~static_cast<uint32_t>(RECT_DST_FIELD_BOTTOM);
    return f;
}

// A yuvq source with an alpha kind other than none and W12B draws nothing.
expectation expect(const rect_scene &s) {
    const image_descriptor &src = s.src.desc;
    const bool yuvq_odd_alpha = src.format == TOVREL_FORMAT_YUVQ &&
                                src.alpha_kind != TOVREL_ALPHA_NONE &&
                                src.alpha_kind != TOVREL_ALPHA_W12B;
    return {rect_flags_read(s.c.flags), yuvq_odd_alpha || s.src.vital_null() || s.dst.vital_null(),
            true};
}

// Refusals are made per source (by its map_rectangle call, for its own
// sizes, alpha, fields and piece of the rectangle), so a report stands for
// a refusal of the whole call only with a single source.
expectation expect(const multisrc_scene &s) {
    return {rect_flags_read(s.c.flags),
            s.dst.vital_null() || s.c.nulls.other() || s.source_count < 1,
            s.source_count == 1 && s.list[0]};
}

// Makes the other unread parts of the input plain and tells whether that
// changed any: polygons take alpha kinds other than 3 as 0.
bool make_alike(polygon_scene &s) {
    bool changed = false;
    for (uint32_t *kind : {&s.src.desc.alpha_kind, &s.dst.desc.alpha_kind})
        if (*kind != TOVREL_ALPHA_NONE && *kind != TOVREL_ALPHA_W12B) *kind = 0, changed = true;
    return changed;
}
template <typename Scene>
bool make_alike(Scene &) {
    return false;
}

// Keeps what the destination holds, redraws from the destination as it was
// before the first call with `redraw()`, and demands the same bytes; with
// TOVREL_FUZZ_VERBOSE set, tells where they first differ (line and byte in
// the line).
template <typename Redraw>
void check_same(fuzz_image &dst, const char *what, Redraw redraw) {
    const std::vector<uint8_t> colour = dst.colour.contents(), alpha = dst.alpha.contents();
    dst.restore();
    redraw();
    if (colour == dst.colour.contents() && alpha == dst.alpha.contents()) return;
    for (const auto &[p, a] : {std::pair{&dst.colour, &colour}, std::pair{&dst.alpha, &alpha}}) {
        const std::vector<uint8_t> b = p->contents();
        size_t count = 0, first = 0;
        for (size_t i = 0; i < a->size() && i < b.size(); ++i)
            if ((*a)[i] != b[i]) first = count++ ? first : i;
        if (!verbose || count == 0) continue;
        const int64_t at = static_cast<int64_t>(first) - (p->line0 - p->buffer.data());
        const int64_t line = p->pitch ? at / p->pitch : 0;
        std::printf("%s: %zu bytes differ, first at line %lld byte %lld (%u vs %u)\n",
                    p == &dst.colour ? "colour" : "alpha", count, static_cast<long long>(line),
                    static_cast<long long>(at - line * p->pitch), (*a)[first], b[first]);
    }
    fail(what);
}

// Draws the scene's call as the input gives it, from a snapshot of the
// destination, and checks:
// - no write outside the destination's lines;
// - a call that reported (where a report refuses the whole call) or that
//   must draw nothing left the destination as it was;
// - a polygon without vertices returns 0 unless it reported;
// - with unread flag bits cleared and after make_alike(), the call gives
//   the same bytes;
// - split: the calls (phase k, period split) for k in 0..split-1, odd
//   phases one period below zero (the same lines), give the bytes of the
//   single call (0, 1), unless lines share their bytes (pitch 0), where
//   the order of drawing decides.
// With TOVREL_FUZZ_VERBOSE set, prints the scene and what the first call
// did.
template <typename Scene>
void check_call(Scene &s) {
    const expectation e = expect(s);
    const call_input &c = s.c;
    fuzz_image &dst = s.dst;
    const auto draw = [&](uint32_t flags, int32_t phase, int32_t step) {
        const int reports_before = g_report_lines;
        if constexpr (std::is_same_v<Scene, polygon_scene>) {
            if (s.draw(flags, phase, step) != 0 && s.vertex_count < 1 &&
                g_report_lines == reports_before)
                fail("map_polygon with no vertices did not return 0");
        } else {
            s.draw(flags, phase, step);
        }
    };
    if (verbose) std::printf("%s\n", describe(s).c_str());
    dst.snapshot();
    const int reports_before = g_report_lines;
    draw(c.flags, c.phase, c.step);
    const bool reported = g_report_lines != reports_before;
    if (verbose)
        std::printf("outcome: %s%s", reported ? "reported " : "",
                    reported          ? g_last_report
                    : dst.unchanged() ? "unchanged\n"
                                      : "drew\n");
    if (!dst.writes_confined()) fail("write outside the destination's lines");
    if (e.report_refuses_all && reported && !dst.unchanged())
        fail("destination changed by a call that reported");
    if (e.must_not_draw && !dst.unchanged())
        fail("destination changed by a call that draws nothing");
    if (make_alike(s) || e.read_flags != c.flags)
        check_same(dst, "unread flag bits or alpha kinds changed the result",
                   [&] { draw(e.read_flags, c.phase, c.step); });
    if (c.split > 0 && !dst.colour.lines_alias() && !dst.alpha.lines_alias()) {
        dst.restore();
        for (int32_t k = 0; k < c.split; ++k) draw(c.flags, (k & 1) ? k - c.split : k, c.split);
        check_same(dst, "drawing by line phases differs from one call",
                   [&] { draw(c.flags, 0, 1); });
    }
}

} // namespace tovrel_fuzz

// Each target is its own program: the report sink is installed once.
extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    tovrel_set_report_sink(tovrel_fuzz::fuzz_report_sink, nullptr);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    tovrel_fuzz::byte_reader in{data, size};
    tovrel_fuzz::FUZZ_SCENE s(in);
    tovrel_fuzz::check_call(s);
    return 0;
}
