// The cue sheet a FLAC image carries as a metadata block, built here byte by byte as metaflac
// lays it out.
#include "bundled/cue/FlacCueSheet.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace wm::cue {
namespace {

void U64(std::string& out, uint64_t value) {
    for (int shift = 56; shift >= 0; shift -= 8)
        out += static_cast<char>(value >> shift & 0xFF);
}

struct Index {
    uint64_t offset;
    uint8_t number;
};

void Track(std::string& out, uint64_t offset, uint8_t number, std::initializer_list<Index> idx) {
    U64(out, offset);
    out += static_cast<char>(number);
    out += std::string("GBXYZ0000001", 12) + std::string(14, '\0');
    out += static_cast<char>(idx.size());
    for (const Index& i : idx) {
        U64(out, i.offset);
        out += static_cast<char>(i.number);
        out += std::string(3, '\0');
    }
}

std::string Block(uint8_t tracks) {
    std::string out(128, '\0');
    U64(out, 88200);
    out += std::string(259, '\0');
    out += static_cast<char>(tracks);
    return out;
}

TEST(FlacCueSheet, TracksAndGapsFromSampleOffsets) {
    std::string body = Block(3);
    Track(body, 0, 1, {{0, 1}});
    Track(body, 44100 * 2, 2, {{0, 0}, {588 * 10, 1}}); // gap of 10 frames
    Track(body, 44100 * 5, 170, {});
    CueSheet sheet;
    CueError error;
    ASSERT_TRUE(CueSheetFromFlacBlock(body, 44100, u"disc.flac", sheet, error))
        << Narrow(error.reason);
    ASSERT_EQ(sheet.tracks.size(), 2u);
    EXPECT_EQ(sheet.files[0].name, u"disc.flac");
    EXPECT_EQ(sheet.tracks[1].index0, 150u);
    EXPECT_EQ(sheet.tracks[1].index1, 160u);
    EXPECT_EQ(sheet.tracks[1].isrc, u"GBXYZ0000001");
}

TEST(FlacCueSheet, RefusesDamagedBlocks) {
    CueSheet sheet;
    CueError error;
    EXPECT_FALSE(CueSheetFromFlacBlock(Block(1), 44100, u"d", sheet, error));
    EXPECT_EQ(Narrow(error.reason),
              "the FLAC cue sheet block is damaged: a track runs past its end");
    std::string body = Block(2);
    Track(body, 44100, 1, {{0, 1}});
    Track(body, 0, 2, {{0, 1}});
    EXPECT_FALSE(CueSheetFromFlacBlock(body, 44100, u"d", sheet, error));
    body = Block(1);
    Track(body, 0, 1, {{0, 1}});
    body.resize(body.size() - 1);
    EXPECT_FALSE(CueSheetFromFlacBlock(body, 44100, u"d", sheet, error));
    EXPECT_FALSE(CueSheetFromFlacBlock("short", 44100, u"d", sheet, error));
}

// A FLAC file's metadata: STREAMINFO at 44.1 kHz, then a comment block and the given blocks.
std::string FlacFile(const std::string& comment, const std::string& cueBlock) {
    auto header = [](uint8_t type, size_t length) {
        return std::string{static_cast<char>(type), static_cast<char>(length >> 16),
                           static_cast<char>(length >> 8 & 0xFF), static_cast<char>(length & 0xFF)};
    };
    std::string info(34, '\0');
    info[10] = '\x0A', info[11] = '\xC4', info[12] = '\x42'; // 44100 << 4, 2 channels
    auto le = [](uint32_t v) {
        return std::string{char(v), char(v >> 8), char(v >> 16), char(v >> 24)};
    };
    const std::string vorbis =
        le(2) + "me" + le(2) + le(7) + "TITLE=x" + le(comment.size()) + comment;
    std::string file = "fLaC" + header(0, info.size()) + info + header(4, vorbis.size()) + vorbis;
    if (!cueBlock.empty())
        file += header(5, cueBlock.size()) + cueBlock;
    file[4 + 4 + 34 + (cueBlock.empty() ? 0 : 4 + vorbis.size())] |= '\x80';
    return file;
}

FlacDisc Read(const std::string& file) {
    FlacDisc disc;
    EXPECT_TRUE(ReadFlacDisc(
        [&](uint64_t at, void* buffer, size_t length) {
            const size_t n = at < file.size() ? std::min(length, size_t(file.size() - at)) : 0;
            std::copy_n(file.data() + at, n, static_cast<char*>(buffer));
            return n;
        },
        disc));
    return disc;
}

TEST(FlacCueSheet, FindsTheSheetInBlockOrComment) {
    const std::string comment = "CUESHEET=FILE \"x.wav\" WAVE\nTRACK 01 AUDIO\nINDEX 01 00:00:00\n"
                                "TRACK 02 AUDIO\nTITLE Zwei\nINDEX 01 00:01:00\n";
    FlacDisc disc = Read(FlacFile(comment, ""));
    EXPECT_EQ(disc.rate, 44100u);
    CueSheet sheet;
    CueError error;
    ASSERT_TRUE(SheetInFlac(disc, u"disc.flac", sheet, error)) << Narrow(error.reason);
    ASSERT_EQ(sheet.tracks.size(), 2u);
    EXPECT_EQ(sheet.files[0].name, u"disc.flac");
    EXPECT_EQ(sheet.tracks[1].title, u"Zwei");

    std::string block = Block(1);
    Track(block, 0, 1, {{0, 1}});
    disc = Read(FlacFile(comment, block));
    ASSERT_TRUE(SheetInFlac(disc, u"disc.flac", sheet, error));
    EXPECT_EQ(sheet.tracks.size(), 1u); // the block wins

    disc = Read(FlacFile("COMMENT=none", ""));
    EXPECT_FALSE(SheetInFlac(disc, u"disc.flac", sheet, error));
    EXPECT_EQ(Narrow(error.reason), "it holds no cue sheet (no CUESHEET block or comment)");
}

} // namespace
} // namespace wm::cue
