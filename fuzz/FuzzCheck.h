// The fuzz targets' assertion: a broken promise aborts, so libFuzzer keeps the input.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace wm::fuzz {

inline void Check(bool condition, const char* what = "a promise of the code under test") {
    if (!condition) {
        std::fprintf(stderr, "check failed: %s\n", what);
        std::abort();
    }
}

} // namespace wm::fuzz
