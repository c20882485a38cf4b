#include "random/Random.h"

#include <gtest/gtest.h>

#include <random>

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

} // namespace
} // namespace wm
