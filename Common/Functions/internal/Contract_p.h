#pragma once

// FUNCTIONS_ASSERT(condition) states a precondition of an internal helper that its callers
// guarantee, such as "the indexes fit the contour list" or "n > half". Debug builds (no
// NDEBUG) and the instrumented builds (FUNCTIONS_CONTRACT_CHECKS) check it: a broken
// contract aborts with the condition and its place, where the caller broke it, instead of
// turning into a wrong result or an out-of-bounds read further on. Release builds compile
// it to nothing; the condition is not evaluated.
//
// Never for what a host passes: exported functions check their input themselves and
// return their documented failure. Internal to the library (not installed).

#if !defined(NDEBUG) || defined(FUNCTIONS_CONTRACT_CHECKS)

#include <cstdio>
#include <cstdlib>

namespace contract {

[[noreturn]] inline void broken(const char* condition, const char* file, int line)
{
    std::fprintf(stderr, "%s:%d: internal contract broken: %s\n", file, line, condition);
    std::abort();
}

} // namespace contract

#define FUNCTIONS_ASSERT(condition) ((condition) ? static_cast<void>(0) : ::contract::broken(#condition, __FILE__, __LINE__))

#else

// sizeof keeps the condition unevaluated but its variables used, so that a variable only
// checked here draws no warning.
#define FUNCTIONS_ASSERT(condition) static_cast<void>(sizeof(static_cast<bool>(condition)))

#endif
