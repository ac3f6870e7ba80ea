#pragma once

#include <cstdio>
#include <cstdlib>

// An invariant of the code under test. A failure aborts, so libFuzzer keeps the input as a
// crash and prints the stack.
#define FUZZ_CHECK(condition, what)                                                                \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            std::fprintf(stderr, "%s:%d: invariant broken: %s\n", __FILE__, __LINE__, what);       \
            std::abort();                                                                          \
        }                                                                                          \
    } while (false)
