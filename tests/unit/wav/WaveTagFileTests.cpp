// Tags of whole wave files: reading them, rewriting a file with new ones, and the host's tag set.
#include "bundled/wav/Id3Frames.h"
#include "bundled/wav/LittleEndian.h"
#include "bundled/wav/TagSetBridge.h"
#include "bundled/wav/WaveHeaderParser.h"
#include "bundled/wav/WaveTagFile.h"
#include "tags/AlbumArt.h"
#include "tests/unit/wav/TagTestBytes.h"

#include <gtest/gtest.h>

#include <cstring>

namespace wm::wav {
namespace {

using namespace test;

struct VectorSink final : ByteSink {
    Bytes out;
    size_t failAfter = SIZE_MAX; // bytes accepted before writes fail
    bool Write(const void* data, size_t length) override {
        if (out.size() + length > failAfter)
            return false;
        const auto* p = static_cast<const uint8_t*>(data);
        out.insert(out.end(), p, p + length);
        return true;
    }
};

Bytes Wave(const Bytes& chunks, const char* form = "RIFF") {
    Bytes b = B(form);
    Add(b, Le32Bytes(uint32_t(chunks.size() + 4)));
    Add(b, L("WAVE"));
    Add(b, chunks);
    return b;
}

// Mono 8-bit: every byte is a frame, so odd data lengths stay whole.
Bytes Fmt() {
    return L("\x01\0\x01\0\x40\x1f\0\0\x40\x1f\0\0\x01\0\x08\0");
}

WaveTags Read(const Bytes& file) {
    MemoryByteSource source(file.data(), file.size());
    RiffFile riff;
    std::string error;
    WaveTags tags;
    EXPECT_TRUE(WalkRiffChunks(source, riff, error)) << error;
    ReadWaveTags(source, riff, tags);
    return tags;
}

struct Rewritten {
    bool ok = false;
    TagRewritePlan plan;
    Bytes file;
    std::string error;
};
Rewritten Rewrite(const Bytes& file, const WaveTags& tags) {
    MemoryByteSource source(file.data(), file.size());
    Rewritten r;
    VectorSink sink;
    r.ok = PlanTagRewrite(source, tags, r.plan, r.error) &&
           WriteTagRewrite(source, r.plan, sink, r.error);
    r.file = std::move(sink.out);
    return r;
}

std::vector<std::string> ChunkIds(const Bytes& file) {
    MemoryByteSource source(file.data(), file.size());
    RiffFile riff;
    std::string error;
    std::vector<std::string> ids;
    if (WalkRiffChunks(source, riff, error))
        for (const RiffChunk& c : riff.chunks)
            ids.emplace_back(c.id.begin(), c.id.end());
    return ids;
}

Bytes Info(const std::string& id, const std::string& value) {
    Bytes list = L("INFO");
    Add(list, Chunk(id, B(value + '\0')));
    return Chunk("LIST", list);
}

TEST(WaveTagFile, Id3ValuesWinOverInfoOnePerName) {
    WaveTags id3;
    id3.text = {{u"Title", u"Full \u2665 title"}, {u"album", u"Album"}};
    id3.pictures = {{3, u"", L("\x89PNG\r\n\x1A\n")}};
    Bytes chunks = Chunk("fmt ", Fmt());
    Add(chunks, Chunk("data", L("\x80\x80")));
    Add(chunks, Chunk("LIST", [] {
            Bytes l = L("INFO");
            Add(l, Chunk("INAM", L("Short title\0")));
            Add(l, Chunk("IART", L("Artist\0")));
            return l;
        }()));
    Add(chunks, Chunk("id3 ", BuildId3Tag(id3)));
    const WaveTags tags = Read(Wave(chunks));
    ASSERT_EQ(tags.text.size(), 3u);
    EXPECT_EQ(tags.text[0].name, u"title");
    EXPECT_EQ(tags.text[0].value, u"Full \u2665 title");
    EXPECT_EQ(tags.text[1].value, u"Artist");
    EXPECT_EQ(tags.text[2].value, u"Album");
    ASSERT_EQ(tags.pictures.size(), 1u);
    EXPECT_EQ(tags.pictures[0].data, id3.pictures[0].data);
}

TEST(WaveTagRewrite, ReplacesTagChunksAndKeepsEverythingElse) {
    const Bytes audio = L("\x01\x02\x03\x04\x05\x06\x07"); // odd: padded
    Bytes chunks = Chunk("fmt ", Fmt());
    Add(chunks, Chunk("JUNK", Bytes(28, 0)));
    Add(chunks, Chunk("data", audio));
    Add(chunks, Info("INAM", "old"));
    Add(chunks, Chunk("JUNK", Bytes(100, 0))); // padding of the old tags: dropped
    Add(chunks, Chunk("cue ", L("\x01\0\0\0\x05")));
    Add(chunks, Chunk("ID3 ", Id3(3, Frame(3, "TPE1", L("\0old")))));
    Add(chunks, Chunk("LIST", L("adtlxxxx")));
    const Bytes original = Wave(chunks);

    WaveTags tags;
    tags.text = {{u"title", u"New"}, {u"album artist", u"Only in ID3"}};
    tags.pictures = {{4, u"back", L("\xFF\xD8\xFF\xE0jpeg")}};
    const Rewritten r = Rewrite(original, tags);
    ASSERT_TRUE(r.ok) << r.error;
    EXPECT_TRUE(r.plan.changes);
    EXPECT_EQ(r.file.size(), r.plan.outputSize);
    EXPECT_EQ((std::vector<std::string>{"fmt ", "JUNK", "data", "cue ", "LIST", "LIST", "id3 "}),
              ChunkIds(r.file));
    EXPECT_EQ(Le32(r.file.data() + 4), r.file.size() - 8);
    // Kept chunks are byte for byte what they were, pad bytes included.
    const Bytes kept(original.begin() + 12, original.begin() + 12 + 8 + 16 + 8 + 28 + 8 + 8);
    EXPECT_EQ(Bytes(r.file.begin() + 12, r.file.begin() + 12 + kept.size()), kept);
    MemoryByteSource source(r.file.data(), r.file.size());
    WaveLayout layout;
    std::string error;
    ASSERT_TRUE(ParseWaveHeader(source, layout, error)) << error;
    EXPECT_EQ(Bytes(r.file.begin() + ptrdiff_t(layout.dataOffset),
                    r.file.begin() + ptrdiff_t(layout.dataOffset + layout.dataLength)),
              audio);

    const WaveTags back = Read(r.file);
    ASSERT_EQ(back.text.size(), 2u);
    EXPECT_EQ(back.text[0].value, u"New");
    EXPECT_EQ(back.text[1].value, u"Only in ID3");
    ASSERT_EQ(back.pictures.size(), 1u);
    EXPECT_EQ(back.pictures[0].data, tags.pictures[0].data);

    // The same tags again change nothing; empty tags remove them.
    EXPECT_FALSE(Rewrite(r.file, tags).plan.changes);
    const Rewritten cleared = Rewrite(r.file, WaveTags{});
    ASSERT_TRUE(cleared.ok);
    EXPECT_EQ((std::vector<std::string>{"fmt ", "JUNK", "data", "cue ", "LIST"}),
              ChunkIds(cleared.file));
    EXPECT_TRUE(Read(cleared.file).Empty());

    // A failing sink fails the rewrite.
    MemoryByteSource again(original.data(), original.size());
    TagRewritePlan plan;
    ASSERT_TRUE(PlanTagRewrite(again, tags, plan, error));
    VectorSink failing;
    failing.failAfter = 0;
    EXPECT_FALSE(WriteTagRewrite(again, plan, failing, error));
}

TEST(WaveTagRewrite, HandlesRf64AndCutFiles) {
    WaveTags tags;
    tags.text = {{u"title", u"T"}};

    Bytes ds64 = Bytes(28, 0);
    ds64[8] = 8; // data size 8, the rest zero
    Bytes chunks = Chunk("ds64", ds64);
    Add(chunks, Chunk("fmt ", Fmt()));
    Add(chunks, Chunk("data", L("abcdefgh"), 0xFFFFFFFF));
    Bytes rf64 = Wave(chunks, "RF64");
    PutLe32(rf64.data() + 4, 0xFFFFFFFF);
    const Rewritten r = Rewrite(rf64, tags);
    ASSERT_TRUE(r.ok) << r.error;
    EXPECT_EQ(Le32(r.file.data() + 4), 0xFFFFFFFFu);
    EXPECT_EQ(Le64(r.file.data() + 20), r.file.size() - 8) << "ds64 RIFF size";
    MemoryByteSource source(r.file.data(), r.file.size());
    WaveLayout layout;
    std::string error;
    ASSERT_TRUE(ParseWaveHeader(source, layout, error));
    EXPECT_EQ(layout.dataLength, 8u);
    EXPECT_EQ(Read(r.file).text.size(), 1u);
    // Cut inside its data, an RF64 file is refused.
    Bytes cutRf64(rf64.begin(), rf64.end() - 3);
    EXPECT_FALSE(Rewrite(cutRf64, tags).ok);

    // A RIFF file whose data runs past its end gets the size of what is there.
    Bytes cut = Chunk("fmt ", Fmt());
    Add(cut, Chunk("data", L("0123456789"), 1000));
    const Rewritten fixed = Rewrite(Wave(cut), tags);
    ASSERT_TRUE(fixed.ok) << fixed.error;
    MemoryByteSource fixedSource(fixed.file.data(), fixed.file.size());
    ASSERT_TRUE(ParseWaveHeader(fixedSource, layout, error));
    EXPECT_EQ(layout.dataLength, 10u);
    EXPECT_EQ(Read(fixed.file).text.size(), 1u);

    // Not a wave file; no format.
    EXPECT_FALSE(Rewrite(L("RIFF\4\0\0\0AVI "), tags).ok);
    EXPECT_FALSE(Rewrite(Wave(Chunk("data", L("ab"))), tags).ok);
}

// Holds only a header; the rest reads as nothing.
class HeaderOnlySource final : public ByteSource {
  public:
    HeaderOnlySource(Bytes head, uint64_t size) : head_(std::move(head)), size_(size) {}
    uint64_t Size() const override { return size_; }
    size_t Read(uint64_t offset, void* buffer, size_t length) override {
        if (offset >= head_.size())
            return 0;
        const size_t n = std::min<size_t>(length, head_.size() - size_t(offset));
        std::memcpy(buffer, head_.data() + offset, n);
        return n;
    }

