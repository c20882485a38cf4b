// The settings reader and the sample conversions shared by the shipped effects.
#include "bundled/dsp/ChannelMatrix.h"
#include "bundled/dsp/DspSettings.h"
#include "bundled/dsp/SampleCodec.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

namespace {

using namespace wm::dsp;

std::string Narrow(const std::u16string& text) {
    return std::string(text.begin(), text.end());
}

TEST(DspSettings, ReadsKeysWithoutCaseAndRejectsWhatItDoesNotKnow) {
    DspSettings s;
    std::u16string error;
    double gain = 0;
    ASSERT_TRUE(s.Parse(u"  GAIN=+6.5\t", {u"gain", u"mode"}, error));
    ASSERT_TRUE(s.Number(u"gain", -10, 10, gain, error));
    EXPECT_EQ(gain, 6.5);
    EXPECT_FALSE(s.Has(u"mode"));

    // Each rejection names the offending word; an unknown one also lists the valid keys.
    EXPECT_FALSE(s.Parse(u"gain=1 volume=2", {u"gain", u"mode"}, error));
    EXPECT_EQ(Narrow(error), "unknown setting 'volume' (valid settings: gain and mode)");
    EXPECT_FALSE(s.Parse(u"gain", {u"gain"}, error));
    EXPECT_NE(Narrow(error).find("'gain' is not key=value"), std::string::npos);
    EXPECT_FALSE(s.Parse(u"gain=1 Gain=2", {u"gain"}, error));
    EXPECT_NE(Narrow(error).find("given twice"), std::string::npos);
}

TEST(DspSettings, NumbersAndChoicesMustBeWhole) {
    DspSettings s;
    std::u16string error;
    double value = 0;
    size_t index = 9;
    for (const char16_t* bad : {u"x=3dB", u"x=", u"x=nan", u"x=11", u"x=1e999"}) {
        const bool taken = s.Parse(bad, {u"x"}, error) && s.Number(u"x", -10, 10, value, error);
        EXPECT_FALSE(taken) << Narrow(bad);
    }
    EXPECT_FALSE(s.Number(u"missing", -10, 10, value, error));
    ASSERT_TRUE(s.Parse(u"dither=NONE", {u"dither"}, error));
    ASSERT_TRUE(s.Choice(u"dither", {u"tpdf", u"none"}, index, error));
    EXPECT_EQ(index, 1u);
    ASSERT_TRUE(s.Parse(u"dither=some", {u"dither"}, error));
    EXPECT_FALSE(s.Choice(u"dither", {u"tpdf", u"none"}, index, error));
    EXPECT_EQ(Narrow(error), "setting 'dither' must be tpdf or none, not 'some'");
}

// Every integer width: full scale both ways, a value that must round, and saturation.
TEST(SampleCodec, IntegersRoundTripRoundAndSaturate) {
    struct Case {
        SampleKind kind;
        std::vector<uint8_t> bytes; // lowest value, highest value, -1 step
    };
    const Case cases[] = {
        {SampleKind::UInt8, {0x00, 0xFF, 0x7F}},
        {SampleKind::Int16, {0x00, 0x80, 0xFF, 0x7F, 0xFF, 0xFF}},
        {SampleKind::Int24, {0x00, 0x00, 0x80, 0xFF, 0xFF, 0x7F, 0xFF, 0xFF, 0xFF}},
        {SampleKind::Int32, {0, 0, 0, 0x80, 0xFF, 0xFF, 0xFF, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF}},
    };
    for (const Case& c : cases) {
        const double step = StepOf(c.kind);
        double values[3];
        ToDouble(c.bytes.data(), c.kind, 3, values);
        EXPECT_EQ(values[0], -1.0);
        EXPECT_EQ(values[1], 1.0 - step);
        EXPECT_EQ(values[2], -step);
        std::vector<uint8_t> back(c.bytes.size());
        FromDouble(values, 3, c.kind, back.data());
        EXPECT_EQ(back, c.bytes);

        const double loud[3] = {-1.7, 1.3, -1.4 * step}; // saturate, saturate, round to -1
        FromDouble(loud, 3, c.kind, back.data());
        EXPECT_EQ(back, c.bytes);
    }
}

TEST(SampleCodec, FloatsPassUnclipped) {
    const double values[2] = {-2.5, 1.25};
    float f[2];
    FromDouble(values, 2, SampleKind::Float32, f);
    EXPECT_EQ(f[0], -2.5f);
    EXPECT_EQ(f[1], 1.25f);
    double back[2];
    ToDouble(f, SampleKind::Float32, 2, back);
    EXPECT_EQ(back[0], -2.5);
}

TEST(SampleCodec, LayoutKeepsTheFormsOfTheRecord) {
    WmWaveFormat plain{};
    plain.formatTag = WM_FORMAT_PCM;
    plain.channels = 2;
    plain.samplesPerSec = 44100;
    plain.bitsPerSample = 16;
    plain.blockAlign = 4;
    plain.avgBytesPerSec = 176400;
    PcmLayout layout;
    std::u16string error;
    ASSERT_TRUE(LayoutOf(plain, layout, error));
    layout.kind = SampleKind::Float32;
    layout.rate = 48000;
    const WmWaveFormat f = WithLayout(plain, layout);
    EXPECT_EQ(f.formatTag, WM_FORMAT_IEEE_FLOAT);
    EXPECT_EQ(f.blockAlign, 8);
    EXPECT_EQ(f.avgBytesPerSec, 384000u);

    // Extensible 24-bit 6-channel: stays extensible, sub-format and valid bits follow.
    WmWaveFormat ext{};
    ext.formatTag = WM_FORMAT_EXTENSIBLE;
    ext.channels = 6;
    ext.samplesPerSec = 96000;
    ext.bitsPerSample = 24;
    ext.blockAlign = 18;
    ext.cbSize = 22;
    ext.validBitsPerSample = 24;
    ext.channelMask = 0x3F;
    const uint8_t pcm[16] = {1, 0, 0, 0, 0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71};
    std::memcpy(ext.subFormat, pcm, 16);
    ASSERT_TRUE(LayoutOf(ext, layout, error));
    EXPECT_EQ(layout.kind, SampleKind::Int24);
    layout.kind = SampleKind::Int16;
    const WmWaveFormat e = WithLayout(ext, layout);
    EXPECT_EQ(e.formatTag, WM_FORMAT_EXTENSIBLE);
    EXPECT_EQ(e.validBitsPerSample, 16);
    EXPECT_EQ(e.channelMask, 0x3Fu);
    EXPECT_EQ(e.blockAlign, 12);
    EXPECT_EQ(std::memcmp(e.subFormat, pcm, 16), 0);

    // Fewer valid bits than the container, and ADPCM, are refused with a reason.
    ext.validBitsPerSample = 20;
    EXPECT_FALSE(LayoutOf(ext, layout, error));
    plain.formatTag = 2;
    EXPECT_FALSE(LayoutOf(plain, layout, error));
    EXPECT_NE(Narrow(error).find("not supported"), std::string::npos);
}

} // namespace

