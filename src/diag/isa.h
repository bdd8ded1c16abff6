// The instruction sets routine tables come in, and the one a call uses.
#pragma once

#include <cstdint>

namespace tovrel {

// Ordered: every level runs the routines of the levels below it. scalar is
// the plain C statement of each routine, the reference the others match
// byte for byte.
enum class isa_level : uint8_t { scalar, sse2, avx2 };

// The widest level this build and processor run, lowered to the test cap.
// Callers read it once per operation, when they pick their routines.
isa_level isa_best();

// Of three choices, one per level (routine tables, a kernel set's
// instruction set), the one for isa_best().
template <class T>
T for_best_isa(T avx2, T sse2, T scalar) {
    switch (isa_best()) {
    case isa_level::avx2:
        return avx2;
    case isa_level::sse2:
        return sse2;
    case isa_level::scalar:
        break;
    }
    return scalar;
}

// Tests only (the C interface has no such entry): caps isa_best() so that
// whole operations run on the SSE2 members or on the scalar statements
// alone. Set it between calls, not while one runs.
void isa_cap_for_tests(isa_level cap);

} // namespace tovrel
