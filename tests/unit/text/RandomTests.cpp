#include "text/Random.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <thread>
#include <vector>

namespace wm {
namespace {

TEST(RandomTest, IsMersenneTwisterScaledForTempNames) {
    SeedRandom(5489); // the generator's reference seed
    EXPECT_EQ(RandomNext(), 3499211612u);
    std::mt19937 reference(7);
    SeedRandom(7);
    for (int i = 0; i < 2000; ++i)
        ASSERT_EQ(RandomTempNumber(), uint64_t{static_cast<uint32_t>(reference())} * 9999 >> 32);
}

TEST(RandomTest, ThreadsDrawEachOutputExactlyOnce) {
    constexpr int kThreads = 4, kEach = 5000;
    SeedRandom(99);
    std::vector<uint32_t> drawn[kThreads], all, expected;
    std::vector<std::thread> threads;
    for (auto& d : drawn)
        threads.emplace_back([&d] {
            for (int i = 0; i < kEach; ++i)
                d.push_back(RandomNext());
        });
    std::mt19937 reference(99);
    for (int i = 0; i < kThreads; ++i) {
        threads[i].join();
        all.insert(all.end(), drawn[i].begin(), drawn[i].end());
        for (int k = 0; k < kEach; ++k)
            expected.push_back(static_cast<uint32_t>(reference()));
    }
    std::sort(all.begin(), all.end());
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(all, expected);
}

} // namespace
} // namespace wm
