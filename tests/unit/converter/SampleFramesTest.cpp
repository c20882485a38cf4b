// Every sample layout the measuring reads: as it is, or widened to the same fraction of full scale.
#include "converter/SampleFrames.h"

#include "wave/WaveFormat.h"

#include <gtest/gtest.h>

namespace wm {
namespace {

WmWaveFormat Format(uint16_t channels, uint16_t bits, bool isFloat = false) {
    return WaveFormat::Pcm(channels, 44100, bits, isFloat).AsRecord();
}

std::vector<int32_t> Widened(uint16_t channels, uint16_t bits, const std::vector<uint8_t>& bytes) {
    std::vector<int32_t> widened;
    MeterSamples out;
    EXPECT_TRUE(ToMeterSamples(Format(channels, bits), bytes.data(), bytes.size(), widened, out));
    EXPECT_EQ(out.kind, SampleKind::Int32);
    EXPECT_EQ(out.data, widened.data());
    const auto* p = static_cast<const int32_t*>(out.data);
    return std::vector<int32_t>(p, p + out.frames * channels);
}

TEST(SampleFramesTest, EightAndTwentyFourBitsWidenToTheSameFraction) {
    // 8-bit PCM is unsigned: 0 is -1, 128 silence, 255 is 127/128.
    EXPECT_EQ(Widened(1, 8, {0, 128, 255}), (std::vector<int32_t>{INT32_MIN, 0, 127 << 24}));
    EXPECT_EQ(Widened(2, 24, {0x00, 0x00, 0x40, 0xFF, 0xFF, 0xFF, 0x01}), // a torn frame: dropped
              (std::vector<int32_t>{0x40000000, -256}));
}

TEST(SampleFramesTest, WiderLayoutsPassAsTheyAreAndUnknownOnesAreRefused) {
    std::vector<int32_t> widened;
    MeterSamples out;
    const int16_t sixteen[] = {-32768, 32767, -1};
    ASSERT_TRUE(ToMeterSamples(Format(1, 16), sixteen, 5, widened, out)); // odd byte: torn
    EXPECT_EQ(out.kind, SampleKind::Int16);
    EXPECT_EQ(out.data, sixteen);
    EXPECT_EQ(out.frames, 2u);
    const int32_t thirtyTwo[] = {-1, 2};
    ASSERT_TRUE(ToMeterSamples(Format(2, 32), thirtyTwo, sizeof thirtyTwo, widened, out));
    EXPECT_EQ(out.kind, SampleKind::Int32);
    EXPECT_EQ(out.frames, 1u);
    const float floats[] = {1.5f, -0.25f};
    ASSERT_TRUE(ToMeterSamples(Format(2, 32, true), floats, sizeof floats, widened, out));
    EXPECT_EQ(out.kind, SampleKind::Float32);
    const double doubles[] = {0.125};
    ASSERT_TRUE(ToMeterSamples(Format(1, 64, true), doubles, sizeof doubles, widened, out));
    EXPECT_EQ(out.kind, SampleKind::Float64);
    EXPECT_EQ(out.data, doubles);
    EXPECT_TRUE(widened.empty());
    EXPECT_FALSE(ToMeterSamples(Format(1, 16, true), doubles, sizeof doubles, widened, out));
    EXPECT_FALSE(ToMeterSamples(Format(1, 12), doubles, sizeof doubles, widened, out));
}

// The lowest value of each integer layout is full scale; a float past it stays past it.
TEST(SampleFramesTest, SamplePeakIsTheLargestMagnitudeOfFullScale) {
    const int16_t sixteen[] = {1000, -32768, 32767};
    EXPECT_EQ(SamplePeak({SampleKind::Int16, sixteen, 1}, 3), 1.0);
    EXPECT_EQ(SamplePeak({SampleKind::Int16, sixteen, 1}, 1), 1000 / 32768.0);
    const int32_t thirtyTwo[] = {-(1 << 29), 1 << 28};
    EXPECT_EQ(SamplePeak({SampleKind::Int32, thirtyTwo, 2}, 1), 0.25);
    const float floats[] = {0.5f, -1.5f};
    EXPECT_EQ(SamplePeak({SampleKind::Float32, floats, 1}, 2), 1.5);
    const double doubles[] = {-0.125, 0.0625};
    EXPECT_EQ(SamplePeak({SampleKind::Float64, doubles, 2}, 1), 0.125);
}

} // namespace
} // namespace wm
