// One gain for an album, under the true-peak ceiling, and the options of the measuring pass.
#include "batch/AlbumLoudness.h"

#include <gtest/gtest.h>

#include <cmath>

namespace wm {
namespace {

TEST(AlbumLoudnessTest, GainToTheTargetHeldUnderTheCeiling) {
    EXPECT_NEAR(AlbumLevelGain(-20, 0.5, -16), 4, 1e-9); // 0.5 is -6 dBTP: 5 dB of room
    EXPECT_NEAR(AlbumLevelGain(-20, 0.5, -12), -1 - 20 * std::log10(0.5), 1e-9);
    EXPECT_NEAR(AlbumLevelGain(-10, 0.99, -16), -6, 1e-9); // lowering is never limited
    EXPECT_EQ(AlbumLevelGain(-HUGE_VAL, 0, -16), 0);       // silence stays silence
}

TEST(AlbumLoudnessTest, MeasuringPassKeepsTheEffectsOnlyAndTheLevelComesAfterThem) {
    const EffectOptions e = EffectsOf(
        u" -V=\"2\" -dspeffect1=\"Volume=gain=-3\" -noidtag -dspeffect2=\"BitDepth=bits=16\"");
    EXPECT_EQ(e.count, 2u);
    EXPECT_EQ(e.text, u" -dspeffect1=\"Volume=gain=-3\" -dspeffect2=\"BitDepth=bits=16\"");
    EXPECT_EQ(LevelEffectOption(e.count, 4.256), u" -dspeffect3=\"Volume=gain=4.26\"");
    EXPECT_EQ(EffectsOf(u" -b=\"320\"").count, 0u);
}

} // namespace
} // namespace wm
