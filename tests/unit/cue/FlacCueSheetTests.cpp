// The cue sheet a FLAC image carries as a metadata block, built here byte by byte as metaflac
// lays it out.
#include "bundled/cue/FlacCueSheet.h"

#include <gtest/gtest.h>

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

} // namespace
} // namespace wm::cue
