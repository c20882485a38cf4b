// Free-form iTunes atoms added to the tag list of a movie box the muxer wrote.
#include "bundled/codec/Mp4Atoms.h"

#include <gtest/gtest.h>

#include <string>

using wm::codec::AddFreeFormAtoms;
using wm::codec::NamedText;

namespace {

using Bytes = std::vector<uint8_t>;

uint32_t Get32(const Bytes& b, size_t at) {
    return uint32_t{b[at]} << 24 | uint32_t{b[at + 1]} << 16 | uint32_t{b[at + 2]} << 8 | b[at + 3];
}

std::string Box(const char* type, const std::string& body) {
    const uint32_t size = static_cast<uint32_t>(8 + body.size());
    const char header[] = {char(size >> 24), char(size >> 16), char(size >> 8), char(size)};
    return std::string(header, 4) + std::string(type, 4) + body;
}

// moov { mvhd, trak, udta { meta (full box) { hdlr, ilst { (c)nam } } } }, as the muxer lays it
// out.
Bytes Movie(bool withList = true) {
    const std::string title = Box("\xA9nam", Box("data", std::string("\0\0\0\1\0\0\0\0T", 9)));
    std::string meta = std::string(4, '\0') + Box("hdlr", std::string(25, '\0'));
    if (withList)
        meta += Box("ilst", title);
    const std::string moov =
        Box("moov", Box("mvhd", std::string(100, '\1')) + Box("trak", std::string(40, '\2')) +
                        Box("udta", Box("meta", meta)));
    return Bytes(moov.begin(), moov.end());
}

} // namespace

TEST(Mp4Atoms, FreeFormAtomsJoinTheTagListAndEveryEnclosingBoxGrows) {
    Bytes moov = Movie();
    const Bytes before = moov;
    ASSERT_TRUE(AddFreeFormAtoms(moov, {{"replaygain_track_gain", "-3.20 dB"}, {"MOOD", "calm"}}));
    const size_t grown = moov.size() - before.size();
    // Each: ---- (8) + mean (12 + 16) + name (12 + n) + data (16 + v).
    EXPECT_EQ(grown, (8 + 28 + 12 + 21 + 16 + 8) + (8 + 28 + 12 + 4 + 16 + 4));
    EXPECT_EQ(Get32(moov, 0), moov.size());
    const size_t udta = 8 + 108 + 48, meta = udta + 8, ilst = meta + 12 + 33;
    EXPECT_EQ(std::string(moov.begin() + udta + 4, moov.begin() + udta + 8), "udta");
    EXPECT_EQ(Get32(moov, udta), Get32(before, udta) + grown);
    EXPECT_EQ(Get32(moov, meta), Get32(before, meta) + grown);
    EXPECT_EQ(Get32(moov, ilst), Get32(before, ilst) + grown);
    // The first atom follows the title, which is untouched.
    const size_t first = ilst + 8 + 25;
    EXPECT_EQ(std::string(moov.begin() + first + 4, moov.begin() + first + 8), "----");
    const std::string tail(moov.begin() + first, moov.end());
    EXPECT_NE(tail.find(std::string("mean\0\0\0\0com.apple.iTunes", 24)), std::string::npos);
    EXPECT_NE(tail.find("replaygain_track_gain"), std::string::npos);
    EXPECT_EQ(tail.substr(tail.size() - 4), "calm");
}

TEST(Mp4Atoms, AMovieWithoutATagListOrWithABadSizeIsLeftAlone) {
    Bytes plain = Movie(false);
    const Bytes original = plain;
    EXPECT_FALSE(AddFreeFormAtoms(plain, {{"A", "b"}}));
    EXPECT_EQ(plain, original);
    Bytes broken = Movie();
    broken[8 + 3] = 0xFF; // mvhd claims more than the movie holds
    const Bytes brokenBefore = broken;
    EXPECT_FALSE(AddFreeFormAtoms(broken, {{"A", "b"}}));
    EXPECT_EQ(broken, brokenBefore);
}

TEST(Mp4Atoms, GaplessInfoInTheFormITunesWrites) {
    EXPECT_EQ(wm::codec::ITunesGaplessInfo(1024, 679, 220505),
              " 00000000 00000400 000002A7 0000000000035D59 00000000 00000000 00000000 "
              "00000000 00000000 00000000 00000000 00000000");
}

TEST(Mp4Atoms, ReplacingKeepsOtherAtomsAndLeavesOneAtomPerName) {
    Bytes moov = Movie();
    ASSERT_TRUE(AddFreeFormAtoms(moov, {{"replaygain_track_gain", "+9.99 dB"}, {"MOOD", "calm"}}));
    ASSERT_TRUE(wm::codec::ReplaceFreeFormAtoms(
        moov, {{"REPLAYGAIN_TRACK_GAIN", "-6.52 dB"}, {"replaygain_album_gain", "-7.00 dB"}}));
    const std::string text(moov.begin(), moov.end());
    EXPECT_EQ(Get32(moov, 0), moov.size());
    EXPECT_EQ(text.find("+9.99 dB"), std::string::npos);
    EXPECT_NE(text.find("-6.52 dB"), std::string::npos);
    EXPECT_NE(text.find("-7.00 dB"), std::string::npos);
    EXPECT_NE(text.find("calm"), std::string::npos);                    // another name stays
    EXPECT_NE(text.find(std::string("\xA9nam", 4)), std::string::npos); // and the standard atoms
    size_t gains = 0;
    for (size_t at = 0; (at = text.find("_GAIN", at)) != std::string::npos; ++at)
        ++gains;
    for (size_t at = 0; (at = text.find("_gain", at)) != std::string::npos; ++at)
        ++gains;
    EXPECT_EQ(gains, 2u); // one atom each for the track and the album gain
    const size_t ilst = 8 + 108 + 48 + 8 + 12 + 33;
    uint32_t children = 0;
    for (size_t at = ilst + 8; at < ilst + Get32(moov, ilst); at += Get32(moov, at))
        children += Get32(moov, at);
    EXPECT_EQ(children + 8, Get32(moov, ilst)); // the list's size is its children's
    Bytes bare = Movie(false);
    EXPECT_FALSE(wm::codec::ReplaceFreeFormAtoms(bare, {{"a", "b"}}));
}
