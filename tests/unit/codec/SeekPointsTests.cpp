// The FLAC seek table gathered while encoding and written into the room reserved for it.
#include "bundled/codec/SeekPoints.h"

#include <gtest/gtest.h>

using wm::codec::SeekPoints;

namespace {

uint64_t Be(const std::vector<uint8_t>& b, size_t at, int bytes) {
    uint64_t v = 0;
    for (int i = 0; i < bytes; ++i)
        v = v << 8 | b[at + i];
    return v;
}

} // namespace

TEST(SeekPoints, FrameHoldingEachTargetThenPlaceholdersThenThePaddingAsked) {
    SeekPoints points;
    points.Start(10000, 8);
    for (int i = 0; i < 10; ++i) // frames of 4096 samples, 1000 bytes each
        points.AddFrame(1000u * i, 4096);
    EXPECT_EQ(points.ReservedLength(200), 8u * 18 + 4 + 200);
    const std::vector<uint8_t> patch = points.Patch(200);
    // Targets 0, 10000, 20000, 30000, 40000 lie in frames 0, 2, 4, 7, 9.
    ASSERT_EQ(patch.size(), 4u + 8 * 18 + 4);
    EXPECT_EQ(patch[0], 3); // SEEKTABLE, not the last block
    EXPECT_EQ(Be(patch, 1, 3), 8u * 18);
    const uint64_t want[][2] = {{0, 0}, {8192, 2000}, {16384, 4000}, {28672, 7000}, {36864, 9000}};
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(Be(patch, 4 + 18 * i, 8), want[i][0]);
        EXPECT_EQ(Be(patch, 12 + 18 * i, 8), want[i][1]);
        EXPECT_EQ(Be(patch, 20 + 18 * i, 2), 4096u);
    }
    for (int i = 5; i < 8; ++i)
        EXPECT_EQ(Be(patch, 4 + 18 * i, 8), ~uint64_t{0}) << "placeholder " << i;
    EXPECT_EQ(patch[148], 0x81); // PADDING, last block
    EXPECT_EQ(Be(patch, 149, 3), 200u);
}

TEST(SeekPoints, NoPaddingLeavesTheTableAsTheLastBlockAndNoTableOnlyThePadding) {
    SeekPoints points;
    points.Start(10000, 8);
    points.AddFrame(0, 4096);
    EXPECT_EQ(points.ReservedLength(0), 8u * 18);
    const std::vector<uint8_t> patch = points.Patch(0);
    ASSERT_EQ(patch.size(), 4u + 8 * 18);
    EXPECT_EQ(patch[0], 0x83);
    SeekPoints none; // -no-seektable: the padding is all there is
    none.Start(10000, 0);
    EXPECT_EQ(none.ReservedLength(100), 100u);
}

TEST(SeekPoints, LongStreamsSpaceTheirPointsWider) {
    SeekPoints points;
    points.Start(100, 4);
    for (int i = 0; i < 100; ++i)
        points.AddFrame(10u * i, 100);
    const std::vector<uint8_t> patch = points.Patch(1000);
    size_t count = 0;
    while (count < 4 && Be(patch, 4 + 18 * count, 8) != ~uint64_t{0})
        ++count;
    EXPECT_LE(count, 4u);
    EXPECT_GE(count, 3u);
    EXPECT_EQ(Be(patch, 4, 8), 0u);
    for (size_t i = 1; i < count; ++i)
        EXPECT_GT(Be(patch, 4 + 18 * i, 8), Be(patch, 4 + 18 * (i - 1), 8));
}
