// LIST/INFO and ID3v2 tag chunks: reading, writing and their damaged forms.
#include "bundled/wav/Id3Frames.h"
#include "bundled/wav/InfoChunk.h"
#include "tests/unit/wav/TagTestBytes.h"

#include <gtest/gtest.h>

#include <cstring>

namespace wm::wav {

bool operator==(const TextTag& a, const TextTag& b) {
    return a.name == b.name && a.value == b.value;
}
bool operator==(const Picture& a, const Picture& b) {
    return a.type == b.type && a.description == b.description && a.data == b.data;
}
void PrintTo(const TextTag& t, std::ostream* os) {
    *os << Narrow(t.name) << "=" << Narrow(t.value);
}

namespace {

using namespace test;

const Bytes kPng = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0, 0, 0, 13, 'I', 'H', 'D', 'R'};
const Bytes kJpeg = {0xFF, 0xD8, 0xFF, 0xE0, 0x00, 0x10, 'J', 'F', 'I', 'F', 0xFF, 0x00, 0xFF};

bool Contains(const Bytes& hay, const Bytes& needle) {
    return std::search(hay.begin(), hay.end(), needle.begin(), needle.end()) != hay.end();
}

// Every result for a cut input must be a prefix of the result for the whole input.
void ExpectPrefixOf(const WaveTags& part, const WaveTags& whole) {
    ASSERT_LE(part.text.size(), whole.text.size());
    for (size_t i = 0; i < part.text.size(); ++i)
        EXPECT_EQ(part.text[i], whole.text[i]);
    ASSERT_LE(part.pictures.size(), whole.pictures.size());
    for (size_t i = 0; i < part.pictures.size(); ++i)
        EXPECT_TRUE(part.pictures[i] == whole.pictures[i]);
}

TEST(InfoChunk, RoundTripsMappedNamesAndKeepsOtherIds) {
    WaveTags tags;
    const std::vector<TextTag> mapped = {{u"title", u"T\u00fct\u266b \U0001D11E"},
                                         {u"artist", u"Artist"},
                                         {u"album", u"Odd"},
                                         {u"comment", u"c"},
                                         {u"genre", u"Jazz"},
                                         {u"year", u"1999"},
                                         {u"track", u"3/12"},
                                         {u"Encoded By", u"me"},
                                         {u"Encoder", u"Wave"},
                                         {u"copyright", u"(c) 2001"},
                                         {u"IENG", u"Bob"}};
    tags.text = mapped;
    tags.text.push_back({u"Title", u"second title"});                     // one entry per id
    tags.text.push_back({u"album artist", u"Not for INFO"});              // no INFO id
    tags.text.push_back({u"ISBJ", String(kMaxInfoValueBytes + 1, u'x')}); // too long
    tags.text.push_back({u"IKEY", u""});                                  // nothing to write

    const Bytes list = BuildInfoList(tags);
    ASSERT_GE(list.size(), 12u);
    EXPECT_EQ(std::memcmp(list.data(), "LIST", 4), 0);
    EXPECT_EQ(std::memcmp(list.data() + 8, "INFO", 4), 0);
    EXPECT_EQ(Le32Bytes(uint32_t(list.size() - 8)), Bytes(list.begin() + 4, list.begin() + 8));
    EXPECT_EQ(list.size() % 2, 0u);
    // The title: UTF-8, NUL-terminated, size without the pad byte.
    const std::string title = Narrow(mapped[0].value);
    EXPECT_EQ(Bytes(list.begin() + 12, list.begin() + 20), [&] {
        Bytes b = L("INAM");
        Add(b, Le32Bytes(uint32_t(title.size() + 1)));
        return b;
    }());
    EXPECT_TRUE(Contains(list, B(title + '\0')));
    EXPECT_TRUE(Contains(list, L("ITRK")));
    EXPECT_TRUE(Contains(list, L("ITCH")));

    WaveTags back;
    ReadInfoList(list.data() + 8, list.size() - 8, back);
    EXPECT_EQ(back.text, mapped);
    EXPECT_TRUE(BuildInfoList(WaveTags{}).empty());
}

TEST(InfoChunk, ReadsOldEncodingsAndStopsAtBrokenSubChunks) {
    Bytes list = L("INFO");
    Add(list, Chunk("INAM", L("Caf\xE9\0")));       // Latin-1 (invalid as UTF-8)
    Add(list, Chunk("IART", L("Caf\xC3\xA9\0")));   // UTF-8
    Add(list, Chunk("IPRT", L("7")));               // no terminator, odd length
    Add(list, Chunk("IGNR", L("\0")));              // empty: skipped
    Add(list, Chunk("ICMT", L("a\0junk after\0"))); // ends at the first NUL
    Add(list, Chunk("IPRD", L("lying"), 1000));     // runs past the list
    Add(list, Chunk("ICOP", L("never read\0")));

    WaveTags tags;
    ReadInfoList(list.data(), list.size(), tags);
    const std::vector<TextTag> want = {
        {u"title", u"Caf\u00e9"}, {u"artist", u"Caf\u00e9"}, {u"track", u"7"}, {u"comment", u"a"}};
    EXPECT_EQ(tags.text, want);

    for (size_t n = 0; n <= list.size(); ++n) {
        WaveTags part;
        ReadInfoList(list.data(), n, part);
        ExpectPrefixOf(part, tags);
    }

    // A garbage id means the rest is not a list either; another form type is not INFO.
    Bytes garbage = L("INFO");
    Add(garbage, Chunk("INAM", L("ok\0")));
    Add(garbage, Chunk(std::string("\x01\x02\x03\x04", 4), L("x\0")));
    Add(garbage, Chunk("IART", L("hidden\0")));
    WaveTags g;
    ReadInfoList(garbage.data(), garbage.size(), g);
    EXPECT_EQ(g.text, (std::vector<TextTag>{{u"title", u"ok"}}));
    garbage[0] = 'X';
    WaveTags none;
    ReadInfoList(garbage.data(), garbage.size(), none);
    EXPECT_TRUE(none.Empty());
}

TEST(Id3Tag, WritesVersion24ThatReadsBackWhole) {
    WaveTags tags;
    tags.text = {{u"title", u"T\u00eftle \U0001D11E"},
                 {u"artist", u"A\rB"},
                 {u"comment", u"line 1\r\nline 2"},
                 {u"album artist", u"Various"},
                 {u"replaygain_track_gain", u"-6.50 dB"},
                 {u"TMOO", u"calm"},
                 {u"year", u"2001"},
                 {u"lyrics", u"la la"}};
    tags.pictures = {{3, u"", kPng}, {4, u"R\u00fcckseite", kJpeg}, {7, u"x", L("GIF89a...")}};
    const Bytes tag = BuildId3Tag(tags);
    ASSERT_GE(tag.size(), 10u);
    EXPECT_EQ(Bytes(tag.begin(), tag.begin() + 6), L("ID3\x04\x00\x00"));
    EXPECT_EQ(Bytes(tag.begin() + 6, tag.begin() + 10), SynchsafeBytes(uint32_t(tag.size() - 10)));
    EXPECT_TRUE(Contains(tag, L("TPE1\0\0\0\x04\0\0\x03"
                                "A\0B")));
    EXPECT_TRUE(Contains(tag, L("TDRC")));
    EXPECT_TRUE(Contains(tag, L("TXXX\0\0\0\x1F\0\0\x03replaygain_track_gain\0")));
    EXPECT_TRUE(Contains(tag, L("\x03image/png\0\x03\0")));
    EXPECT_TRUE(Contains(tag, L("image/jpeg\0\x04R\xC3\xBC")));
    EXPECT_TRUE(Contains(tag, L("image/gif\0\x07x\0")));

    WaveTags back;
    ReadId3Tag(tag.data(), tag.size(), back);
    EXPECT_EQ(back.text, tags.text);
    EXPECT_EQ(back.pictures, tags.pictures);

    EXPECT_TRUE(BuildId3Tag(WaveTags{}).empty());
    EXPECT_STREQ(PictureMimeType(kJpeg.data(), kJpeg.size()), "image/jpeg");
    EXPECT_STREQ(PictureMimeType(kPng.data(), 7), "application/octet-stream");
    const Bytes webp = L("RIFF\x10\0\0\0WEBPVP8 ");
    EXPECT_STREQ(PictureMimeType(webp.data(), webp.size()), "image/webp");
    EXPECT_STREQ(PictureMimeType(L("BMxx").data(), 4), "image/bmp");
}

// Inserts a 0x00 after every 0xFF, the way unsynchronised tags store their bytes.
Bytes Unsync(const Bytes& b) {
    Bytes out;
    for (uint8_t x : b) {
        out.push_back(x);
        if (x == 0xFF)
            out.push_back(0);
    }
    return out;
}

TEST(Id3Tag, ReadsVersion23WithUnsyncAndExtendedHeader) {
    Bytes apic = L("\0image/jpeg\0\0\0");
    Add(apic, kJpeg);
    Bytes frames;
    Add(frames, Bytes{0, 0, 0, 6, 0, 0, 0, 0, 0, 0}); // extended header, 6 bytes after its size
    Add(frames, Frame(3, "TIT2", L("\x01\xFF\xFET\0\xEF\0t\0l\0e\0")));
    Add(frames, Frame(3, "TPE1",
                      L("\x01\xFF\xFE"
                        "A\0\0\0\xFE\xFF\0B")));
    Add(frames, Frame(3, "TYER",
                      L("\0"
                        "1999")));
    Add(frames, Frame(3, "TALB", L("\0zipped"), 0x80)); // compressed: skipped
    Add(frames, Frame(3, "COMM", L("\0eng\0hi")));
    Add(frames, Frame(3, "COMM", L("\0engiTunNORM\0 0000")));
    Add(frames, Frame(3, "TXXX", L("\x02\0M\0O\0O\0D\0\0\0c\0a\0l\0m")));
    Add(frames, Frame(3, "APIC", apic));
    Add(frames, Bytes(16, 0)); // padding
    const Bytes tag = Id3(3, Unsync(frames), 0x80 | 0x40);

    WaveTags tags;
    ReadId3Tag(tag.data(), tag.size(), tags);
    const std::vector<TextTag> want = {{u"title", u"T\u00eftle"}, {u"artist", u"A\rB"},
                                       {u"year", u"1999"},        {u"comment", u"hi"},
                                       {u"iTunNORM", u" 0000"},   {u"MOOD", u"calm"}};
    EXPECT_EQ(tags.text, want);
    ASSERT_EQ(tags.pictures.size(), 1u);
    EXPECT_EQ(tags.pictures[0].type, 3) << "type 0 is the front cover when there is none";
    EXPECT_EQ(tags.pictures[0].data, kJpeg) << "unsynchronisation undone";

    for (size_t n = 0; n <= tag.size(); ++n) {
        WaveTags part;
        ReadId3Tag(tag.data(), n, part);
        ExpectPrefixOf(part, tags);
    }
}

TEST(Id3Tag, ReadsVersion24FrameFlagsAndVersion22) {
    Bytes frames;
    // Per-frame unsynchronisation with a data length indicator.
    Add(frames, Frame(4, "TIT2", Unsync(L("\0\0\0\x03\0\xFF\xFF")), 0x03));
    Add(frames, Frame(4, "TCON", L("\x03Rock\0Pop\0")));
    Add(frames, Frame(4, "TPE1", L("\0Mot\xF6rhead")));
    Add(frames, Frame(4, "TALB",
                      L("\x03"
                        "bad \xC3(")));                   // invalid UTF-8: Latin-1
    Add(frames, Frame(4, "TXXX", L("\x03\0v")));          // no description
    Add(frames, Frame(4, "TIT3", L("\x03secret"), 0x04)); // encrypted: skipped
    Add(frames, Frame(4, "TKEY",
                      L("\x03"
                        "Am")));
    Bytes grouping = L("\x03");
    grouping.resize(301, 'x');
    Add(frames, Frame(4, "TIT1", grouping)); // a size past 127: synchsafe differs
    Add(frames, Frame(4, "APIC", [] {
            Bytes b = L("\0image/png\0\x03\0");
            Add(b, kPng);
            return b;
        }()));
    Add(frames, Frame(4, "APIC", [] {
            Bytes b = L("\0\0\0x\0");
            Add(b, kJpeg);
            return b;
        }()));
    const Bytes tag = Id3(4, frames);
    WaveTags tags;
    ReadId3Tag(tag.data(), tag.size(), tags);
    const std::vector<TextTag> want = {
        {u"title", u"\u00ff\u00ff"}, {u"genre", u"Rock\rPop"}, {u"artist", u"Mot\u00f6rhead"},
        {u"album", u"bad \u00c3("},  {u"TXXX", u"v"},          {u"TKEY", u"Am"},
        {u"TIT1", String(300, u'x')}};
    EXPECT_EQ(tags.text, want);
    ASSERT_EQ(tags.pictures.size(), 2u);
    EXPECT_EQ(tags.pictures[1].type, 18) << "type 0 beside a real front cover";
    EXPECT_EQ(tags.pictures[1].description, u"x");

    // 2.2: three-letter ids and sizes, image format instead of a MIME type.
    Bytes v22 = L("TT2");
    Add(v22, Bytes{0, 0, 4});
    Add(v22, L("\0Old"));
    Add(v22, L("PIC"));
    Add(v22, Bytes{0, 0, uint8_t(6 + kPng.size())});
    Add(v22, L("\0PNG\x04\0"));
    Add(v22, kPng);
    const Bytes tag22 = Id3(2, v22);
    WaveTags old;
    ReadId3Tag(tag22.data(), tag22.size(), old);
    EXPECT_EQ(old.text, (std::vector<TextTag>{{u"title", u"Old"}}));
    ASSERT_EQ(old.pictures.size(), 1u);
    EXPECT_EQ(old.pictures[0].type, 4);
    EXPECT_EQ(old.pictures[0].data, kPng);
}

TEST(Id3Tag, FramesPastTheEndStopTheWalkWithoutAllocating) {
    Bytes frames = Frame(4, "TIT2", L("\x03kept"));
    // A picture that claims 256 MiB but holds a few bytes.
    Add(frames, Frame(4, "APIC", L("\0image/png\0\x03\0abc"), 0, 0x0FFFFFFF));
    Add(frames, Frame(4, "TPE1", L("\x03lost")));
    Bytes tag = Id3(4, frames);
    WaveTags tags;
    ReadId3Tag(tag.data(), tag.size(), tags);
    EXPECT_EQ(tags.text, (std::vector<TextTag>{{u"title", u"kept"}}));
    EXPECT_TRUE(tags.pictures.empty());

    // A tag header that claims more than the chunk holds, garbage ids, versions we do not know.
    tag = Id3(4, Frame(4, "TIT2", L("\x03one")));
    Add(tag, L("\x01\x02\x03\x04garbage"));
    tag[9] = 0x7F;
    WaveTags t2;
    ReadId3Tag(tag.data(), tag.size(), t2);
    EXPECT_EQ(t2.text, (std::vector<TextTag>{{u"title", u"one"}}));
    tag[3] = 5;
    WaveTags t3;
    ReadId3Tag(tag.data(), tag.size(), t3);
    EXPECT_TRUE(t3.Empty());
}

} // namespace
} // namespace wm::wav
