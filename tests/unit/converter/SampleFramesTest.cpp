// Every sample layout the measuring reads, at full scale 1.
#include "converter/SampleFrames.h"

#include "wave/WaveFormat.h"

#include <gtest/gtest.h>

#include <cstring>

namespace wm {
namespace {

WmWaveFormat Format(uint16_t channels, uint16_t bits, bool isFloat = false) {
    return WaveFormat::Pcm(channels, 44100, bits, isFloat).AsRecord();
}

TEST(SampleFramesTest, IntegerWidthsAndEightBitUnsigned) {
    std::vector<double> out;
    const uint8_t eight[] = {0, 128, 255};
    ASSERT_TRUE(ToDoubleSamples(Format(1, 8), eight, sizeof eight, out));
    EXPECT_EQ(out, (std::vector<double>{-1.0, 0.0, 127 / 128.0}));
    const uint8_t sixteen[] = {0x00, 0x80, 0xFF, 0x7F, 0xFF, 0xFF, 0x01}; // odd byte: torn
    ASSERT_TRUE(ToDoubleSamples(Format(1, 16), sixteen, sizeof sixteen, out));
    EXPECT_EQ(out, (std::vector<double>{-1.0, 32767 / 32768.0, -1 / 32768.0}));
    const uint8_t twentyFour[] = {0x00, 0x00, 0x40, 0xFF, 0xFF, 0xFF};
    ASSERT_TRUE(ToDoubleSamples(Format(2, 24), twentyFour, sizeof twentyFour, out));
    EXPECT_EQ(out, (std::vector<double>{0.5, -1 / 8388608.0}));
    const uint8_t thirtyTwo[] = {0x00, 0x00, 0x00, 0xC0};
    ASSERT_TRUE(ToDoubleSamples(Format(1, 32), thirtyTwo, sizeof thirtyTwo, out));
    EXPECT_EQ(out, (std::vector<double>{-0.5}));
}

TEST(SampleFramesTest, FloatsPassUnclippedAndUnknownLayoutsAreRefused) {
    std::vector<double> out;
    const float floats[] = {1.5f, -0.25f};
    ASSERT_TRUE(ToDoubleSamples(Format(2, 32, true), floats, sizeof floats, out));
    EXPECT_EQ(out, (std::vector<double>{1.5, -0.25}));
    const double doubles[] = {0.125};
    ASSERT_TRUE(ToDoubleSamples(Format(1, 64, true), doubles, sizeof doubles, out));
    EXPECT_EQ(out, (std::vector<double>{0.125}));
    EXPECT_FALSE(ToDoubleSamples(Format(1, 16, true), doubles, sizeof doubles, out));
    EXPECT_FALSE(ToDoubleSamples(Format(1, 12), doubles, sizeof doubles, out));
    EXPECT_TRUE(out.empty());
}

} // namespace
} // namespace wm
