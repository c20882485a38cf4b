#include "random/Random.h"

#include <chrono>
#include <random>

namespace wm {

namespace {

// Seeded from the clock until the Windows start-up code seeds it properly.
std::mt19937& Generator() {
    static std::mt19937 generator(
        static_cast<uint32_t>(std::chrono::system_clock::now().time_since_epoch().count() ^
                              std::chrono::steady_clock::now().time_since_epoch().count()));
    return generator;
}

} // namespace

std::mutex& RandomMutex() {
    static std::mutex lock;
    return lock;
}

uint32_t RandomNext() {
    std::lock_guard<std::mutex> guard(RandomMutex());
    return static_cast<uint32_t>(Generator()());
}

void SeedRandom(uint32_t seed) {
    std::lock_guard<std::mutex> guard(RandomMutex());
    Generator().seed(seed);
}

uint32_t RandomBelow(uint32_t bound) {
    return static_cast<uint32_t>((uint64_t{RandomNext()} * bound) >> 32);
}

uint32_t RandomSeedFromClock(uint32_t second, uint32_t minute, uint32_t hour, uint32_t year,
                             uint32_t millisecond, bool hasCounter, uint64_t counter,
                             uint32_t tickCount) {
    uint32_t seed =
        second * second + minute * minute + hour * hour + year * year + millisecond * millisecond;
    if (hasCounter)
        seed *= static_cast<uint32_t>(counter) + static_cast<uint32_t>(counter >> 32);
    return seed + tickCount;
}

} // namespace wm
