// Tags of whole wave files: reading them and rewriting a file with new ones.
#include "bundled/wav/WaveTagFile.h"
#include "endian/LittleEndian.h"
#include "tests/unit/wav/WaveTestBytes.h"

#include <gtest/gtest.h>

namespace wm::wav {
namespace {

using namespace test;
using Ids = std::vector<std::string>;

struct VectorSink final : ByteSink {
    Bytes out;
    bool Write(const void* data, size_t length) override {
        const auto* p = static_cast<const uint8_t*>(data);
        out.insert(out.end(), p, p + length);
        return true;
    }
};

// The tags the file holds; `ids` receives its chunk ids in order.
WaveTags Read(const Bytes& file, Ids& ids) {
    MemoryByteSource source(file.data(), file.size());
    RiffFile riff;
    WaveError error = kWaveOk;
    WaveTags tags;
    EXPECT_TRUE(WalkRiffChunks(source, riff, error)) << error;
    ReadWaveTags(source, riff, tags);
    ids.clear();
    for (const RiffChunk& c : riff.chunks)
        ids.emplace_back(c.id.begin(), c.id.end());
    return tags;
}

// The file rewritten with `tags`; `changes` receives whether the plan found anything to change.
Bytes Rewrite(const Bytes& file, const WaveTags& tags, bool& changes) {
    MemoryByteSource source(file.data(), file.size());
    TagRewritePlan plan;
    VectorSink sink;
    WaveError error = kWaveOk;
    EXPECT_TRUE(PlanTagRewrite(source, tags, plan, error) &&
                WriteTagRewrite(source, plan, sink, error))
        << error;
    EXPECT_EQ(sink.out.size(), plan.outputSize);
    changes = plan.changes;
    return sink.out;
}

TEST(WaveTagRewrite, ReplacesTagChunksAndKeepsEverythingElse) {
    Bytes chunks = Chunk("fmt ", PcmFmt(1, 8000, 8)); // every byte a frame: odd data stays whole
    Add(chunks, Chunk("data", L("\x01\x02\x03\x04\x05\x06\x07"))); // odd: padded
    Add(chunks, Chunk("cue ", L("\x01\0\0\0\x05")));
    Bytes info = L("INFO");
    Add(info, Chunk("INAM", L("Short title\0")));
    Add(chunks, Chunk("LIST", info));
    Add(chunks, Chunk("ID3 ", Id3v23(Frame("TIT2", L("\0Full title")))));
    const Bytes original = Wave(chunks);
    const size_t kept = 12 + 8 + 16 + 8 + 8 + 8 + 6; // the chunks before the old tags

    WaveTags tags;
    tags.text = {{u"title", u"New"}, {u"album artist", u"Only in ID3"}};
    tags.pictures = {{4, u"back", L("\xFF\xD8\xFF\xE0jpeg")}};
    bool changes = false;
    const Bytes file = Rewrite(original, tags, changes);
    EXPECT_TRUE(changes);
    EXPECT_EQ(Le32(file.data() + 4), file.size() - 8);
    // Kept chunks are byte for byte what they were, pad bytes included.
    EXPECT_EQ(Bytes(file.begin() + 8, file.begin() + kept),
              Bytes(original.begin() + 8, original.begin() + kept));
    Ids ids;
    const WaveTags back = Read(file, ids);
    EXPECT_EQ(ids, (Ids{"fmt ", "data", "cue ", "LIST", "id3 "}));
    ASSERT_EQ(back.text.size(), 2u);
    EXPECT_EQ(back.text[0].value, u"New");
    EXPECT_EQ(back.text[1].value, u"Only in ID3");
    ASSERT_EQ(back.pictures.size(), 1u);
    EXPECT_EQ(back.pictures[0].data, tags.pictures[0].data);

    // The same tags again change nothing; empty tags remove them.
    Rewrite(file, tags, changes);
    EXPECT_FALSE(changes);
    const Bytes cleared = Rewrite(file, WaveTags{}, changes);
    EXPECT_TRUE(Read(cleared, ids).Empty());
    EXPECT_EQ(Bytes(cleared.begin() + 8, cleared.end()),
              Bytes(original.begin() + 8, original.begin() + kept));
}

TEST(WaveTagRead, TwoTagsOfOneKindGiveTheFirstValue) {
    // What real taggers leave: two INFO lists and two ID3 chunks that disagree.
    Bytes chunks = Chunk("fmt ", PcmFmt(1, 8000, 8));
    Add(chunks, Chunk("data", L("\x01\x02")));
    Bytes info1 = L("INFO"), info2 = L("INFO");
    Add(info1, Chunk("INAM", L("Info title\0")));
    Add(info1, Chunk("IART", L("Info artist\0")));
    Add(info2, Chunk("INAM", L("Second info title\0")));
    Add(info2, Chunk("ICMT", L("Only in the second\0")));
    Add(chunks, Chunk("LIST", info1));
    Add(chunks, Chunk("LIST", info2));
    Bytes frames = Frame("TIT2", L("\0ID3 title"));
    Add(frames, Frame("TIT2", L("\0Same tag, second title")));
    Add(frames, Frame("TPE2", L("\0Band")));
    Add(frames, Frame("TPE2", L("\0Orchestra")));
    Add(chunks, Chunk("id3 ", Id3v23(frames)));
    Add(chunks, Chunk("ID3 ", Id3v23(Frame("TIT2", L("\0Second ID3 title")))));
    Ids ids;
    const WaveTags tags = Read(Wave(chunks), ids);
    auto value = [&tags](const char16_t* name) {
        const TextTag* t = tags.Find(name);
        return t ? Narrow(t->value) : std::string("<none>");
    };
    EXPECT_EQ(value(u"title"), "ID3 title");
    EXPECT_EQ(value(u"artist"), "Info artist");
    EXPECT_EQ(value(u"comment"), "Only in the second");
    // Within one tag, two frames of a field that is no free text are two values.
    EXPECT_EQ(value(u"album artist"), "Band\rOrchestra");
    EXPECT_EQ(tags.text.size(), 4u);
}

TEST(WaveTagRewrite, Rf64RewriteUpdatesDs64RiffSize) {
    Bytes ds64(28, 0);
    ds64[8] = 8; // data size 8
    Bytes chunks = Chunk("ds64", ds64);
    Add(chunks, Chunk("fmt ", PcmFmt(1, 8000, 8)));
    Add(chunks, Chunk("data", L("abcdefgh"), 0xFFFFFFFF));
    Bytes file = Wave(chunks);
    file[0] = 'R', file[1] = 'F', file[2] = '6', file[3] = '4';
    PutLe32(file.data() + 4, 0xFFFFFFFF);
    WaveTags tags;
    tags.text = {{u"title", u"T"}};
    bool changes = false;
    const Bytes out = Rewrite(file, tags, changes);
    ASSERT_GE(out.size(), 28u);
    EXPECT_EQ(Le64(out.data() + 20), out.size() - 8);
}
} // namespace
} // namespace wm::wav
