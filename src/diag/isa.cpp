#include "diag/isa.h"

#include <algorithm>
#include <atomic>

namespace tovrel {
namespace {

isa_level detected_isa() {
#if defined(__SSE2__)
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") ? isa_level::avx2 : isa_level::sse2;
#else
    return isa_level::scalar;
#endif
}

std::atomic<isa_level> isa_cap{isa_level::avx2};

} // namespace

isa_level isa_best() {
    static const isa_level detected = detected_isa();
    return std::min(detected, isa_cap.load(std::memory_order_relaxed));
}

void isa_cap_for_tests(isa_level cap) {
    isa_cap.store(cap, std::memory_order_relaxed);
}

} // namespace tovrel
