#include "tools/plugin-check/Memory.h"

#include <windows.h>

#include <psapi.h>

#include <algorithm>

namespace wm::check {

namespace {

// The process's committed private memory, in bytes.
uint64_t CommittedBytes() {
    PROCESS_MEMORY_COUNTERS counters{};
    counters.cb = sizeof counters;
    ::GetProcessMemoryInfo(::GetCurrentProcess(), &counters, sizeof counters);
    return counters.PagefileUsage;
}

} // namespace

bool HeapsAreSound() {
    HANDLE heaps[256];
    const DWORD count = std::min<DWORD>(::GetProcessHeaps(256, heaps), 256);
    for (DWORD i = 0; i < count; ++i)
        if (!::HeapValidate(heaps[i], 0, nullptr))
            return false;
    return true;
}

bool GrowsWithAudio(const std::function<uint64_t()>& cycle, uint64_t* grownBytes) {
    constexpr uint64_t kAudioToPass = 32u << 20, kSlack = 4u << 20;
    const uint64_t perCycle = std::max<uint64_t>(cycle(), 1); // the first run settles caches
    const uint64_t before = CommittedBytes();
    const uint64_t cycles = std::clamp<uint64_t>(kAudioToPass / perCycle, 2, 40);
    for (uint64_t i = 0; i < cycles; ++i)
        cycle();
    const uint64_t after = CommittedBytes();
    *grownBytes = after > before ? after - before : 0;
    return *grownBytes > kSlack && *grownBytes * 2 > cycles * perCycle;
}

} // namespace wm::check
