// The RIFF WAVE / RF64 header parser and writer.
#include "bundled/wav/RiffChunks.h"
#include "bundled/wav/WaveFormatRules.h"
#include "bundled/wav/WaveHeaderParser.h"
#include "bundled/wav/WaveHeaderWriter.h"
#include "endian/LittleEndian.h"
#include "tests/unit/wav/WaveTestBytes.h"

#include <gtest/gtest.h>

#include <cstring>

namespace wm::wav {
namespace {

using namespace test;

struct Parsed {
    WaveLayout layout;
    WaveError error = kWaveOk;
    bool ok;
    explicit Parsed(const Bytes& file) : ok(Parse(file)) {}
    bool Parse(const Bytes& file) {
        MemoryByteSource source(file.data(), file.size());
        return ParseWaveHeader(source, layout, error);
    }
};

TEST(WaveHeaderParser, HandlesEveryTruncationAndRejectsZeroChannelsOrRate) {
    Bytes chunks = Chunk("LIST", Bytes(9, 'a')); // odd: a pad byte follows
    Add(chunks, Chunk("fmt ", PcmFmt(2, 44100, 16)));
    Add(chunks, Chunk("data", Bytes(16, 5)));
    const Bytes file = Wave(chunks);
    const size_t dataOffset = file.size() - 16;
    for (size_t n = 0; n <= file.size(); ++n) {
        // An exact-size copy lets AddressSanitizer see any read past the end.
        const Parsed p(Bytes(file.begin(), file.begin() + ptrdiff_t(n)));
        if (n < dataOffset) {
            EXPECT_FALSE(p.ok) << n;
            EXPECT_NE(p.error, kWaveOk) << n;
        } else {
            ASSERT_TRUE(p.ok) << n << ": " << p.error;
            EXPECT_EQ(p.layout.dataOffset, dataOffset);
            EXPECT_EQ(p.layout.dataLength, (n - dataOffset) / 4 * 4) << n;
        }
    }
    // Zero channels would otherwise divide by a zero block align.
    Bytes broken = file;
    broken[40] = 0; // the channel count, after the 18-byte LIST
    EXPECT_EQ(Parsed(broken).error, kWaveZeroChannels);
    broken = file;
    broken[43] = broken[42] = 0; // the sample rate
    EXPECT_EQ(Parsed(broken).error, kWaveZeroRate);
}

// Sizes a writer left as they were before the audio, or that promise more than is there: the
// audio is read to the end of the file, and the layout says which case it was.
TEST(WaveHeaderParser, ReadsToTheEndWhenTheDataSizeWasNeverWrittenOrPastTheEnd) {
    using DataSize = WaveLayout::DataSize;
    const Bytes fmt = Chunk("fmt ", PcmFmt(2, 44100, 16));
    const auto file = [&](uint32_t riffSize, uint32_t dataSize, const Bytes& after = {},
                          size_t audio = 16) {
        Bytes chunks = fmt;
        Add(chunks, Chunk("data", Bytes(audio, 5), dataSize));
        Add(chunks, after);
        Bytes b = Wave(chunks);
        std::memcpy(b.data() + 4, Le32Bytes(riffSize).data(), 4);
        return b;
    };
    const Bytes list = Chunk("LIST", Bytes(8, 'a'));
    const struct Case {
        const char* what;
        Bytes bytes;
        DataSize dataSize;
        uint64_t length, stated;
    } cases[] = {
        {"sizes as written", file(52, 16), DataSize::AsStated, 16, 0},
        {"RIFF and data sizes 0", file(0, 0), DataSize::NeverWritten, 16, 0},
        {"RIFF size ending at the data chunk", file(36, 0), DataSize::NeverWritten, 16, 0},
        {"streaming writer's 0xFFFFFFFF", file(0xFFFFFFFF, 0xFFFFFFFF), DataSize::NeverWritten, 16,
         0},
        {"data size past the end", file(52, 40), DataSize::PastEnd, 16, 40},
        {"a real empty data chunk before a LIST", file(52, 0, list, 0), DataSize::AsStated, 0, 0},
    };
    for (const Case& c : cases) {
        const Parsed p(c.bytes);
        ASSERT_TRUE(p.ok) << c.what;
        EXPECT_EQ(p.layout.dataSize, c.dataSize) << c.what;
        EXPECT_EQ(p.layout.dataLength, c.length) << c.what;
        EXPECT_EQ(p.layout.statedDataLength, c.stated) << c.what;
    }
}

TEST(WaveHeaderWriter, ChoosesPlainOrExtensibleFormThatReadsBack) {
    struct Case {
        uint16_t channels, bits, tag;
        uint32_t mask;
    };
    for (const Case& c : {Case{2, 16, 1, 0}, Case{6, 24, 0xFFFE, 0x3F}}) {
        SCOPED_TRACE(c.channels);
        WaveHeaderWriter writer;
        WaveError error = kWaveOk;
        const WmWaveFormat source = MakeWaveFormat(SampleKind::Pcm, c.channels, 44100, c.bits);
        ASSERT_TRUE(writer.Init(source, error));
        EXPECT_EQ(writer.Format().formatTag, c.tag);
        EXPECT_EQ(writer.Format().channelMask, c.mask);
        const size_t dataLength = writer.Format().blockAlign * 4u;
        Bytes file = writer.Build(dataLength);
        ASSERT_EQ(file.size(), writer.HeaderSize());
        file.resize(file.size() + dataLength, 0x55);
        const Parsed p(file);
        ASSERT_TRUE(p.ok) << p.error;
        EXPECT_EQ(std::memcmp(&p.layout.format, &writer.Format(), sizeof(WmWaveFormat)), 0);
        EXPECT_TRUE(SameSampleLayout(p.layout.format, source));
        EXPECT_EQ(p.layout.dataLength, dataLength);
        EXPECT_EQ(Le32(file.data() + 4), file.size() - 8);
    }
}

TEST(WaveHeaderWriter, SwitchesToRf64AtTheLimitAndReadsItBack) {
    WaveHeaderWriter writer;
    WaveError error = kWaveOk;
    ASSERT_TRUE(writer.Init(MakeWaveFormat(SampleKind::Pcm, 2, 44100, 16), error));
    const uint64_t lastRiff = UINT32_MAX - (writer.HeaderSize() - 8) - 1; // even: no pad
    EXPECT_FALSE(writer.NeedsRf64(lastRiff));
    EXPECT_TRUE(writer.NeedsRf64(lastRiff + 1)); // odd: its pad byte tips it over
    EXPECT_EQ(Le32(writer.Build(lastRiff).data() + 4), UINT32_MAX - 1);

    const uint64_t big = 5ull << 30;
    const Bytes h = writer.Build(big);
    ASSERT_EQ(h.size(), writer.HeaderSize());
    EXPECT_TRUE(IsId(h.data(), "RF64"));
    EXPECT_TRUE(IsId(h.data() + 12, "ds64"));
    EXPECT_EQ(Le64(h.data() + 20), h.size() - 8 + big);
    EXPECT_EQ(Le64(h.data() + 28), big);
    EXPECT_EQ(Le32(h.data() + h.size() - 4), UINT32_MAX);

    SparseSource source(h, h.size() + big);
    WaveLayout layout;
    ASSERT_TRUE(ParseWaveHeader(source, layout, error)) << error;
    EXPECT_TRUE(layout.rf64);
    EXPECT_EQ(layout.dataOffset, h.size());
    EXPECT_EQ(layout.dataLength, big);
}

TEST(WaveHeaderParser, WrongBlockAlignIsRejected) {
    Bytes chunks = Chunk("fmt ", PcmFmt(2, 44100, 16));
    Add(chunks, Chunk("data", Bytes(8, 0)));
    Bytes file = Wave(chunks);
    file[32] = 3; // block align 3 where a frame is 4 bytes
    EXPECT_FALSE(Parsed(file).ok);
}
TEST(WaveHeaderWriter, Ds64CountsFrames) {
    WaveHeaderWriter writer;
    WaveError error = kWaveOk;
    ASSERT_TRUE(writer.Init(MakeWaveFormat(SampleKind::Pcm, 2, 44100, 16), error));
    EXPECT_EQ(Le64(writer.Build(5ull << 30).data() + 36), (5ull << 30) / 4);
}
} // namespace
} // namespace wm::wav
