// Closes the region opened by span/avx2_begin.h.
#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif
