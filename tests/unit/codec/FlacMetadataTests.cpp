// New tags put into a FLAC file's front: in place while the padding lasts, moved beyond it.
#include "bundled/codec/FlacMetadata.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

namespace wm::codec {
namespace {

void Block(std::vector<uint8_t>& out, uint8_t type, std::vector<uint8_t> body, bool last) {
    out.push_back(static_cast<uint8_t>(type | (last ? 0x80 : 0)));
    out.push_back(static_cast<uint8_t>(body.size() >> 16));
    out.push_back(static_cast<uint8_t>(body.size() >> 8));
    out.push_back(static_cast<uint8_t>(body.size()));
    out.insert(out.end(), body.begin(), body.end());
}

// STREAMINFO, a comment block with vendor "v1" and one comment, a seek table, padding, audio.
std::vector<uint8_t> SampleFile(size_t padding) {
    std::vector<uint8_t> file = {'f', 'L', 'a', 'C'};
    Block(file, 0, std::vector<uint8_t>(34, 0x11), false);
    Block(file, 4, {2, 0, 0, 0, 'v', '1', 1, 0, 0, 0, 3, 0, 0, 0, 'A', '=', 'b'}, false);
    Block(file, 3, std::vector<uint8_t>(18, 0x33), false);
    Block(file, 1, std::vector<uint8_t>(padding), true);
    file.insert(file.end(), {0xFF, 0xF8, 0xAA});
    return file;
}

FlacFront Read(const std::vector<uint8_t>& file) {
    const auto readAt = [&file](uint64_t offset, void* buffer, size_t length) {
        const size_t n = offset < file.size() ? std::min<size_t>(length, file.size() - offset) : 0;
        std::memcpy(buffer, file.data() + offset, n);
        return n;
    };
    FlacFront front;
    std::string why;
    EXPECT_TRUE(ReadFlacFront(readAt, front, why)) << why;
    return front;
}

wav::WaveTags Tags(size_t titleLength) {
    wav::WaveTags tags;
    tags.text.push_back({u"title", String(titleLength, u'x')});
    tags.text.push_back({u"replaygain_track_gain", u"-6.52 dB"});
    return tags;
}

std::string Comment(const FlacBlock& block) {
    return std::string(block.body.begin(), block.body.end());
}

TEST(FlacMetadata, TagsFitThePaddingAndGoInPlaceWithEveryOtherBlockKept) {
    const std::vector<uint8_t> file = SampleFile(200);
    const FlacFront front = Read(file);
    ASSERT_EQ(front.blocks.size(), 4u);
    EXPECT_EQ(front.audioAt, file.size() - 3);
    std::vector<uint8_t> rewritten = RewriteFlacTags(front, Tags(10), 8192);
    ASSERT_EQ(rewritten.size(), front.audioAt); // in place
    rewritten.insert(rewritten.end(), file.end() - 3, file.end());
    const FlacFront after = Read(rewritten);
    ASSERT_EQ(after.blocks.size(), 4u);
    EXPECT_EQ(after.blocks[0].body, front.blocks[0].body); // STREAMINFO first, untouched
    EXPECT_EQ(after.blocks[1].body, front.blocks[2].body); // the seek table kept
    EXPECT_EQ(after.blocks[2].type, 4);
    const std::string comment = Comment(after.blocks[2]);
    EXPECT_EQ(comment.substr(0, 6), std::string("\x02\0\0\0v1", 6)); // vendor kept
    EXPECT_NE(comment.find("TITLE=xxxxxxxxxx"), std::string::npos);
    EXPECT_NE(comment.find("REPLAYGAIN_TRACK_GAIN=-6.52 dB"), std::string::npos);
    EXPECT_EQ(comment.find("A=b"), std::string::npos); // the old comments are replaced
    EXPECT_EQ(after.blocks[3].type, 1);
    EXPECT_LT(after.blocks[3].body.size(), 200u);
}

TEST(FlacMetadata, ExactFitNeedsNoPaddingAndTooLittleRoomMovesTheAudio) {
    const FlacFront front = Read(SampleFile(200));
    // Moved without padding, the front is the blocks alone: each title letter is one byte.
    const size_t titleToFill =
        front.audioAt - (RewriteFlacTags(front, Tags(1000), 0).size() - 1000);
    // Room for the comments but 2 bytes short of a padding block's header: moved, unpadded.
    EXPECT_EQ(RewriteFlacTags(front, Tags(titleToFill - 2), 0).size(), front.audioAt - 2);
    const std::vector<uint8_t> exact = RewriteFlacTags(front, Tags(titleToFill), 0);
    ASSERT_EQ(exact.size(), front.audioAt);
    EXPECT_EQ(Read(exact).blocks.back().type, 4); // the comments are last: no padding block
    const std::vector<uint8_t> moved = RewriteFlacTags(front, Tags(1000), 8192);
    const FlacFront movedFront = Read(moved);
    EXPECT_EQ(movedFront.blocks.back().body.size(), 8192u);
    EXPECT_EQ(movedFront.audioAt, moved.size());
}

TEST(FlacMetadata, NotFlacAndCutShortFronts) {
    std::vector<uint8_t> file = SampleFile(100);
    const auto fails = [](const std::vector<uint8_t>& bytes) {
        const auto readAt = [&bytes](uint64_t offset, void* buffer, size_t length) {
            const size_t n =
                offset < bytes.size() ? std::min<size_t>(length, bytes.size() - offset) : 0;
            std::memcpy(buffer, bytes.data() + offset, n);
            return n;
        };
        FlacFront front;
        std::string why;
        return !ReadFlacFront(readAt, front, why) && !why.empty();
    };
    EXPECT_TRUE(fails(std::vector<uint8_t>(file.begin(), file.begin() + 70)));
    file[0] = 'X';
    EXPECT_TRUE(fails(file));
}

} // namespace
} // namespace wm::codec
