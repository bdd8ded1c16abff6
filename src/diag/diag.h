// Diagnostics: the report channel through which refusals reach the host, a
// debug print with a selectable destination, and a time-stamp profiler.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

#include <tovrel.h>

#if defined(__GNUC__)
#define TOVREL_PRINTF(fmt, args) __attribute__((format(printf, fmt, args)))
#else
#define TOVREL_PRINTF(fmt, args)
#endif

namespace tovrel {

// Formats a message into the shared line buffer (wrap width 70) and hands
// every finished line to the report sink: the host's sink when one is set
// with tovrel_set_report_sink, otherwise the screen (Windows) or standard
// error. Messages end in "\n"; a shorter text without one stays pending
// and is joined to the next report. Thread-safe. Returns 1.
int diag_report(const char *format, ...) TOVREL_PRINTF(1, 2);

// Debug print by output mode: 0 standard output (unbuffered by lines),
// 1 the debugger (wrap 130), 2 the screen (wrap 70), other modes discard.
// An empty format prints nothing.
void diag_print(const char *format, ...) TOVREL_PRINTF(1, 2);
int diag_set_output(int32_t mode);

// A message box with one OK button and the caption "Message"; the text is
// at most 259 characters (longer texts are cut). Returns the box's result
// (1 where there is no message box).
int diag_message_box(const char *format, ...) TOVREL_PRINTF(1, 2);

// Prints to standard output; the first non-empty call also rings the bell.
void diag_print_beep(const char *format, ...) TOVREL_PRINTF(1, 2);

// Draws a one-pixel line on the screen, end point included (Windows only;
// elsewhere it does nothing). colour is 0x00BBGGRR.
int diag_draw_line(int32_t x0, int32_t y0, int32_t x1, int32_t y1, uint32_t colour);

// A sink takes one NUL-terminated line that ends in "\n".
using diag_sink = int (*)(char *line);

// The line assembler: 2048 bytes of text, a write position and the start
// of the unfinished line. Exposed as a type so that it can be tested on its
// own; the library uses one process-wide instance under a lock.
class line_assembler {
public:
    static constexpr size_t capacity = 2048;
    static constexpr size_t compact_threshold = 1024;

    // Formats at the write position, hands each complete line to `sink`,
    // and forces out an unfinished line of at least `wrap` characters
    // (appending "\n"; lines are never cut). The formatted text is bounded
    // by the room left after compaction; anything longer is truncated.
    void write(const char *format, va_list args, int wrap, diag_sink sink);

    size_t write_offset() const { return write_pos_; }
    size_t line_start_offset() const { return line_start_; }
    const char *data() const { return buffer_; }

private:
    char buffer_[capacity] = {};
    size_t write_pos_ = 0;
    size_t line_start_ = 0;
};

// Screen sink: draws the line at the current screen position and moves the
// blue marker bar below it (Windows), or writes the line to standard error.
int diag_screen_line(char *line);
// Debugger sink: OutputDebugStringA on Windows, standard error elsewhere.
int diag_debugger_line(char *line);

// Screen line placement, separated from the drawing so it can be tested:
// returns the y at which to draw, and advances the state by 20 pixels,
// wrapping to 0 once past the bottom limit (vertical resolution - 20).
struct screen_cursor {
    int32_t y = 0;
    int32_t bottom = 0;
    int32_t place(int32_t vertical_resolution);
};

// Time-stamp profiler. A stretch is bracketed by profile_start and
// profile_stop on the same accumulator; stretches may be summed.
uint64_t profile_start(uint64_t *accumulator);
uint64_t profile_stop(uint64_t *accumulator); // adds a fixed 50-cycle correction
// Cycles to microseconds; the first call calibrates for about half a second.
uint64_t profile_cycles_to_us(uint64_t cycles);
// Formats "label ms.uuu msec(pp.hh%)\n" into a static text and returns it
// (empty when elapsed is 0).
const char *profile_format(const char *label, uint64_t elapsed, uint64_t total);
// The same with a given calibration (cycles per second), for testing.
const char *profile_format_with(const char *label, uint64_t elapsed, uint64_t total,
                                uint64_t cycles_per_second);

} // namespace tovrel
