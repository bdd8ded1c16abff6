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

// Tests only (the C interface has no such entry): caps isa_best() so that
// whole operations run on the SSE2 members or on the scalar statements
// alone. Set it between calls, not while one runs.
void isa_cap_for_tests(isa_level cap);

} // namespace tovrel
