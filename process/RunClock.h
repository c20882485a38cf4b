// A run's elapsed time from the performance counter. GetTickCount moves in steps of about 16 ms
// under Wine (and Windows), so a short conversion would measure 0 ms, the value that means the
// conversion loop never began.
#pragma once

#include <windows.h>

#include <cstdint>

namespace wm {

inline int64_t PerformanceCount() {
    LARGE_INTEGER now{};
    QueryPerformanceCounter(&now);
    return now.QuadPart;
}

// At least 1 ms: a loop that began took some time, however little.
inline uint32_t ElapsedMsSince(int64_t startCount) {
    LARGE_INTEGER frequency{};
    QueryPerformanceFrequency(&frequency);
    const int64_t ticks = PerformanceCount() - startCount;
    const int64_t ms = frequency.QuadPart > 0 ? ticks * 1000 / frequency.QuadPart : 0;
    return ms < 1 ? 1u : ms > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(ms);
}

} // namespace wm
