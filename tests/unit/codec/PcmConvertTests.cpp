// Wave bytes to libFLAC/LAME samples and back, for the container shapes that need care.
#include "bundled/codec/PcmConvert.h"
#include "bundled/wav/WaveFormatRules.h"

#include <gtest/gtest.h>

using namespace wm;

namespace {

// Packs planar samples of `bits` valid bits, unpacks them again and returns the bytes.
std::vector<uint8_t> RoundTrip(uint16_t channels, uint16_t bits, const std::vector<int32_t>& l,
                               const std::vector<int32_t>& r, std::vector<int32_t>& back) {
    const WmWaveFormat f = codec::PcmFormat(channels, 48000, bits);
    codec::PcmLayout layout;
    EXPECT_TRUE(codec::PcmLayoutOf(f, layout));
    const int32_t* planes[] = {l.data(), r.data()};
    std::vector<uint8_t> bytes(l.size() * f.blockAlign);
    codec::PackPlanar(planes, l.size(), layout, bytes.data());
    back.resize(l.size() * channels);
    codec::UnpackPcm(bytes.data(), l.size(), layout, back.data());
    return bytes;
}

} // namespace

TEST(PcmConvert, ContainersRoundTrip) {
    std::vector<int32_t> back;
    // 8 bits are unsigned in a wave file.
    EXPECT_EQ(RoundTrip(1, 8, {-128, 0, 127}, {}, back), (std::vector<uint8_t>{0, 128, 255}));
    EXPECT_EQ(back, (std::vector<int32_t>{-128, 0, 127}));
    // 12 bits sit left-justified in 16.
    EXPECT_EQ(RoundTrip(1, 12, {-2048, 1}, {}, back), (std::vector<uint8_t>{0x00, 0x80, 0x10, 0}));
    EXPECT_EQ(back, (std::vector<int32_t>{-2048, 1}));
    // 24 bits, stereo interleaved, negative values sign-extended on the way back.
    EXPECT_EQ(RoundTrip(2, 24, {-1}, {0x123456}, back),
              (std::vector<uint8_t>{0xFF, 0xFF, 0xFF, 0x56, 0x34, 0x12}));
    EXPECT_EQ(back, (std::vector<int32_t>{-1, 0x123456}));
}

TEST(PcmConvert, FormatsAndLayouts) {
    const WmWaveFormat plain = codec::PcmFormat(2, 44100, 16);
    EXPECT_EQ(plain.formatTag, WM_FORMAT_PCM);
    const WmWaveFormat wide = codec::PcmFormat(6, 96000, 20);
    EXPECT_EQ(wide.formatTag, WM_FORMAT_EXTENSIBLE);
    EXPECT_EQ(wide.bitsPerSample, 24);
    EXPECT_EQ(wide.validBitsPerSample, 20);
    EXPECT_EQ(wide.channelMask, 0x3Fu);
    EXPECT_EQ(wide.blockAlign, 18);
    codec::PcmLayout layout;
    EXPECT_FALSE(
        codec::PcmLayoutOf(wav::MakeWaveFormat(wav::SampleKind::Float, 2, 44100, 32), layout));
}
