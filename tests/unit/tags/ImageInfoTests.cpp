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
             Bytes("\xFF\xD8\xFF\xD9", 4),           // end of image before any frame
             Bytes("\xFF\xD8\xFF\xE0\0\1", 6),       // segment length below 2
             "GIF89a" + LE32(0) + Bytes(3, 0) + ";", // 0 x 0 pixels
             "RIFF" + LE32(30) + "WEBPVP8 " + Bytes(7, 0) + "\x9D\x01\x2A" + LE16(0) +
                 LE16(20),                                 // lossy, zero width
             "BM" + Bytes(12, 0) + LE32(11) + Bytes(8, 0), // header too small
             "II" + LE16(42) + LE32(7) + Bytes(8, 0),      // directory inside the header
         }) {
        ImageInfo info = Info(b);
        EXPECT_EQ(info.FormatName, nullptr) << b.size();
        EXPECT_EQ(info.FormatCode + info.Width + info.Height + info.BitsPerPixel, 0u);
    }
}

TEST(ImageInfoTest, OddButValidHeaders) {
    // A graphic-control extension read from inside the (short) colour-table skip; the scan
    // ends at the first byte that starts no extension.
    ImageInfo gif = Info("GIF89a" + LE16(3) + LE16(2) + Bytes("\x81\0\0abc", 6) +
                         Bytes("!\xF9\x04\x01\0\0\0!\x01\0,", 11));
    EXPECT_EQ(gif.Width * gif.Height, 6u);

    // A 0xDD segment (fixed 4 bytes), then a 12-bit progressive frame of one component.
    ImageInfo jpeg = Info(Bytes("\xFF\xD8\xFF\xDD\0\4\0\0\xFF\xC2\0\x11\x0C\0\x05\0\x07\x01", 18));
    EXPECT_EQ(jpeg.Width, 7u);
    EXPECT_EQ(jpeg.BitsPerPixel, 12u);
}

} // namespace
} // namespace wm
