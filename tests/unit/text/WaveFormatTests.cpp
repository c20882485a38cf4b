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
    EXPECT_EQ(f.Describe(), u"Format Tag: 1  Channels: 2  Bits per Sample: 16  Samples Per "
                            u"Second: 44100  Bytes Per Second: 176400  Block Align: 4  CB Size: 0");
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
}

TEST(WaveFormatTest, ExtensibleRoundTripRestoresPlainRecord) {
    const WaveFormat start = WaveFormat::Pcm(1, 96000, 24);
    WaveFormat f = start;
    ASSERT_TRUE(f.ToExtensible());
    EXPECT_EQ(f.Size(), 40u);
    EXPECT_TRUE(f.IsExtensible());
    EXPECT_TRUE(f.HasSubFormat(WaveFormat::SubFormatGuid(1)));
    EXPECT_EQ(f.ValidBitsPerSample(), 24);
    EXPECT_EQ(f.ChannelMask(), 0x80000000u);
    EXPECT_EQ(f.EffectiveTag(), 1);
    EXPECT_TRUE(f.ToExtensible()); // already extensible: unchanged
    ASSERT_TRUE(f.ToPlain());
    EXPECT_EQ(f, start);
    EXPECT_TRUE(f.ToPlain()); // plain stays plain

    WaveFormat adpcm = WaveFormat::Pcm(2, 22050, 4);
    adpcm.SetEffectiveTag(2);
    EXPECT_FALSE(adpcm.ToExtensible());
    EXPECT_EQ(adpcm.FormatTag(), 2);
}

TEST(WaveFormatTest, ToPlainKeepsTrailingBytesAndRefusesUnknownSubFormat) {
    WaveFormat f = ExtensibleWithExtra(26);
    std::vector<uint8_t> bytes(f.Data(), f.Data() + f.Size());
    std::memcpy(bytes.data() + 40, "\x11\x22\x33\x44", 4);
    ASSERT_TRUE(f.Assign(bytes.data(), bytes.size()));
    ASSERT_TRUE(f.ToPlain());
    ASSERT_EQ(f.Size(), 22u);
    EXPECT_EQ(f.ExtraSize(), 4);
    EXPECT_EQ(f.FormatTag(), 1);
    EXPECT_EQ(std::memcmp(f.Data() + 18, "\x11\x22\x33\x44", 4), 0);

    WaveFormat unknown = ExtensibleWithExtra(22);
    bytes.assign(unknown.Data(), unknown.Data() + unknown.Size());
    bytes[24] = 0x99;
    ASSERT_TRUE(unknown.Assign(bytes.data(), bytes.size()));
    EXPECT_EQ(unknown.EffectiveTag(), 65534);
    EXPECT_FALSE(unknown.ToPlain());
    EXPECT_EQ(unknown.Size(), 40u);
}

TEST(WaveFormatTest, FieldSettersKeepExtensiblePartConsistent) {
    WaveFormat f = WaveFormat::Pcm(2, 48000, 16);
    ASSERT_TRUE(f.ToExtensible());
    f.SetChannelMask(0x3);
    f.SetChannels(2, true);
    EXPECT_EQ(f.ChannelMask(), 0x3u); // same count keeps the mask
    f.SetChannels(6, true);
    EXPECT_EQ(f.ChannelMask(), 0u);
    EXPECT_EQ(f.BlockAlign(), 12);
    EXPECT_EQ(f.AvgBytesPerSec(), 576000u);
    f.SetBitsPerSample(24, true);
    EXPECT_EQ(f.ValidBitsPerSample(), 24);
    EXPECT_EQ(f.BlockAlign(), 18);
    EXPECT_FALSE(f.SetEffectiveTag(80)); // MPEG cannot be set through the sub-format
    EXPECT_TRUE(f.SetEffectiveTag(6));
    f.SetBitsPerSample(8, false); // A-law: valid bits untouched
    EXPECT_EQ(f.ValidBitsPerSample(), 24);
    EXPECT_EQ(f.BlockAlign(), 18);

    WaveFormat mono = WaveFormat::Pcm(1, 44100, 24);
    EXPECT_EQ(mono.BlockAlign(), 3);
}

TEST(WaveFormatTest, AssignAndRecordForm) {
    WaveFormat f;
    const uint8_t tooShort[10] = {};
    EXPECT_FALSE(f.Assign(tooShort, sizeof tooShort));
    WaveFormat lying = ExtensibleWithExtra(22);
    EXPECT_FALSE(f.Assign(lying.Data(), 30)); // says 22 extra bytes, has 12
    EXPECT_TRUE(f.Assign(f.Data(), f.Size()));

    WmWaveFormat record = WaveFormat::Pcm(2, 44100, 16).AsRecord();
    EXPECT_EQ(record.channelMask, 0u); // zero padded
    record.cbSize = 30;                // more than the record can carry
    WaveFormat fromRecord(record);
    EXPECT_EQ(fromRecord.ExtraSize(), 22);

    WaveFormat big = ExtensibleWithExtra(30);
    big.SetChannelMask(0x3F);
    WmWaveFormat cut = big.AsRecord();
    EXPECT_EQ(cut.cbSize, 22);
    EXPECT_EQ(WaveFormat(cut).EffectiveTag(), 1);
    WaveFormat plainWithExtra = ExtensibleWithExtra(20);
    plainWithExtra.NormaliseExtraSize();
    EXPECT_EQ(plainWithExtra.Size(), 18u);
}

TEST(WaveFormatTest, TimeAndByteConversions) {
    const WaveFormat cd = WaveFormat::Pcm(2, 44100, 16);
    EXPECT_EQ(cd.MsToBytes(1000), 176400u);
    EXPECT_EQ(cd.MsToBytes(1), 176u); // 176.4 bytes, down to whole 4-byte blocks

    // Ten thousand hours of 8-channel 32-bit 96 kHz audio.
    const WaveFormat big = WaveFormat::Pcm(8, 96000, 32);
    const uint64_t ms = 10000ull * 3600 * 1000;
    EXPECT_EQ(big.MsToBytes(ms), 3072000ull * 36000000ull);
    EXPECT_EQ(big.BytesToMs(big.MsToBytes(ms)), ms);
    EXPECT_EQ(big.MsToBytes(UINT64_MAX), UINT64_MAX - UINT64_MAX % 32);
    EXPECT_EQ(big.BytesToMs(UINT64_MAX),
              UINT64_MAX / 3072000 * 1000 + UINT64_MAX % 3072000 * 1000 / 3072000);
    EXPECT_EQ(WaveFormat().BytesToMs(5), 5000u); // zero byte rate counts as 1
}

} // namespace
} // namespace wm
