// Hand-made headers for the cases real encoders do not write.
#include "tags/ImageInfo.h"

#include <gtest/gtest.h>

#include <string>

namespace wm {
namespace {

using Bytes = std::string;

ImageInfo Info(const Bytes& b) {
    return GetImageInfo(b.data(), b.size());
}

Bytes LE16(unsigned v) {
    return {char(v & 0xFF), char(v >> 8)};
}
Bytes LE32(unsigned v) {
    return LE16(v & 0xFFFF) + LE16(v >> 16);
}

TEST(ImageInfoTest, FaultyHeadersGiveNothing) {
    for (const Bytes& b : {
             Bytes("\xFF\xD8\xFF\xD9", 4),                 // end of image before any frame
             Bytes("\xFF\xD8\xFF\xE0\0\1", 6),             // segment length below 2
             "GIF89a" + LE32(0) + Bytes(3, 0) + ";",       // 0 x 0 pixels
             "BM" + Bytes(12, 0) + LE32(11) + Bytes(8, 0), // header too small
             "II" + LE16(42) + LE32(7) + Bytes(8, 0),      // directory inside the header
         }) {
        ImageInfo info = Info(b);
        EXPECT_EQ(info.FormatName, nullptr) << b.size();
        EXPECT_EQ(info.FormatCode + info.Width + info.Height + info.BitsPerPixel, 0u);
    }
}

TEST(ImageInfoTest, LossyWebPOfZeroWidthGivesNothing) {
    const Bytes b =
        "RIFF" + LE32(30) + "WEBPVP8 " + Bytes(7, 0) + "\x9D\x01\x2A" + LE16(0) + LE16(20);
    EXPECT_EQ(Info(b).FormatName, nullptr);
}
TEST(ImageInfoTest, BigEndianTiffSizes) {
    // "MM", 42, directory at 8; two SHORT entries: width 37, height 21.
    const Bytes b("MM\0\x2A\0\0\0\x08\0\x02"
                  "\x01\x00\0\x03\0\0\0\x01\0\x25\0\0"
                  "\x01\x01\0\x03\0\0\0\x01\0\x15\0\0",
                  34);
    const ImageInfo i = Info(b);
    EXPECT_EQ(i.Width, 37u);
    EXPECT_EQ(i.Height, 21u);
}
} // namespace
} // namespace wm
