#include "text/Random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <thread>
#include <vector>

namespace wm {
namespace {

TEST(RandomTest, IsMersenneTwisterAndReseedable) {
    SeedRandom(5489); // the generator's reference seed
    EXPECT_EQ(RandomNext(), 3499211612u);
    SeedRandom(42);
    const uint32_t first = RandomNext();
    SeedRandom(42);
    EXPECT_EQ(RandomNext(), first);
}

TEST(RandomTest, TempNumberScalesTheOutput) {
    std::mt19937 reference(7);
    SeedRandom(7);
    for (int i = 0; i < 2000; ++i) {
        const uint64_t expected = uint64_t{static_cast<uint32_t>(reference())} * 9999 >> 32;
        const uint32_t n = RandomTempNumber();
        ASSERT_EQ(n, expected);
        ASSERT_LE(n, 9998u);
    }
    EXPECT_EQ(RandomBelow(0), 0u);
}

TEST(RandomTest, ThreadsDrawEachOutputExactlyOnce) {
    constexpr int kThreads = 4, kEach = 5000;
    SeedRandom(99);
    std::vector<std::vector<uint32_t>> drawn(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&drawn, t] {
            for (int i = 0; i < kEach; ++i)
                drawn[t].push_back(RandomNext());
        });
    for (auto& th : threads)
        th.join();
    std::vector<uint32_t> all, expected;
    for (auto& d : drawn)
        all.insert(all.end(), d.begin(), d.end());
    std::mt19937 reference(99);
    for (int i = 0; i < kThreads * kEach; ++i)
        expected.push_back(static_cast<uint32_t>(reference()));
    std::sort(all.begin(), all.end());
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(all, expected);
}

TEST(RandomTest, ClockSeedArithmetic) {
    // 1 + 4 + 9 + 2024^2 + 25 = 4096615; counter halves 3 + 2; tick 7.
    EXPECT_EQ(RandomSeedFromClock(1, 2, 3, 2024, 5, true, 0x0000000200000003ull, 7),
              4096615u * 5 + 7);
    EXPECT_EQ(RandomSeedFromClock(1, 2, 3, 2024, 5, false, 0x0000000200000003ull, 7), 4096615u + 7);
}

} // namespace
} // namespace wm
