// The process-wide random generator (MT19937), shared by every thread under one lock.
#pragma once

#include <cstdint>
#include <mutex>

namespace wm {

// The lock that guards the generator; temporary-file numbering holds it while it numbers.
// The Random* functions below take it themselves.
std::mutex& RandomMutex();

uint32_t RandomNext();
void SeedRandom(uint32_t seed);
// A number in [0, bound): the 32-bit output scaled by bound / 2^32. bound 0 gives 0.
uint32_t RandomBelow(uint32_t bound);
// The number in temporary file names: output * 9999 / 2^32, so at most 9998.
inline uint32_t RandomTempNumber() {
    return RandomBelow(9999);
}

// The start-up seed from the clock (all 32-bit, wrapping): the sum of the squares of the UTC
// second, minute, hour, year and millisecond, multiplied by the performance counter's low plus
// high half when there is a counter, plus the tick count.
uint32_t RandomSeedFromClock(uint32_t second, uint32_t minute, uint32_t hour, uint32_t year,
                             uint32_t millisecond, bool hasCounter, uint64_t counter,
                             uint32_t tickCount);

} // namespace wm
