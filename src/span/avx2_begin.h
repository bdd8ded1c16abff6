// Everything from here to span/avx2_end.h is compiled for AVX2: include
// after the baseline headers (shared templates stay baseline code, so no
// AVX2 instruction leaks into a routine an SSE2-only processor runs).
// No include guard: each AVX2 file opens the region once.
#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2"))), apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx2")
#endif
