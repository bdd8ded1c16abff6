// Time-stamp profiler: cycles read straight from the counter, converted to
// microseconds with a calibration measured once against the millisecond
// tick.
#include "diag/diag.h"

#include <atomic>
#include <cstdio>

#if defined(_WIN32)
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#else
#include <time.h>
#endif
#if defined(__i386__) || defined(__x86_64__)
#include <x86intrin.h>
#endif

namespace tovrel {
namespace {

uint64_t read_counter() {
#if defined(__i386__) || defined(__x86_64__)
    return __rdtsc();
#else
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000000000u + static_cast<uint64_t>(ts.tv_nsec);
#endif
}

uint32_t tick_ms() {
#if defined(_WIN32)
    return GetTickCount();
#else
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint32_t>(static_cast<uint64_t>(ts.tv_sec) * 1000u +
                                 static_cast<uint64_t>(ts.tv_nsec) / 1000000u);
#endif
}

std::atomic<uint64_t> g_cycles_per_second{0};

uint64_t calibrate() {
    const uint32_t t0 = tick_ms();
    uint32_t t1;
    do {
        t1 = tick_ms(); // start on a tick edge
    } while (t1 == t0);
    const uint64_t c1 = read_counter();
    uint32_t t2;
    do {
        t2 = tick_ms();
    } while (t2 < t1 + 500u);
    const uint64_t c2 = read_counter();
    return (c2 - c1) * 1000u / (t2 - t1);
}

char g_profile_text[104];

} // namespace

uint64_t profile_start(uint64_t *accumulator) {
    const uint64_t now = read_counter();
    *accumulator -= now;
    return now;
}

uint64_t profile_stop(uint64_t *accumulator) {
    const uint64_t now = read_counter() + 50; // fixed correction for the reads
    *accumulator += now;
    return now;
}

uint64_t profile_cycles_to_us(uint64_t cycles) {
    uint64_t rate = g_cycles_per_second.load(std::memory_order_relaxed);
    if (rate == 0) {
        rate = calibrate();
        if (rate == 0) rate = 1;
        g_cycles_per_second.store(rate, std::memory_order_relaxed);
    }
    return cycles * 1000000u / rate; // the product wraps modulo 2^64
}

const char *profile_format_with(const char *label, uint64_t elapsed, uint64_t total,
                                uint64_t cycles_per_second) {
    g_profile_text[0] = '\0';
    if (elapsed == 0) return g_profile_text;
    uint64_t hundredths = 0; // of a percent
    if (total != 0 && static_cast<int64_t>(elapsed) <= static_cast<int64_t>(total))
        hundredths = elapsed * 10000u / total;
    const uint64_t rate = cycles_per_second ? cycles_per_second : 1;
    const uint32_t us = static_cast<uint32_t>(elapsed * 1000000u / rate);
    const uint32_t pct = static_cast<uint32_t>(hundredths);
    std::snprintf(g_profile_text, sizeof g_profile_text, "%s %2d.%03d msec(%3d.%02d%%)\n", label,
                  static_cast<int>(us / 1000u), static_cast<int>(us % 1000u),
                  static_cast<int>(pct / 100u), static_cast<int>(pct % 100u));
    return g_profile_text;
}

const char *profile_format(const char *label, uint64_t elapsed, uint64_t total) {
    if (elapsed == 0) {
        g_profile_text[0] = '\0';
        return g_profile_text;
    }
    profile_cycles_to_us(1); // calibrate on first use
    return profile_format_with(label, elapsed, total,
                               g_cycles_per_second.load(std::memory_order_relaxed));
}

} // namespace tovrel
