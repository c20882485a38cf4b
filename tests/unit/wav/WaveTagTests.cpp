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

namespace {

using namespace test;
using Texts = std::vector<TextTag>;

const Bytes kJpeg = {0xFF, 0xD8, 0xFF, 0xE0, 0x00, 0x10, 'J', 'F', 'I', 'F', 0xFF, 0x00, 0xFF};

// Every result for a cut input must be a prefix of the result for the whole input.
void ExpectPrefixOf(const WaveTags& part, const WaveTags& whole) {
    ASSERT_LE(part.text.size(), whole.text.size());
    EXPECT_TRUE(std::equal(part.text.begin(), part.text.end(), whole.text.begin()));
    ASSERT_LE(part.pictures.size(), whole.pictures.size());
    EXPECT_TRUE(std::equal(part.pictures.begin(), part.pictures.end(), whole.pictures.begin()));
}

TEST(InfoChunk, RoundTripsMappedNamesAndReadsEveryTruncation) {
    const Texts mapped = {{u"title", u"T\u00fct\u266b \U0001D11E"}, {u"IENG", u"Bob"}};
    WaveTags tags;
    tags.text = mapped;
    tags.text.push_back({u"album artist", u"Not for INFO"}); // no INFO id
    const Bytes list = BuildInfoList(tags);
    ASSERT_GE(list.size(), 12u);
    EXPECT_EQ(Le32Bytes(uint32_t(list.size() - 8)), Bytes(list.begin() + 4, list.begin() + 8));
    // UTF-8, NUL-terminated, the size without the pad byte.
    const std::string title = Narrow(mapped[0].value) + '\0';
    Bytes inam = L("INAM");
    Add(inam, Le32Bytes(uint32_t(title.size())));
    Add(inam, Bytes(title.begin(), title.end()));
    EXPECT_TRUE(Contains(list, inam));
    WaveTags back;
    ReadInfoList(list.data() + 8, list.size() - 8, back);
    EXPECT_EQ(back.text, mapped);
    for (size_t n = 0; n <= list.size() - 8; ++n) {
        WaveTags part;
        ReadInfoList(list.data() + 8, n, part);
        ExpectPrefixOf(part, back);
    }
}

TEST(Id3Tag, WritesVersion24ThatReadsBackWhole) {
    WaveTags tags;
    tags.text = {
        {u"title", u"T\u00eftle \U0001D11E"}, {u"artist", u"A\rB"}, {u"TIT1", String(300, u'x')}};
    tags.pictures = {{4, u"R\u00fcckseite", kJpeg}};
    const Bytes tag = BuildId3Tag(tags);
    ASSERT_GE(tag.size(), 10u);
    EXPECT_EQ(Bytes(tag.begin(), tag.begin() + 6), L("ID3\x04\x00\x00"));
    EXPECT_EQ(Bytes(tag.begin() + 6, tag.begin() + 10), SynchsafeBytes(uint32_t(tag.size() - 10)));
    Bytes longFrame = L("TIT1"); // a size past 127: seven bits a byte
    Add(longFrame, SynchsafeBytes(301));
    Add(longFrame, L("\0\0\x03xxx"));
    EXPECT_TRUE(Contains(tag, longFrame));
    WaveTags back;
    ReadId3Tag(tag.data(), tag.size(), back);
    EXPECT_EQ(back.text, tags.text);
    EXPECT_EQ(back.pictures, tags.pictures);
}

TEST(Id3Tag, ReadsVersion23UnsyncAndUtf16AtEveryTruncation) {
    Bytes apic = L("\0image/jpeg\0\0\0");
    Add(apic, kJpeg);
    Bytes frames = Frame("TIT2", L("\x01\xFF\xFET\0\xEF\0t\0l\0e\0"));
    Add(frames, Frame("TPE1",
                      L("\x01\xFE\xFF\0A\0\0\xFF\xFE"
                        "B\0"))); // two values: big-endian, then little-endian
    Add(frames, Frame("APIC", apic));
    Add(frames, Bytes(16, 0)); // padding
    Bytes unsynced;            // a 0x00 after every 0xFF, undone by the reader
    for (uint8_t x : frames) {
        unsynced.push_back(x);
        if (x == 0xFF)
            unsynced.push_back(0);
    }
    const Bytes tag = Id3v23(unsynced, 0x80);
    WaveTags tags;
    ReadId3Tag(tag.data(), tag.size(), tags);
    EXPECT_EQ(tags.text, (Texts{{u"title", u"T\u00eftle"}, {u"artist", u"A\rB"}}));
    ASSERT_EQ(tags.pictures.size(), 1u);
    EXPECT_EQ(tags.pictures[0].type, 3) << "type 0 is the front cover when there is none";
    EXPECT_EQ(tags.pictures[0].data, kJpeg);
    for (size_t n = 0; n <= tag.size(); ++n) {
        WaveTags part;
        ReadId3Tag(tag.data(), n, part);
        ExpectPrefixOf(part, tags);
    }
}

TEST(Id3Tag, StopsAtSizesPastTheChunk) {
    // A picture that claims 256 MiB but holds a few bytes ends the walk.
    Bytes frames = Frame("TIT2", L("\0one"));
    Add(frames, Frame("APIC", L("\0image/png\0\x03\0abc"), 0x0FFFFFFF));
    Add(frames, Frame("TPE1", L("\0lost")));
    const Bytes tag = Id3v23(frames);
    WaveTags tags;
    ReadId3Tag(tag.data(), tag.size(), tags);
    EXPECT_EQ(tags.text, (Texts{{u"title", u"one"}}));
    EXPECT_TRUE(tags.pictures.empty());
}

TEST(Id3Tag, CompressedV23FrameIsSkipped) {
    Bytes frame = Frame("TALB", L("\0zipped"));
    frame[9] = 0x80; // compressed
    const Bytes tag = Id3v23(frame);
    WaveTags tags;
    ReadId3Tag(tag.data(), tag.size(), tags);
    EXPECT_TRUE(tags.text.empty());
}
} // namespace
} // namespace wm::wav
