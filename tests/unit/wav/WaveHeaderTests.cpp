// The RIFF WAVE / RF64 header parser and writer.
#include "bundled/wav/LittleEndian.h"
#include "bundled/wav/WaveFormatRules.h"
#include "bundled/wav/WaveHeaderParser.h"
#include "bundled/wav/WaveHeaderWriter.h"
#include "tests/unit/wav/WaveTestBytes.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace wm::wav {
namespace {

using namespace test;

struct Parsed {
    bool ok;
    WaveLayout layout;
    std::string error;
};
Parsed Parse(const Bytes& file) {
    MemoryByteSource source(file.data(), file.size());
    Parsed p;
    p.ok = ParseWaveHeader(source, p.layout, p.error);
    return p;
}

TEST(WaveHeaderParser, FindsChunksInAnyOrderPastOddOnesAndClampsLyingSizes) {
    Bytes chunks = Chunk("LIST", Bytes(5, 'x')); // odd: a pad byte follows
    Add(chunks, Chunk("data", Bytes(6, 1)));
    Add(chunks, Chunk("fmt ", PcmFmt(3, 8000, 8)));
    Parsed p = Parse(Wave(chunks));
    ASSERT_TRUE(p.ok) << p.error;
    EXPECT_EQ(p.layout.format.channels, 3);
    EXPECT_EQ(p.layout.format.samplesPerSec, 8000u);
    EXPECT_EQ(p.layout.dataOffset, 12u + 14 + 8);
    EXPECT_EQ(p.layout.dataLength, 6u);
    EXPECT_FALSE(p.layout.rf64);

    // Neither a data size past the end nor a RIFF size far too small is trusted.
    chunks = Chunk("fmt ", PcmFmt(2, 48000, 24));
    Add(chunks, Chunk("data", Bytes(20, 0), 1000000)); // 3 frames of 6 and a part
    Bytes file = Wave(chunks);
    PutLe32(file.data() + 4, 12);
    p = Parse(file);
    ASSERT_TRUE(p.ok) << p.error;
    EXPECT_EQ(p.layout.dataLength, 18u);
}

TEST(WaveHeaderParser, EveryTruncationOfAHeaderIsHandled) {
    Bytes chunks = Chunk("LIST", Bytes(9, 'a'));
    Add(chunks, Chunk("fmt ", PcmFmt(2, 44100, 16)));
    Add(chunks, Chunk("data", Bytes(16, 5)));
    const Bytes file = Wave(chunks);
    const size_t dataOffset = file.size() - 16;
    for (size_t n = 0; n <= file.size(); ++n) {
        // An exact-size copy lets AddressSanitizer see any read past the end.
        const Parsed p = Parse(Bytes(file.begin(), file.begin() + ptrdiff_t(n)));
        if (n < dataOffset) {
            EXPECT_FALSE(p.ok) << n;
            EXPECT_FALSE(p.error.empty()) << n;
        } else {
            ASSERT_TRUE(p.ok) << n << ": " << p.error;
            EXPECT_EQ(p.layout.dataLength, (n - dataOffset) / 4 * 4) << n;
        }
    }
}

TEST(WaveHeaderParser, RejectsBrokenFiles) {
    const auto withFmt = [](const Bytes& fmt) {
        Bytes chunks = Chunk("fmt ", fmt);
        Add(chunks, Chunk("data", Bytes(8, 0)));
        return Wave(chunks);
    };
    // Zero channels would otherwise divide by a zero block align.
    EXPECT_EQ(Parse(withFmt(FmtBody(1, 0, 44100, 16, 0))).error, "zero channels");
    EXPECT_EQ(Parse(withFmt(FmtBody(1, 2, 0, 16, 4))).error, "zero sample rate");
    const Bytes broken[] = {L("RIFF"),
                            Wave({}, "RIFX"),
                            withFmt(FmtBody(1, 2, 44100, 16, 3)),      // block align
                            withFmt(FmtBody(2, 2, 44100, 4, 2048)),    // ADPCM
                            withFmt(FmtBody(3, 2, 44100, 16, 4)),      // 16-bit float
                            withFmt(FmtBody(0xFFFE, 2, 44100, 16, 4)), // no extension
                            withFmt(Bytes(14, 1)),
                            Wave(Chunk("fmt ", PcmFmt(1, 8000, 8))),
                            Wave(Chunk("data", Bytes(8, 0)))};
    for (const Bytes& file : broken) {
        const Parsed p = Parse(file);
        EXPECT_FALSE(p.ok) << &file - broken;
        EXPECT_FALSE(p.error.empty()) << &file - broken;
    }
}

TEST(WaveHeaderWriter, ChoosesPlainOrExtensibleFormThatReadsBack) {
    struct Case {
        SampleKind kind;
        uint16_t channels, bits, tag;
        uint32_t mask;
    };
    const Case cases[] = {
        {SampleKind::Pcm, 1, 8, 1, 0},         {SampleKind::Pcm, 2, 16, 1, 0},
        {SampleKind::Pcm, 2, 24, 0xFFFE, 3},   {SampleKind::Pcm, 6, 16, 0xFFFE, 0x3F},
        {SampleKind::Float, 2, 32, 0xFFFE, 3}, {SampleKind::Float, 8, 64, 0xFFFE, 0x63F},
        {SampleKind::Pcm, 9, 16, 0xFFFE, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.channels) + "x" + std::to_string(c.bits));
        WaveHeaderWriter writer;
        std::string error;
        const WmWaveFormat source = MakeWaveFormat(c.kind, c.channels, 44100, c.bits);
        ASSERT_TRUE(writer.Init(source, error));
        EXPECT_EQ(writer.Format().formatTag, c.tag);
        EXPECT_EQ(writer.Format().channelMask, c.mask);
        const size_t dataLength = writer.Format().blockAlign * 4u;
        Bytes file = writer.Build(dataLength);
        ASSERT_EQ(file.size(), writer.HeaderSize());
        EXPECT_EQ(file.size(), c.tag == 1 ? 80u : 104u);
        file.resize(file.size() + dataLength, 0x55);
        const Parsed p = Parse(file);
        ASSERT_TRUE(p.ok) << p.error;
        EXPECT_EQ(std::memcmp(&p.layout.format, &writer.Format(), sizeof(WmWaveFormat)), 0);
        EXPECT_TRUE(SameSampleLayout(p.layout.format, source));
        EXPECT_EQ(p.layout.dataOffset, writer.HeaderSize());
        EXPECT_EQ(p.layout.dataLength, dataLength);
        EXPECT_EQ(Le32(file.data() + 4), file.size() - 8);
    }

