// The report channel and the debug print: one line assembler shared by the
// screen and debugger sinks, guarded by a lock so that reports made from
// several threads arrive whole.
#include "diag/diag.h"

#include <atomic>
#include <cstdio>
#include <cstring>

namespace tovrel {
namespace {

// A minimal lock: the library may not assume a threads runtime on every
// target, and reports are rare and short.
class spin_lock {
public:
    void lock() {
        while (flag_.test_and_set(std::memory_order_acquire)) {
            while (flag_.test(std::memory_order_relaxed)) {
            }
        }
    }
    void unlock() { flag_.clear(std::memory_order_release); }

private:
    std::atomic_flag flag_ = ATOMIC_FLAG_INIT;
};

struct lock_guard {
    explicit lock_guard(spin_lock &l) : lock_(l) { lock_.lock(); }
    ~lock_guard() { lock_.unlock(); }
    lock_guard(const lock_guard &) = delete;
    lock_guard &operator=(const lock_guard &) = delete;
    spin_lock &lock_;
};

constexpr int report_wrap = 70;
constexpr int debugger_wrap = 130;

spin_lock g_lock;
line_assembler g_lines;
int32_t g_output_mode = 0;
std::atomic<int32_t> g_bell_count{1};
tovrel_report_sink g_host_sink = nullptr;
void *g_host_user = nullptr;

// Every line that would go to the screen goes to the host's sink instead
// when one is set. Called with g_lock held.
int screen_or_host(char *line) {
    if (g_host_sink) {
        g_host_sink(line, g_host_user);
        return 1;
    }
    return diag_screen_line(line);
}

int debugger_or_host(char *line) {
    if (g_host_sink) {
        g_host_sink(line, g_host_user);
        return 1;
    }
    return diag_debugger_line(line);
}

} // namespace

void line_assembler::write(const char *format, va_list args, int wrap, diag_sink sink) {
    if (write_pos_ > compact_threshold) {
        const size_t pending = write_pos_ - line_start_;
        if (pending != 0) std::memmove(buffer_, buffer_ + line_start_, pending);
        line_start_ = 0;
        write_pos_ = pending;
    }

    // Two bytes stay free for a forced "\n" and its NUL.
    const size_t room = capacity - write_pos_ - 2;
    const int n = std::vsnprintf(buffer_ + write_pos_, room + 1, format, args);
    const size_t first_new = write_pos_;
    if (n > 0) write_pos_ += static_cast<size_t>(n) < room ? static_cast<size_t>(n) : room;
    buffer_[write_pos_] = '\0';

    for (size_t i = first_new; i < write_pos_; ++i) {
        if (buffer_[i] != '\n') continue;
        const char saved = buffer_[i + 1];
        buffer_[i + 1] = '\0';
        sink(buffer_ + line_start_);
        buffer_[i + 1] = saved;
        line_start_ = i + 1;
    }

    if (write_pos_ - line_start_ >= static_cast<size_t>(wrap)) {
        buffer_[write_pos_] = '\n';
        buffer_[write_pos_ + 1] = '\0';
        sink(buffer_ + line_start_);
        // The write position stays: the next text overwrites the "\n".
        line_start_ = write_pos_;
    }
}

int32_t screen_cursor::place(int32_t vertical_resolution) {
    if (bottom == 0) bottom = vertical_resolution - 20;
    const int32_t drawn_at = y;
    y += 20;
    return drawn_at;
}

int diag_report(const char *format, ...) {
    if (!format) return 1;
    va_list args;
    va_start(args, format);
    {
        lock_guard guard(g_lock);
        g_lines.write(format, args, report_wrap, screen_or_host);
    }
    va_end(args);
    return 1;
}

void diag_print(const char *format, ...) {
    if (!format || format[0] == '\0') return;
    va_list args;
    va_start(args, format);
    lock_guard guard(g_lock);
    switch (g_output_mode) {
    case 0:
        std::vprintf(format, args);
        break;
    case 1:
        g_lines.write(format, args, debugger_wrap, debugger_or_host);
        break;
    case 2:
        g_lines.write(format, args, report_wrap, screen_or_host);
        break;
    default:
        break;
    }
    va_end(args);
}

int diag_set_output(int32_t mode) {
    lock_guard guard(g_lock);
    g_output_mode = mode;
    return mode;
}

void diag_print_beep(const char *format, ...) {
    if (!format || format[0] == '\0') return;
    va_list args;
    va_start(args, format);
    std::vprintf(format, args);
    va_end(args);
    int32_t count = g_bell_count.load();
    while (count != 0 && !g_bell_count.compare_exchange_weak(count, count - 1)) {
    }
    if (count != 0) std::printf("\a");
}

} // namespace tovrel

extern "C" TOVREL_API void TOVREL_CALL tovrel_set_report_sink(tovrel_report_sink sink,
                                                              void *user) noexcept {
    using namespace tovrel;
    lock_guard guard(g_lock);
    g_host_sink = sink;
    g_host_user = sink ? user : nullptr;
}
