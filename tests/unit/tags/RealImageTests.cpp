// Headers of real pictures written by ImageMagick at build time (see make_images.sh).
#include "tags/ImageInfo.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <tuple>

namespace wm {
namespace {

std::string ImageDir() {
    return WM_TAGS_TEST_IMAGES;
}

// Every cut of a picture gives nothing until the cut passes the header, then the full answer;
// except for TIFF (its directory is written last) the header is only the file's start.
TEST(RealImageTest, HeadersTellFormatSizeAndBitsOnceComplete) {
    std::ifstream manifest(ImageDir() + "/manifest.txt");
    std::string file, format;
    uint32_t width, height, bits;
    int pictures = 0;
    while (manifest >> file >> format >> width >> height >> bits) {
        SCOPED_TRACE(file);
        ++pictures;
        std::string path = ImageDir() + "/" + file;
        ImageInfo full = GetImageInfo(Widen(path));
        ASSERT_NE(full.FormatName, nullptr);
        EXPECT_EQ(full.FormatName, format);
        EXPECT_EQ(full.FormatCode, ImageFormatCode(format.c_str()));
        EXPECT_EQ(std::make_tuple(full.Width, full.Height, full.BitsPerPixel),
                  std::make_tuple(width, height, bits));

        std::ifstream in(path, std::ios::binary);
        const std::string bytes((std::istreambuf_iterator<char>(in)), {});
        size_t headerEnd = 0;
        for (size_t cut = 0; cut < bytes.size(); ++cut) {
            std::string part = bytes.substr(0, cut); // exact size, so overreads are caught
            ImageInfo info = GetImageInfo(part.data(), part.size());
            if (info.FormatName == nullptr) {
                ASSERT_EQ(headerEnd, 0u) << "nothing again at " << cut;
                EXPECT_EQ(info.Width + info.Height + info.BitsPerPixel + info.FormatCode, 0u);
            } else {
                ASSERT_TRUE(info.FormatCode == full.FormatCode && info.Width == full.Width &&
                            info.Height == full.Height && info.BitsPerPixel == full.BitsPerPixel)
                    << cut;
                headerEnd = headerEnd ? headerEnd : cut;
            }
        }
        if (format != "TIFF") {
            EXPECT_GT(headerEnd, 0u);
            EXPECT_LT(headerEnd, 200u);
        }
    }
    if (pictures == 0)
        GTEST_SKIP() << "ImageMagick was missing at build time; real picture headers not tested";
    EXPECT_EQ(pictures, 8);
    EXPECT_EQ(GetImageInfo(Widen(ImageDir() + "/no such picture.png")).FormatName, nullptr);
}

} // namespace
} // namespace wm