    // A source mask that fits the channel count is kept, with the valid bits; else replaced.
    WmWaveFormat source = MakeWaveFormat(SampleKind::Pcm, 4, 48000, 24);
    source.formatTag = WM_FORMAT_EXTENSIBLE;
    source.cbSize = 22;
    source.validBitsPerSample = 20;
    source.channelMask = 0x107;
    std::memcpy(source.subFormat, kSubFormatPcm, 16);
    WaveHeaderWriter writer;
    std::string error;
    ASSERT_TRUE(writer.Init(source, error)) << error;
    EXPECT_EQ(writer.Format().channelMask, 0x107u);
    EXPECT_EQ(writer.Format().validBitsPerSample, 20);
    source.channelMask = 0x80000000;
    ASSERT_TRUE(writer.Init(source, error)) << error;
    EXPECT_EQ(writer.Format().channelMask, 0x33u);
    source.bitsPerSample = 12;
    EXPECT_FALSE(writer.Init(source, error));
}

TEST(WaveHeaderWriter, PadsOddDataAndSwitchesToRf64AtTheLimit) {
    WaveHeaderWriter writer;
    std::string error;
    ASSERT_TRUE(writer.Init(MakeWaveFormat(SampleKind::Pcm, 1, 8000, 8), error));
    Bytes h = writer.Build(5);
    EXPECT_EQ(Le32(h.data() + 4), h.size() - 8 + 6) << "the pad byte counts";
    EXPECT_EQ(Le32(h.data() + h.size() - 4), 5u);

    ASSERT_TRUE(writer.Init(MakeWaveFormat(SampleKind::Pcm, 2, 44100, 16), error));
    const uint64_t lastRiff = UINT32_MAX - (writer.HeaderSize() - 8) - 1; // even: no pad
    EXPECT_FALSE(writer.NeedsRf64(lastRiff));
    EXPECT_TRUE(writer.NeedsRf64(lastRiff + 1)); // odd: its pad byte tips it over
    EXPECT_EQ(Le32(writer.Build(lastRiff).data() + 4), UINT32_MAX - 1);
    EXPECT_TRUE(IsId(writer.Build(lastRiff + 1).data(), "RF64"));

    const uint64_t big = 5ull << 30;
    h = writer.Build(big);
    ASSERT_EQ(h.size(), writer.HeaderSize());
    EXPECT_TRUE(IsId(h.data(), "RF64"));
    EXPECT_EQ(Le32(h.data() + 4), UINT32_MAX);
    EXPECT_TRUE(IsId(h.data() + 12, "ds64"));
    EXPECT_EQ(Le64(h.data() + 20), h.size() - 8 + big);
    EXPECT_EQ(Le64(h.data() + 28), big);
    EXPECT_EQ(Le64(h.data() + 36), big / 4);
    EXPECT_EQ(Le32(h.data() + h.size() - 4), UINT32_MAX);

    SparseSource source(h, h.size() + big);
    WaveLayout layout;
    ASSERT_TRUE(ParseWaveHeader(source, layout, error)) << error;
    EXPECT_TRUE(layout.rf64);
    EXPECT_EQ(layout.dataOffset, h.size());
    EXPECT_EQ(layout.dataLength, big);
    SparseSource cut(h, h.size() + 4001); // cut short: keeps the whole frames there
    ASSERT_TRUE(ParseWaveHeader(cut, layout, error)) << error;
    EXPECT_EQ(layout.dataLength, 4000u);
}

} // namespace
} // namespace wm::wav