// The mixes users expect: 5.1 folds centre and surrounds into the fronts at -3 dB and drops the
// LFE; mono is the mean of the fronts; side speakers move to the back ones where those are all
// there is; up-mixes keep each speaker and leave the others silent.
TEST(ChannelMatrix, FoldsDownAtMinus3dBAndUpmixesBySpeaker) {
    const double c = std::sqrt(0.5);
    const struct Case {
        unsigned in, out;
        std::vector<double> gains; // [out][in]
    } cases[] = {
        {6, 2, {1, 0, c, 0, c, 0, /**/ 0, 1, c, 0, 0, c}},
        {2, 1, {0.5, 0.5}},
        {1, 2, {1, 1}},
        {2, 6, {1, 0, /**/ 0, 1, /**/ 0, 0, /**/ 0, 0, /**/ 0, 0, /**/ 0, 0}},
        {8, 6, {1,      0, 0, 0, 0, 0, 0, 0, /**/ 0, 1, 0, 0, 0, 0, 0, 0,
                /**/ 0, 0, 1, 0, 0, 0, 0, 0,
                /**/ 0, 0, 0, 1, 0, 0, 0, 0, /**/ 0, 0, 0, 0, 1, 0, 1, 0,
                /**/ 0, 0, 0, 0, 0, 1, 0, 1}},
    };
    for (const Case& k : cases) {
        wm::dsp::ChannelMatrix m;
        std::u16string error;
        ASSERT_TRUE(m.Build(k.in, 0, k.out, error)) << k.in << " to " << k.out;
        for (unsigned o = 0; o < k.out; ++o)
            for (unsigned i = 0; i < k.in; ++i)
                EXPECT_NEAR(m.Gain(i, o), k.gains[o * k.in + i], 1e-12)
                    << k.in << " to " << k.out << ": in " << i << ", out " << o;
    }
    wm::dsp::ChannelMatrix unknown;
    std::u16string error;
    EXPECT_FALSE(unknown.Build(10, 0, 2, error));
    EXPECT_FALSE(error.empty());
}
