// The RIFF WAVE / RF64 header parser and writer.
#include "bundled/wav/LittleEndian.h"
#include "bundled/wav/WaveFormatRules.h"
#include "bundled/wav/WaveHeaderParser.h"
#include "bundled/wav/WaveHeaderWriter.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace wm::wav {
namespace {

using Bytes = std::vector<uint8_t>;

void AppendId(Bytes& b, const char* id) {
    b.insert(b.end(), id, id + 4);
}
void Append16(Bytes& b, uint16_t v) {
    b.push_back(static_cast<uint8_t>(v));
    b.push_back(static_cast<uint8_t>(v >> 8));
}
void Append32(Bytes& b, uint32_t v) {
    Append16(b, static_cast<uint16_t>(v));
    Append16(b, static_cast<uint16_t>(v >> 16));
}
void AppendChunk(Bytes& b, const char* id, const Bytes& body, uint32_t declaredSize) {
    AppendId(b, id);
    Append32(b, declaredSize);
    b.insert(b.end(), body.begin(), body.end());
    if (body.size() % 2)
        b.push_back(0);
}
void AppendChunk(Bytes& b, const char* id, const Bytes& body) {
    AppendChunk(b, id, body, static_cast<uint32_t>(body.size()));
}

Bytes FmtBody(uint16_t tag, uint16_t channels, uint32_t rate, uint16_t bits, uint16_t blockAlign) {
    Bytes b;
    Append16(b, tag);
    Append16(b, channels);
    Append32(b, rate);
    Append32(b, rate * blockAlign);
    Append16(b, blockAlign);
    Append16(b, bits);
    return b;
}
Bytes PcmFmt(uint16_t channels, uint32_t rate, uint16_t bits) {
    return FmtBody(1, channels, rate, bits, static_cast<uint16_t>(channels * bits / 8));
}

Bytes Riff(const Bytes& chunks, const char* id = "RIFF") {
    Bytes b;
    AppendId(b, id);
    Append32(b, static_cast<uint32_t>(chunks.size() + 4));
    AppendId(b, "WAVE");
    b.insert(b.end(), chunks.begin(), chunks.end());
    return b;
}

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

// Pretends to hold `size` bytes of which only the first ones (the header) are real.
class SparseSource final : public ByteSource {
  public:
    SparseSource(Bytes head, uint64_t size) : head_(std::move(head)), size_(size) {}
    uint64_t Size() const override { return size_; }
    size_t Read(uint64_t offset, void* buffer, size_t length) override {
        if (offset >= size_)
            return 0;
        const size_t n = static_cast<size_t>(std::min<uint64_t>(length, size_ - offset));
        for (size_t i = 0; i < n; ++i)
            static_cast<uint8_t*>(buffer)[i] = offset + i < head_.size() ? head_[offset + i] : 0;
        return n;
    }

