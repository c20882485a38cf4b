// LIST/INFO and ID3v2 tag chunks: reading, writing and their damaged forms.
#include "bundled/wav/Id3Frames.h"
#include "bundled/wav/InfoChunk.h"
#include "tests/unit/wav/WaveTestBytes.h"

#include <gtest/gtest.h>

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
using Texts = std::vector<TextTag>;

const Bytes kPng = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0, 0, 0, 13, 'I', 'H', 'D', 'R'};
const Bytes kJpeg = {0xFF, 0xD8, 0xFF, 0xE0, 0x00, 0x10, 'J', 'F', 'I', 'F', 0xFF, 0x00, 0xFF};

// Every result for a cut input must be a prefix of the result for the whole input.
void ExpectPrefixOf(const WaveTags& part, const WaveTags& whole) {
    ASSERT_LE(part.text.size(), whole.text.size());
    EXPECT_TRUE(std::equal(part.text.begin(), part.text.end(), whole.text.begin()));
    ASSERT_LE(part.pictures.size(), whole.pictures.size());
    EXPECT_TRUE(std::equal(part.pictures.begin(), part.pictures.end(), whole.pictures.begin()));
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

TEST(InfoChunk, RoundTripsMappedNamesAndReadsDamagedLists) {
    const Texts mapped = {{u"title", u"T\u00fct\u266b \U0001D11E"},
                          {u"artist", u"Artist"},
                          {u"track", u"3/12"},
                          {u"Encoded By", u"me"},
                          {u"Encoder", u"Wave"},
                          {u"IENG", u"Bob"}};
    WaveTags tags;
    tags.text = mapped;
    tags.text.push_back({u"Title", u"second title"});                     // one entry per id
    tags.text.push_back({u"album artist", u"Not for INFO"});              // no INFO id
    tags.text.push_back({u"ISBJ", String(kMaxInfoValueBytes + 1, u'x')}); // too long
    tags.text.push_back({u"IKEY", u""});                                  // nothing to write
    const Bytes list = BuildInfoList(tags);
    ASSERT_GE(list.size(), 12u);
    EXPECT_EQ(Bytes(list.begin(), list.begin() + 12), [&] {
        Bytes b = L("LIST");
        Add(b, Le32Bytes(uint32_t(list.size() - 8)));
        Add(b, L("INFO"));
        return b;
    }());
    EXPECT_EQ(list.size() % 2, 0u);
    // UTF-8, NUL-terminated, the size without the pad byte.
    const std::string title = Narrow(mapped[0].value);
    Bytes inam = L("INAM");
    Add(inam, Le32Bytes(uint32_t(title.size() + 1)));
    Add(inam, B(title + '\0'));
    EXPECT_TRUE(Contains(list, inam));
    WaveTags back;
    ReadInfoList(list.data() + 8, list.size() - 8, back);
    EXPECT_EQ(back.text, mapped);
    EXPECT_TRUE(BuildInfoList(WaveTags{}).empty());

    // Old encodings, odd and empty values; a garbage id ends the walk.
    Bytes damaged = L("INFO");
    Add(damaged, Chunk("INAM", L("Caf\xE9\0")));       // Latin-1 (invalid as UTF-8)
    Add(damaged, Chunk("IART", L("Caf\xC3\xA9\0")));   // UTF-8
    Add(damaged, Chunk("IPRT", L("7")));               // no terminator, odd length
    Add(damaged, Chunk("IGNR", L("\0")));              // empty: skipped
    Add(damaged, Chunk("ICMT", L("a\0junk after\0"))); // ends at the first NUL
    Add(damaged, Chunk("\x01\x02\x03\x04", L("x\0")));
    Add(damaged, Chunk("ICOP", L("never read\0")));
    WaveTags read;
    ReadInfoList(damaged.data(), damaged.size(), read);
    EXPECT_EQ(read.text, (Texts{{u"title", u"Caf\u00e9"},
                                {u"artist", u"Caf\u00e9"},
                                {u"track", u"7"},
                                {u"comment", u"a"}}));
    for (size_t n = 0; n <= damaged.size(); ++n) {
        WaveTags part;
        ReadInfoList(damaged.data(), n, part);
        ExpectPrefixOf(part, read);
    }
}

TEST(Id3Tag, WritesVersion24ThatReadsBackWhole) {
    WaveTags tags;
    tags.text = {{u"title", u"T\u00eftle \U0001D11E"},
                 {u"artist", u"A\rB"},
                 {u"comment", u"line 1\r\nline 2"},
                 {u"album artist", u"Various"},
                 {u"replaygain_track_gain", u"-6.50 dB"},
                 {u"TMOO", u"calm"},
                 {u"lyrics", u"la la"},
                 {u"TIT1", String(300, u'x')}};
    tags.pictures = {{3, u"", kPng}, {4, u"R\u00fcckseite", kJpeg}};
    const Bytes tag = BuildId3Tag(tags);
    ASSERT_GE(tag.size(), 10u);
    EXPECT_EQ(Bytes(tag.begin(), tag.begin() + 6), L("ID3\x04\x00\x00"));
    EXPECT_EQ(Bytes(tag.begin() + 6, tag.begin() + 10), SynchsafeBytes(uint32_t(tag.size() - 10)));
    Bytes longFrame = L("TIT1"); // a size past 127: seven bits a byte
    Add(longFrame, SynchsafeBytes(301));
    Add(longFrame, L("\0\0\x03xxx"));
    EXPECT_TRUE(Contains(tag, longFrame));
    EXPECT_TRUE(Contains(tag, L("TPE1\0\0\0\x04\0\0\x03"
                                "A\0B")));
    EXPECT_TRUE(Contains(tag, L("TXXX\0\0\0\x1F\0\0\x03replaygain_track_gain\0")));
    EXPECT_TRUE(Contains(tag, L("\x03image/png\0\x03\0")));
    EXPECT_TRUE(Contains(tag, L("image/jpeg\0\x04R\xC3\xBC")));

    WaveTags back;
    ReadId3Tag(tag.data(), tag.size(), back);
    EXPECT_EQ(back.text, tags.text);
    EXPECT_EQ(back.pictures, tags.pictures);
    EXPECT_TRUE(BuildId3Tag(WaveTags{}).empty());
}

TEST(Id3Tag, ReadsVersion23WithUnsyncUtf16AndEveryTruncation) {
    Bytes apic = L("\0image/jpeg\0\0\0");
    Add(apic, kJpeg);
    Bytes frames = {0, 0, 0, 6, 0, 0, 0, 0, 0, 0}; // extended header, 6 bytes after its size
    Add(frames, Frame(3, "TIT2", L("\x01\xFF\xFET\0\xEF\0t\0l\0e\0")));
    Add(frames, Frame(3, "TPE1",
                      L("\x01\xFF\xFE"
                        "A\0\0\0\xFE\xFF\0B"))); // a second value, big-endian
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
    EXPECT_EQ(tags.text, (Texts{{u"title", u"T\u00eftle"},
                                {u"artist", u"A\rB"},
                                {u"year", u"1999"},
                                {u"comment", u"hi"},
                                {u"iTunNORM", u" 0000"},
                                {u"MOOD", u"calm"}}));
    ASSERT_EQ(tags.pictures.size(), 1u);
    EXPECT_EQ(tags.pictures[0].type, 3) << "type 0 is the front cover when there is none";
    EXPECT_EQ(tags.pictures[0].data, kJpeg) << "unsynchronisation undone";
    for (size_t n = 0; n <= tag.size(); ++n) {
        WaveTags part;
        ReadId3Tag(tag.data(), n, part);
        ExpectPrefixOf(part, tags);
    }
}

TEST(Id3Tag, ReadsVersion24FrameFlagsAndStopsAtFramesPastTheEnd) {
    // Per-frame unsynchronisation with a data length indicator.
    Bytes frames = Frame(4, "TIT2", Unsync(L("\0\0\0\x03\0\xFF\xFF")), 0x03);
    Add(frames, Frame(4, "TCON", L("\x03Rock\0Pop\0")));
    Add(frames, Frame(4, "TALB",
                      L("\x03"
                        "bad \xC3(")));                   // invalid UTF-8: Latin-1
    Add(frames, Frame(4, "TIT3", L("\x03secret"), 0x04)); // encrypted: skipped
    // A picture that claims 256 MiB but holds a few bytes ends the walk.
    Add(frames, Frame(4, "APIC", L("\0image/png\0\x03\0abc"), 0, 0x0FFFFFFF));
    Add(frames, Frame(4, "TPE1", L("\x03lost")));
    Bytes tag = Id3(4, frames);
    WaveTags tags;
    ReadId3Tag(tag.data(), tag.size(), tags);
    EXPECT_EQ(
        tags.text,
        (Texts{{u"title", u"\u00ff\u00ff"}, {u"genre", u"Rock\rPop"}, {u"album", u"bad \u00c3("}}));
    EXPECT_TRUE(tags.pictures.empty());

    // A tag header that claims more than the chunk holds, garbage ids, a version we do not know.
    tag = Id3(4, Frame(4, "TIT2", L("\x03one")));
    Add(tag, L("\x01\x02\x03\x04garbage"));
    tag[9] = 0x7F;
    WaveTags t2;
    ReadId3Tag(tag.data(), tag.size(), t2);
    EXPECT_EQ(t2.text, (Texts{{u"title", u"one"}}));
    tag[3] = 5;
    WaveTags t3;
    ReadId3Tag(tag.data(), tag.size(), t3);
    EXPECT_TRUE(t3.Empty());
}

} // namespace
} // namespace wm::wav
