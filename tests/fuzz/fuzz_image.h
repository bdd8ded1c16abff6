// What the fuzz targets share beside their scenes (scene.h): a report sink
// that checks every report line, and the checks made on a destination
// around a call.
#pragma once

#include "scene.h"

namespace tovrel_fuzz {

// While alive, the padding and slack of the given images (null: none) and
// buffer are poisoned for AddressSanitizer: wrap every call of the library
// in one.
struct poisoned {
    std::vector<const fuzz_image *> images;
    const guard_buffer *buffer;
    poisoned(std::initializer_list<const fuzz_image *> i, const guard_buffer *b = nullptr)
        : images(i), buffer(b) {
        set(true);
    }
    ~poisoned() { set(false); }
    void set(bool on) const {
        for (const fuzz_image *image : images)
            if (image) image->poison_padding(on);
        if (buffer) buffer->poison_slack(on);
    }
};

inline const bool verbose = std::getenv("TOVREL_FUZZ_VERBOSE") != nullptr;

inline void print_image(const char *name, const fuzz_image &image) {
    const image_descriptor &d = image.desc;
    std::printf("%s: %dx%d format %u mode %u pitch %d alpha_kind %u alpha_pitch %d origin "
                "(%d, %d)%s%s\n",
                name, d.width, d.height, d.format, d.alpha_mode, d.pitch, d.alpha_kind,
                d.alpha_pitch, d.origin_x, d.origin_y, d.pixels ? "" : " null pixels",
                d.alpha ? "" : " null alpha");
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

// The report sink: every line must be one whole, non-empty, printable
// message ending in a single "\n". Counts the lines and keeps the last.
inline int g_report_lines = 0;
inline char g_last_report[128];

inline void TOVREL_CALL fuzz_report_sink(const char *line, void *) {
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

// Draws `draw(flags, phase, step)` as the input gives it, from a snapshot
// of the destination, and checks:
// - no write outside the destination's lines;
// - a call that reported (where a report refuses the whole call) or that
//   must draw nothing left the destination as it was;
// - with unread flag bits cleared (`read_flags`) and after `alike()`
//   (which makes other unread parts of the input plain and tells whether
//   it changed any), the call gives the same bytes;
// - split: the calls (phase k, period split) for k in 0..split-1, odd
//   phases one period below zero (the same lines), give the bytes of the
//   single call (0, 1), unless lines share their bytes (pitch 0), where
//   the order of drawing decides.
// With TOVREL_FUZZ_VERBOSE set, prints the destination, the call's values
// and what the first call did.
template <typename Draw, typename Alike = bool (*)()>
void check_call(
    fuzz_image &dst, const call_input &c, uint32_t read_flags, bool must_not_draw,
    bool report_refuses_all, Draw draw, Alike alike = [] { return false; }) {
    if (verbose) {
        print_image("dst", dst);
        std::printf("flags %#x phase %d step %d split %d nulls %#x%s\n", c.flags, c.phase, c.step,
                    c.split, c.nulls.mask, c.nulls.on_source ? " on source" : "");
    }
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
    if (report_refuses_all && reported && !dst.unchanged())
        fail("destination changed by a call that reported");
    if (must_not_draw && !dst.unchanged()) fail("destination changed by a call that draws nothing");
    if (alike() || read_flags != c.flags)
        check_same(dst, "unread flag bits or alpha kinds changed the result",
                   [&] { draw(read_flags, c.phase, c.step); });
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