  private:
    Bytes head_;
    uint64_t size_;
};

TEST(WaveHeaderParser, FindsFormatAndDataPastUnknownAndOddChunks) {
    Bytes chunks;
    AppendChunk(chunks, "LIST", Bytes(5, 'x')); // odd size: one pad byte follows
    AppendChunk(chunks, "fmt ", PcmFmt(2, 44100, 16));
    AppendChunk(chunks, "junk", Bytes(3, 0));
    AppendChunk(chunks, "data", Bytes(40, 7));
    const Parsed p = Parse(Riff(chunks));
    ASSERT_TRUE(p.ok) << p.error;
    EXPECT_EQ(p.layout.format.formatTag, 1);
    EXPECT_EQ(p.layout.format.channels, 2);
    EXPECT_EQ(p.layout.format.samplesPerSec, 44100u);
    EXPECT_EQ(p.layout.format.avgBytesPerSec, 176400u);
    EXPECT_EQ(p.layout.dataOffset, 12u + 14 + 24 + 12 + 8);
    EXPECT_EQ(p.layout.dataLength, 40u);
    EXPECT_FALSE(p.layout.rf64);
}

TEST(WaveHeaderParser, AcceptsFormatAfterData) {
    Bytes chunks;
    AppendChunk(chunks, "data", Bytes(6, 1));
    AppendChunk(chunks, "fmt ", PcmFmt(3, 8000, 8));
    const Parsed p = Parse(Riff(chunks));
    ASSERT_TRUE(p.ok) << p.error;
    EXPECT_EQ(p.layout.dataOffset, 20u);
    EXPECT_EQ(p.layout.dataLength, 6u);
    EXPECT_EQ(p.layout.format.channels, 3);
}

TEST(WaveHeaderParser, ClampsLyingAndTruncatedDataToWholeFrames) {
    Bytes chunks;
    AppendChunk(chunks, "fmt ", PcmFmt(2, 48000, 24));
    AppendChunk(chunks, "data", Bytes(20, 0), 1000000); // 20 bytes there: 3 frames of 6
    Parsed p = Parse(Riff(chunks));
    ASSERT_TRUE(p.ok) << p.error;
    EXPECT_EQ(p.layout.dataLength, 18u);

    // The RIFF size is not trusted either way.
    Bytes file = Riff(chunks);
    PutLe32(file.data() + 4, 12);
    p = Parse(file);
    ASSERT_TRUE(p.ok) << p.error;
    EXPECT_EQ(p.layout.dataLength, 18u);
}

TEST(WaveHeaderParser, ReadsExtensibleFloat) {
    Bytes ext = FmtBody(0xFFFE, 6, 96000, 32, 24);
    Append16(ext, 22);
    Append16(ext, 32);
    Append32(ext, 0x3F);
    ext.insert(ext.end(), kSubFormatFloat, kSubFormatFloat + 16);
    Bytes chunks;
    AppendChunk(chunks, "fmt ", ext);
    AppendChunk(chunks, "data", Bytes(48, 0));
    const Parsed p = Parse(Riff(chunks));
    ASSERT_TRUE(p.ok) << p.error;
    EXPECT_EQ(p.layout.format.formatTag, 0xFFFE);
    EXPECT_EQ(p.layout.format.cbSize, 22);
    EXPECT_EQ(p.layout.format.channelMask, 0x3Fu);
    EXPECT_EQ(KindOf(p.layout.format), SampleKind::Float);
    EXPECT_EQ(p.layout.dataLength, 48u);
}

TEST(WaveHeaderParser, RejectsBrokenFiles) {
    const auto errorFor = [](const Bytes& file) {
        const Parsed p = Parse(file);
        EXPECT_FALSE(p.ok);
        return p.error;
    };
    const auto withFmt = [](const Bytes& fmt) {
        Bytes chunks;
        AppendChunk(chunks, "fmt ", fmt);
        AppendChunk(chunks, "data", Bytes(8, 0));
        return Riff(chunks);
    };
    EXPECT_EQ(errorFor(Bytes{'R', 'I', 'F', 'F'}), "file too short for a RIFF header");
    EXPECT_EQ(errorFor(Riff({}, "RIFX")), "not a RIFF WAVE file");
    EXPECT_EQ(errorFor(withFmt(FmtBody(1, 0, 44100, 16, 0))), "zero channels");
    EXPECT_EQ(errorFor(withFmt(FmtBody(1, 2, 0, 16, 4))), "zero sample rate");
    EXPECT_NE(errorFor(withFmt(FmtBody(1, 2, 44100, 16, 3))).find("block align"),
              std::string::npos);
    EXPECT_NE(errorFor(withFmt(FmtBody(2, 2, 44100, 4, 2048))).find("format tag 2"),
              std::string::npos);
    EXPECT_NE(errorFor(withFmt(FmtBody(3, 2, 44100, 16, 4))).find("bits"), std::string::npos);
    EXPECT_EQ(errorFor(withFmt(FmtBody(0xFFFE, 2, 44100, 16, 4))),
              "extensible fmt chunk too small");
    EXPECT_EQ(errorFor(withFmt(Bytes(14, 1))), "fmt chunk too small");

    Bytes noData;
    AppendChunk(noData, "fmt ", PcmFmt(1, 8000, 8));
    EXPECT_EQ(errorFor(Riff(noData)), "no data chunk");
    Bytes noFmt;
    AppendChunk(noFmt, "data", Bytes(8, 0));
    EXPECT_EQ(errorFor(Riff(noFmt)), "no fmt chunk");
}

TEST(WaveHeaderParser, EveryTruncationOfAHeaderIsHandled) {
    Bytes chunks;
    AppendChunk(chunks, "LIST", Bytes(9, 'a'));
    AppendChunk(chunks, "fmt ", PcmFmt(2, 44100, 16));
    AppendChunk(chunks, "data", Bytes(16, 5));
    const Bytes file = Riff(chunks);
    const uint64_t dataOffset = file.size() - 16;
    for (size_t n = 0; n <= file.size(); ++n) {
        // An exact-size copy lets AddressSanitizer see any read past the end.
        const Bytes prefix(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(n));
        const Parsed p = Parse(prefix);
        if (n < dataOffset) {
            EXPECT_FALSE(p.ok) << n;
            EXPECT_FALSE(p.error.empty()) << n;
        } else {
            ASSERT_TRUE(p.ok) << n << ": " << p.error;
            EXPECT_EQ(p.layout.dataLength, (n - dataOffset) / 4 * 4) << n;
        }
    }
}

TEST(WaveHeaderWriter, ChoosesPlainOrExtensibleForm) {
    struct Case {
        SampleKind kind;
        uint16_t channels, bits;
        uint16_t tag;
        uint32_t mask;
        size_t headerSize;
    };
    const Case cases[] = {
        {SampleKind::Pcm, 1, 8, 1, 0, 80},          {SampleKind::Pcm, 2, 16, 1, 0, 80},
        {SampleKind::Pcm, 2, 24, 0xFFFE, 3, 104},   {SampleKind::Pcm, 6, 16, 0xFFFE, 0x3F, 104},
        {SampleKind::Float, 2, 32, 0xFFFE, 3, 104}, {SampleKind::Float, 8, 64, 0xFFFE, 0x63F, 104},
        {SampleKind::Pcm, 9, 16, 0xFFFE, 0, 104},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.channels) + "x" + std::to_string(c.bits));
        WaveHeaderWriter writer;
        std::string error;
        ASSERT_TRUE(writer.Init(MakeWaveFormat(c.kind, c.channels, 44100, c.bits), error));
        EXPECT_EQ(writer.Format().formatTag, c.tag);
        EXPECT_EQ(writer.Format().channelMask, c.mask);
        ASSERT_EQ(writer.HeaderSize(), c.headerSize);

