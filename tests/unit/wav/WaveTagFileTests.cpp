// Tags of whole wave files: reading them and rewriting a file with new ones.
#include "bundled/wav/Id3Frames.h"
#include "bundled/wav/LittleEndian.h"
#include "bundled/wav/WaveHeaderParser.h"
#include "bundled/wav/WaveTagFile.h"
#include "tests/unit/wav/WaveTestBytes.h"

#include <gtest/gtest.h>

namespace wm::wav {
namespace {

using namespace test;
using Ids = std::vector<std::string>;

struct VectorSink final : ByteSink {
    Bytes out;
    bool fail = false;
    bool Write(const void* data, size_t length) override {
        const auto* p = static_cast<const uint8_t*>(data);
        out.insert(out.end(), p, p + length);
        return !fail;
    }
};

// Mono 8-bit: every byte is a frame, so odd data lengths stay whole.
const Bytes kFmt = PcmFmt(1, 8000, 8);

// The tags the file holds; `ids` receives its chunk ids in order.
WaveTags Read(const Bytes& file, Ids* ids = nullptr) {
    MemoryByteSource source(file.data(), file.size());
    RiffFile riff;
    std::string error;
    WaveTags tags;
    EXPECT_TRUE(WalkRiffChunks(source, riff, error)) << error;
    ReadWaveTags(source, riff, tags);
    for (const RiffChunk& c : riff.chunks)
        if (ids)
            ids->emplace_back(c.id.begin(), c.id.end());
    return tags;
}

Bytes Audio(const Bytes& file) {
    MemoryByteSource source(file.data(), file.size());
    WaveLayout layout;
    std::string error;
    EXPECT_TRUE(ParseWaveHeader(source, layout, error)) << error;
    return Bytes(file.begin() + ptrdiff_t(layout.dataOffset),
                 file.begin() + ptrdiff_t(layout.dataOffset + layout.dataLength));
}

struct Rewritten {
    bool ok = false;
    TagRewritePlan plan;
    Bytes file;
};
Rewritten Rewrite(const Bytes& file, const WaveTags& tags, bool sinkFails = false) {
    MemoryByteSource source(file.data(), file.size());
    Rewritten r;
    VectorSink sink;
    sink.fail = sinkFails;
    std::string error;
    r.ok =
        PlanTagRewrite(source, tags, r.plan, error) && WriteTagRewrite(source, r.plan, sink, error);
    r.file = std::move(sink.out);
    return r;
}

TEST(WaveTagRewrite, ReplacesTagChunksAndKeepsEverythingElse) {
    const Bytes audio = L("\x01\x02\x03\x04\x05\x06\x07"); // odd: padded
    Bytes chunks = Chunk("fmt ", kFmt);
    Add(chunks, Chunk("JUNK", Bytes(28, 0)));
    Add(chunks, Chunk("data", audio));
    Bytes info = L("INFO");
    Add(info, Chunk("INAM", L("Short title\0")));
    Add(info, Chunk("IART", L("Artist\0")));
    Add(chunks, Chunk("LIST", info));
    Add(chunks, Chunk("JUNK", Bytes(100, 0))); // padding of the old tags: dropped
    Add(chunks, Chunk("cue ", L("\x01\0\0\0\x05")));
    Add(chunks, Chunk("ID3 ", Id3(3, Frame(3, "TIT2", L("\0Full title")))));
    Add(chunks, Chunk("LIST", L("adtlxxxx")));
    const Bytes original = Wave(chunks);
    // ID3 values win over INFO ones, one entry per name.
    const WaveTags before = Read(original);
    ASSERT_EQ(before.text.size(), 2u);
    EXPECT_EQ(before.text[0].value, u"Full title");
    EXPECT_EQ(before.text[1].value, u"Artist");

    WaveTags tags;
    tags.text = {{u"title", u"New"}, {u"album artist", u"Only in ID3"}};
    tags.pictures = {{4, u"back", L("\xFF\xD8\xFF\xE0jpeg")}};
    const Rewritten r = Rewrite(original, tags);
    ASSERT_TRUE(r.ok);
    EXPECT_TRUE(r.plan.changes);
    EXPECT_EQ(r.file.size(), r.plan.outputSize);

    EXPECT_EQ(Le32(r.file.data() + 4), r.file.size() - 8);
    // Kept chunks are byte for byte what they were, pad bytes included.
    const size_t kept = 12 + 8 + 16 + 8 + 28 + 8 + 8;
    EXPECT_EQ(Bytes(r.file.begin() + 12, r.file.begin() + kept),
              Bytes(original.begin() + 12, original.begin() + kept));
    EXPECT_EQ(Audio(r.file), audio);
    Ids ids;
    const WaveTags back = Read(r.file, &ids);
    EXPECT_EQ(ids, (Ids{"fmt ", "JUNK", "data", "cue ", "LIST", "LIST", "id3 "}));
    ASSERT_EQ(back.text.size(), 2u);
    EXPECT_EQ(back.text[0].value, u"New");
    EXPECT_EQ(back.text[1].value, u"Only in ID3");
    ASSERT_EQ(back.pictures.size(), 1u);
    EXPECT_EQ(back.pictures[0].data, tags.pictures[0].data);

    // The same tags again change nothing; empty tags remove them; a failing sink fails.
    EXPECT_FALSE(Rewrite(r.file, tags).plan.changes);
    const Rewritten cleared = Rewrite(r.file, WaveTags{});
    ASSERT_TRUE(cleared.ok);
    ids.clear();
    EXPECT_TRUE(Read(cleared.file, &ids).Empty());
    EXPECT_EQ(ids, (Ids{"fmt ", "JUNK", "data", "cue ", "LIST"}));
    EXPECT_FALSE(Rewrite(original, tags, true).ok);
}

TEST(WaveTagRewrite, HandlesRf64CutAndOversizedFiles) {
    WaveTags tags;
    tags.text = {{u"title", u"T"}};
    Bytes ds64(28, 0);
    ds64[8] = 8; // data size 8, the rest zero
    Bytes chunks = Chunk("ds64", ds64);
    Add(chunks, Chunk("fmt ", kFmt));
    Add(chunks, Chunk("data", L("abcdefgh"), 0xFFFFFFFF));
    Bytes rf64 = Wave(chunks, "RF64");
    PutLe32(rf64.data() + 4, 0xFFFFFFFF);
    const Rewritten r = Rewrite(rf64, tags);
    ASSERT_TRUE(r.ok);
    EXPECT_EQ(Le32(r.file.data() + 4), 0xFFFFFFFFu);
    EXPECT_EQ(Le64(r.file.data() + 20), r.file.size() - 8) << "ds64 RIFF size";
    EXPECT_EQ(Audio(r.file), L("abcdefgh"));
    EXPECT_EQ(Read(r.file).text.size(), 1u);
    EXPECT_FALSE(Rewrite(Bytes(rf64.begin(), rf64.end() - 3), tags).ok) << "cut RF64";

    // A RIFF file whose data runs past its end gets the size of what is there.
    Bytes cut = Chunk("fmt ", kFmt);
    Add(cut, Chunk("data", L("0123456789"), 1000));
    const Rewritten fixed = Rewrite(Wave(cut), tags);
    ASSERT_TRUE(fixed.ok);
    EXPECT_EQ(Audio(fixed.file), L("0123456789"));
    EXPECT_EQ(Read(fixed.file).text.size(), 1u);

    EXPECT_FALSE(Rewrite(L("RIFF\4\0\0\0AVI "), tags).ok);
    EXPECT_FALSE(Rewrite(Wave(Chunk("data", L("ab"))), tags).ok);

    // Tags that would take a RIFF file past 4 GiB are refused.
    const uint32_t dataSize = 0xFFFFFF00u;
    Bytes head = Chunk("fmt ", kFmt);
    Add(head, L("data"));
    Add(head, Le32Bytes(dataSize));
    head = Wave(head);
    SparseSource big(head, head.size() + dataSize);
    TagRewritePlan plan;
    std::string error;
    EXPECT_TRUE(PlanTagRewrite(big, WaveTags{}, plan, error)) << "without tags it still fits";
    tags.pictures = {{3, u"", Bytes(4096, 1)}};
    EXPECT_FALSE(PlanTagRewrite(big, tags, plan, error));
}

} // namespace
} // namespace wm::wav
