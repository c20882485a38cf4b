#include "wave/WaveFormat.h"

#include <gtest/gtest.h>

namespace wm {
namespace {

// 16-bit stereo 44.1 kHz turned extensible, with the given extra size written over it.
WaveFormat ExtensibleWithExtra(uint16_t extra) {
    WaveFormat f = WaveFormat::Pcm(2, 44100, 16);
    EXPECT_TRUE(f.ToExtensible());
    std::vector<uint8_t> bytes(f.Data(), f.Data() + f.Size());
    bytes.resize(18 + extra);
    bytes[16] = static_cast<uint8_t>(extra);
    bytes[17] = static_cast<uint8_t>(extra >> 8);
    WaveFormat out;
    EXPECT_TRUE(out.Assign(bytes.data(), bytes.size()));
    return out;
}

TEST(WaveFormatTest, DescribesOneLine) {
    WaveFormat f = WaveFormat::Pcm(2, 44100, 16);
    ASSERT_TRUE(f.ToExtensible());
    f.SetEffectiveTag(3);
    EXPECT_EQ(f.Describe(), u"Format Tag: 65534  Channels: 2  Bits per Sample: 16  Samples Per "
                            u"Second: 44100  Bytes Per Second: 176400  Block Align: 4  CB Size: "
                            u"22  Extensible Sub-Format: 3");
}

TEST(WaveFormatTest, ShortExtraSizeIsNotExtensible) {
    WaveFormat f = ExtensibleWithExtra(20);
    EXPECT_FALSE(f.IsExtensible());
    EXPECT_EQ(f.EffectiveTag(), 65534);
    EXPECT_EQ(f.Describe().find(u"Sub-Format"), String::npos);
    EXPECT_FALSE(f.ToPlain());
    f.NormaliseExtraSize();
    EXPECT_EQ(f.Size(), 18u);
}

TEST(WaveFormatTest, ExtensibleRoundTripRestoresPlainRecord) {
    const WaveFormat start = WaveFormat::Pcm(1, 96000, 24);
    WaveFormat f = start;
    ASSERT_TRUE(f.ToExtensible());
    EXPECT_EQ(f.Size(), 40u);
    EXPECT_TRUE(f.HasSubFormat(WaveFormat::SubFormatGuid(1)));
    EXPECT_EQ(f.ChannelMask(), 0x80000000u);
    ASSERT_TRUE(f.ToPlain());
    EXPECT_EQ(f, start);
}

TEST(WaveFormatTest, SameChannelCountKeepsTheMask) {
    WaveFormat f = WaveFormat::Pcm(2, 48000, 16);
    ASSERT_TRUE(f.ToExtensible());
    f.SetChannelMask(0x3);
    f.SetChannels(2, true);
    EXPECT_EQ(f.ChannelMask(), 0x3u);
}
TEST(WaveFormatTest, ExtensibleGetsValidBits) {
    WaveFormat f = WaveFormat::Pcm(2, 44100, 24);
    ASSERT_TRUE(f.ToExtensible());
    EXPECT_EQ(f.ValidBitsPerSample(), 24);
}
} // namespace
} // namespace wm