        // What is written reads back as the same format, with the data right behind.
        Bytes file = writer.Build(writer.Format().blockAlign * 4);
        ASSERT_EQ(file.size(), c.headerSize);
        file.resize(file.size() + writer.Format().blockAlign * 4, 0x55);
        const Parsed p = Parse(file);
        ASSERT_TRUE(p.ok) << p.error;
        EXPECT_EQ(std::memcmp(&p.layout.format, &writer.Format(), sizeof(WmWaveFormat)), 0);
        EXPECT_EQ(p.layout.dataOffset, c.headerSize);
        EXPECT_EQ(p.layout.dataLength, writer.Format().blockAlign * 4u);
        EXPECT_EQ(Le32(file.data() + 4), file.size() - 8);
        EXPECT_EQ(
            SameSampleLayout(p.layout.format, MakeWaveFormat(c.kind, c.channels, 44100, c.bits)),
            true);
    }
}

TEST(WaveHeaderWriter, KeepsAFittingSourceMaskAndValidBits) {
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

    source.channelMask = 0x80000000; // one speaker bit for four channels: not a layout
    ASSERT_TRUE(writer.Init(source, error)) << error;
    EXPECT_EQ(writer.Format().channelMask, 0x33u);

    source.bitsPerSample = 12;
    EXPECT_FALSE(writer.Init(source, error));
}

TEST(WaveHeaderWriter, OddDataIsPaddedInTheRiffSize) {
    WaveHeaderWriter writer;
    std::string error;
    ASSERT_TRUE(writer.Init(MakeWaveFormat(SampleKind::Pcm, 1, 8000, 8), error));
    const Bytes h = writer.Build(5);
    EXPECT_EQ(Le32(h.data() + 4), h.size() - 8 + 6);
    EXPECT_EQ(Le32(h.data() + h.size() - 4), 5u);
}

TEST(WaveHeaderWriter, SwitchesToRf64PastFourGigabytes) {
    WaveHeaderWriter writer;
    std::string error;
    ASSERT_TRUE(writer.Init(MakeWaveFormat(SampleKind::Pcm, 2, 44100, 16), error));
    const uint64_t lastRiff = UINT32_MAX - (writer.HeaderSize() - 8) - 1; // even: no pad
    EXPECT_FALSE(writer.NeedsRf64(lastRiff));
    EXPECT_TRUE(writer.NeedsRf64(lastRiff + 1)); // odd: its pad byte tips it over
    EXPECT_EQ(Le32(writer.Build(lastRiff).data() + 4), UINT32_MAX - 1);

    const uint64_t big = 5ull << 30;
    const Bytes h = writer.Build(big);
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

    // A file cut short keeps what is there.
    SparseSource cut(h, h.size() + 4001);
    ASSERT_TRUE(ParseWaveHeader(cut, layout, error)) << error;
    EXPECT_EQ(layout.dataLength, 4000u);
}

TEST(WaveHeaderParser, Rf64TableGivesOtherChunkSizes) {
    Bytes ds64(28, 0);
    PutLe32(ds64.data() + 24, 1);
    ds64.insert(ds64.end(), {'b', 'i', 'g', ' '});
    ds64.resize(ds64.size() + 8, 0);
    PutLe64(ds64.data() + 32, 6);
    Bytes chunks;
    AppendChunk(chunks, "ds64", ds64);
    AppendChunk(chunks, "big ", Bytes(6, 9), UINT32_MAX);
    AppendChunk(chunks, "fmt ", PcmFmt(1, 8000, 16));
    AppendChunk(chunks, "data", Bytes(4, 0));
    const Parsed p = Parse(Riff(chunks, "RF64"));
    ASSERT_TRUE(p.ok) << p.error;
    EXPECT_EQ(p.layout.dataLength, 4u);
}

} // namespace
} // namespace wm::wav
