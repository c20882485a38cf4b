#include "text/WaveFormat.h"

#include <gtest/gtest.h>

#include <cstring>

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
    EXPECT_EQ(f.ValidBitsPerSample(), 24);
    EXPECT_EQ(f.ChannelMask(), 0x80000000u);
    ASSERT_TRUE(f.ToPlain());
    EXPECT_EQ(f, start);

    WaveFormat adpcm = WaveFormat::Pcm(2, 22050, 4);
    adpcm.SetEffectiveTag(2);
    EXPECT_FALSE(adpcm.ToExtensible());
}

TEST(WaveFormatTest, ToPlainKeepsTrailingBytesAndRefusesUnknownSubFormat) {
    WaveFormat f = ExtensibleWithExtra(26);
    std::vector<uint8_t> bytes(f.Data(), f.Data() + f.Size());
    std::memcpy(bytes.data() + 40, "\x11\x22\x33\x44", 4);
    ASSERT_TRUE(f.Assign(bytes.data(), bytes.size()));
    ASSERT_TRUE(f.ToPlain());
    ASSERT_EQ(f.Size(), 22u);
    EXPECT_EQ(std::memcmp(f.Data() + 18, "\x11\x22\x33\x44", 4), 0);

    WaveFormat unknown = ExtensibleWithExtra(22);
    bytes.assign(unknown.Data(), unknown.Data() + unknown.Size());
    bytes[24] = 0x99;
    ASSERT_TRUE(unknown.Assign(bytes.data(), bytes.size()));
    EXPECT_FALSE(unknown.ToPlain());
    EXPECT_FALSE(unknown.Assign(bytes.data(), 30)); // says 22 extra bytes, has 12
}

TEST(WaveFormatTest, ChannelCountChangeClearsTheMask) {
    WaveFormat f = WaveFormat::Pcm(2, 48000, 16);
    ASSERT_TRUE(f.ToExtensible());
    f.SetChannelMask(0x3);
    f.SetChannels(2, true);
    EXPECT_EQ(f.ChannelMask(), 0x3u); // same count keeps the mask
    f.SetChannels(6, true);
    EXPECT_EQ(f.ChannelMask(), 0u);
    EXPECT_EQ(f.AvgBytesPerSec(), 576000u);
    f.SetBitsPerSample(24, true);
    EXPECT_EQ(f.BlockAlign(), 18);
    EXPECT_FALSE(f.SetEffectiveTag(80)); // MPEG cannot be set through the sub-format
}

TEST(WaveFormatTest, LongDurationsDoNotOverflow) {
    const WaveFormat cd = WaveFormat::Pcm(2, 44100, 16);
    EXPECT_EQ(cd.MsToBytes(1), 176u); // 176.4 bytes, down to whole 4-byte blocks
    const WaveFormat big = WaveFormat::Pcm(8, 96000, 32);
    const uint64_t ms = 10000ull * 3600 * 1000; // ten thousand hours
    EXPECT_EQ(big.BytesToMs(big.MsToBytes(ms)), ms);
    EXPECT_EQ(big.MsToBytes(UINT64_MAX), UINT64_MAX - UINT64_MAX % 32);
}

} // namespace
} // namespace wm
