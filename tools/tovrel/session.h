// What every command shares: the library's report channel routed to the
// tool's error stream, and a stopwatch for the library calls.
#pragma once

#include <chrono>
#include <cstdio>
#include <string>

#include <tovrel.h>

namespace tovrel_tool {

// While alive, every report line of the library is printed to `err`
// (prefixed "tovrel: library: ") and counted; a line repeating the one
// before it (the same refusal from every thread of a frame) is counted but
// not printed again. Only one may exist at a time.
class report_scope {
public:
    explicit report_scope(std::FILE *err);
    ~report_scope();
    report_scope(const report_scope &) = delete;
    report_scope &operator=(const report_scope &) = delete;

    int count() const { return count_; }

private:
    static void TOVREL_CALL sink(const char *line, void *user);
    std::FILE *err_;
    int count_ = 0;
    std::string last_;
};

// Accumulates the wall time of the calls it wraps.
class stopwatch {
public:
    template <typename F>
    void time(F &&call) {
        const auto start = std::chrono::steady_clock::now();
        call();
        elapsed_ += std::chrono::steady_clock::now() - start;
    }
    double milliseconds() const {
        return std::chrono::duration<double, std::milli>(elapsed_).count();
    }

private:
    std::chrono::steady_clock::duration elapsed_{};
};

} // namespace tovrel_tool
