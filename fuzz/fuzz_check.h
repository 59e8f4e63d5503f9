// A failed invariant must stop the fuzzer like a sanitizer report does, so that the
// input is saved as a crash and the run fails.
#pragma once

#include <cstdio>
#include <cstdlib>

#define FUZZ_REQUIRE(cond)                                                                    \
    do {                                                                                      \
        if (!(cond)) {                                                                        \
            std::fprintf(stderr, "%s:%d: invariant failed: %s\n", __FILE__, __LINE__, #cond); \
            std::abort();                                                                     \
        }                                                                                     \
    } while (0)
