// Vorbis comments, ID3v1, APE and ID3v2.3 tags against the tag names the plug-ins share.
#include "bundled/codec/Mp3Tags.h"
#include "bundled/codec/VorbisComments.h"
#include "bundled/wav/Id3Frames.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace wm;
using wav::WaveTags;

namespace {

std::string Value(const WaveTags& tags, const char16_t* name) {
    const wav::TextTag* t = tags.Find(name);
    return t ? Narrow(t->value) : "<none>";
}

} // namespace

TEST(VorbisComments, ReadMapsNamesAndJoinsCounts) {
    WaveTags tags;
    codec::ReadVorbisComments({"TRACKTOTAL=12", "title=Song", "TRACKNUMBER=3", "ARTIST=A",
                               "artist=B", "TITLE=Second title", "ALBUMARTIST=V", "DISCNUMBER=1",
                               "DISCTOTAL=2", "no equals sign", "=empty name", "ISRC=X1",
                               "DATE=2024"},
                              tags);
    EXPECT_EQ(Value(tags, u"title"), "Song"); // free text: a CR would be a line break
    EXPECT_EQ(Value(tags, u"track"), "3/12");
    EXPECT_EQ(Value(tags, u"disc"), "1/2");
    EXPECT_EQ(Value(tags, u"artist"), "A\rB");
    EXPECT_EQ(Value(tags, u"album artist"), "V");
    EXPECT_EQ(Value(tags, u"year"), "2024");
    EXPECT_EQ(Value(tags, u"ISRC"), "X1");
    EXPECT_EQ(tags.text.size(), 7u);
}

TEST(VorbisComments, MakeSplitsCountsAndValues) {
    WaveTags tags;
    tags.text = {{u"track", u"3/12"},          {u"artist", u"A\rB"}, {u"comment", u"line\rline"},
                 {u"_albumart_1_x", u"v"},     {u"Ünicode", u"v"},   {u"empty", u""},
                 {u"album artist", u"Various"}};
    const std::vector<std::string> want = {"TRACKNUMBER=3",      "TRACKTOTAL=12",
                                           "ARTIST=A",           "ARTIST=B",
                                           "COMMENT=line\rline", "ALBUMARTIST=Various"};
    EXPECT_EQ(codec::MakeVorbisComments(tags), want);
}

TEST(Mp3Tags, Id3v1WithTrackAndGenre) {
    uint8_t tag[128] = {'T', 'A', 'G'};
    std::memcpy(tag + 3, "Title  ", 7);
    std::memcpy(tag + 33, "Artist", 6);
    std::memcpy(tag + 93, "1999", 4);
    std::memcpy(tag + 97, "Note", 4);
    tag[126] = 7;
    tag[127] = 8;
    WaveTags tags;
    ASSERT_TRUE(codec::ReadId3v1(tag, sizeof tag, tags));
    EXPECT_EQ(Value(tags, u"title"), "Title");
    EXPECT_EQ(Value(tags, u"year"), "1999");
    EXPECT_EQ(Value(tags, u"comment"), "Note");
    EXPECT_EQ(Value(tags, u"track"), "7");
    EXPECT_EQ(Value(tags, u"genre"), "Jazz");
    tag[0] = 'X';
    EXPECT_FALSE(codec::ReadId3v1(tag, sizeof tag, tags));

    WaveTags newer;
    newer.text = {{u"title", u"New"}};
    codec::AddMissing(newer, tags);
    EXPECT_EQ(Value(newer, u"title"), "New");
    EXPECT_EQ(Value(newer, u"artist"), "Artist");
}

TEST(Mp3Tags, TagLengths) {
    const uint8_t id3[10] = {'I', 'D', '3', 4, 0, 0x10, 0, 0, 1, 0x7F};
    EXPECT_EQ(codec::Id3v2Length(id3, sizeof id3), 10u + 255 + 10); // with a footer
    const uint8_t notSynchsafe[10] = {'I', 'D', '3', 3, 0, 0, 0, 0, 0x80, 0};
    EXPECT_EQ(codec::Id3v2Length(notSynchsafe, 10), 0u);
    uint8_t ape[32] = {'A', 'P', 'E', 'T', 'A', 'G', 'E', 'X', 0xD0, 7, 0, 0, 100, 0, 0, 0};
    EXPECT_EQ(codec::ApeTagLength(ape, sizeof ape), 100u);
    ape[23] = 0x80; // a header precedes the items
    EXPECT_EQ(codec::ApeTagLength(ape, sizeof ape), 132u);
}

TEST(Id3v23, WrittenTagReadsBack) {
    WaveTags tags;
    tags.text = {{u"title", u"Tëst"},
                 {u"year", u"2024-05-01"},
                 {u"replaygain_track_gain", u"-3 dB"},
                 {u"comment", u"Said"}};
    tags.pictures.push_back({4, u"back", {0xFF, 0xD8, 0xFF, 1, 2, 3}});
    const wav::Bytes bytes = wav::BuildId3Tag(tags, 3);
    ASSERT_GT(bytes.size(), 10u);
    EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 4), std::string("ID3\x03", 4));
    WaveTags back;
    wav::ReadId3Tag(bytes.data(), bytes.size(), back);
    EXPECT_EQ(Value(back, u"title"), "Tëst");
    EXPECT_EQ(Value(back, u"year"), "2024"); // TYER holds the year only
    EXPECT_EQ(Value(back, u"replaygain_track_gain"), "-3 dB");
    EXPECT_EQ(Value(back, u"comment"), "Said");
    ASSERT_EQ(back.pictures.size(), 1u);
    EXPECT_EQ(back.pictures[0].type, 4);
    EXPECT_EQ(back.pictures[0].description, u"back");
    EXPECT_EQ(back.pictures[0].data, tags.pictures[0].data);
}

TEST(Id3v23, FrontForAFinishedFileFillsTheOldTagOrMovesWithPadding) {
    WaveTags tags;
    tags.text = {{u"title", u"T"}, {u"replaygain_track_gain", u"-6.52 dB"}};
    const size_t bare = wav::BuildId3Tag(tags, 3).size();
    for (uint64_t room : {uint64_t{bare}, uint64_t{bare + 300}}) {
        const wav::Bytes front = codec::Id3FrontFor(tags, room, 4096);
        ASSERT_EQ(front.size(), room) << "in place over an old tag of " << room;
        EXPECT_EQ(codec::Id3v2Length(front.data(), front.size()), room);
        WaveTags back;
        wav::ReadId3Tag(front.data(), front.size(), back);
        EXPECT_EQ(Value(back, u"replaygain_track_gain"), "-6.52 dB");
    }
    const wav::Bytes moved = codec::Id3FrontFor(tags, bare - 1, 4096);
    EXPECT_EQ(moved.size(), bare + 4096);
    EXPECT_EQ(codec::Id3v2Length(moved.data(), moved.size()), bare + 4096); // syncsafe size
    const wav::Bytes none = codec::Id3FrontFor({}, 0, 100);
    EXPECT_EQ(codec::Id3v2Length(none.data(), none.size()), 110u);
}
