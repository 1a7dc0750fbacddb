#pragma once

#include <cstdio>
#include <cstdlib>

// Aborts where something does not hold: the fuzzer then keeps the input that led there.
inline void Expect(bool holds, const char* what)
{
    if (holds)
        return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}