  private:
    Bytes head_;
    uint64_t size_;
};

TEST(WaveTagRewrite, RefusesARiffFileThatWouldPassFourGigabytes) {
    const uint32_t dataSize = 0xFFFFFF00u;
    Bytes chunks = Chunk("fmt ", Fmt());
    Add(chunks, B("data"));
    Add(chunks, Le32Bytes(dataSize));
    const Bytes head = Wave(chunks);
    HeaderOnlySource source(head, head.size() + dataSize);
    WaveTags tags;
    TagRewritePlan plan;
    std::string error;
    EXPECT_TRUE(PlanTagRewrite(source, tags, plan, error)) << "without tags it still fits";
    tags.pictures = {{3, u"", Bytes(4096, 1)}};
    EXPECT_FALSE(PlanTagRewrite(source, tags, plan, error));
}

TEST(TagSetBridge, NamesPicturesAndLeavesInternalTagsOut) {
    WaveTags tags;
    tags.text = {{u"title", u"T"}, {u"genre", u"A\rB"}};
    tags.pictures = {{3, u"", L("front")}, {4, u"Back side", L("back")}};
    IDTagSet set;
    ToTagSet(tags, set);
    ASSERT_EQ(set.Count(), 4u);
    EXPECT_EQ(set.At(2).Name, u"_albumart_1_Front Album Cover");
    EXPECT_EQ(set.At(3).Name, u"_albumart_2_Back Album Cover<subdesc>Back side");
    EXPECT_EQ(set.At(3).Data, L("back"));

    IDTagSet copy;
    const std::vector<uint8_t> block = set.Serialize();
    copy.Deserialize(block.data(), block.size());
    copy.Add(u"_riff_bext", u"internal");
    copy.AddData(u"_albumart_3_Artist", "pic", 3);
    const WaveTags back = FromTagSet(copy);
    ASSERT_EQ(back.text.size(), 2u);
    EXPECT_EQ(back.text[1].value, u"A\rB");
    ASSERT_EQ(back.pictures.size(), 3u);
    EXPECT_EQ(back.pictures[1].type, 4);
    EXPECT_EQ(back.pictures[1].description, u"Back side");
    EXPECT_EQ(back.pictures[2].type, 8);
    EXPECT_EQ(back.pictures[2].data, L("pic"));
}

} // namespace
} // namespace wm::wav
