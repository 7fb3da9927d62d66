// A check that stops the fuzzer with the failed condition, in every build type.
#pragma once

#include <cstdio>
#include <cstdlib>

#define FUZZ_CHECK(condition)                                                                                \
    do {                                                                                                     \
        if (!(condition)) {                                                                                  \
            std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #condition);               \
            std::abort();                                                                                    \
        }                                                                                                    \
    } while (0)
