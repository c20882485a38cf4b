// Headers of real pictures written by ImageMagick at build time (see make_images.sh).
#include "tags/ImageInfo.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>

namespace wm {
namespace {

std::string ImageDir() {
#ifdef _WIN32
    return std::string("Z:") + WM_TAGS_TEST_IMAGES; // the build tree as Wine sees it
#else
    return WM_TAGS_TEST_IMAGES;
#endif
}

struct Expected {
    std::string file, format;
    uint32_t width = 0, height = 0, bits = 0;
};

std::vector<Expected> ReadManifest() {
    std::vector<Expected> list;
    std::ifstream manifest(ImageDir() + "/manifest.txt");
    Expected e;
    while (manifest >> e.file >> e.format >> e.width >> e.height >> e.bits)
        list.push_back(e);
    return list;
}

std::string ReadAll(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

bool Same(const ImageInfo& a, const ImageInfo& b) {
    return a.FormatName == b.FormatName && a.FormatCode == b.FormatCode && a.Width == b.Width &&
           a.Height == b.Height && a.BitsPerPixel == b.BitsPerPixel;
}

class RealImageTest : public testing::Test {
  protected:
    void SetUp() override {
        pictures_ = ReadManifest();
        if (pictures_.empty()) {
            std::fprintf(stderr,
                         "\n*** WARNING: no test pictures in %s: ImageMagick "
                         "(/usr/bin/convert-im6.q16) was missing at build time ***\n\n",
                         ImageDir().c_str());
            GTEST_SKIP() << "ImageMagick is missing; real picture headers not tested";
        }
    }
    std::vector<Expected> pictures_;
};

TEST_F(RealImageTest, HeadersTellFormatSizeAndBits) {
    ASSERT_EQ(pictures_.size(), 13u);
    for (const Expected& e : pictures_) {
        SCOPED_TRACE(e.file);
        std::string path = ImageDir() + "/" + e.file;
        ImageInfo info = GetImageInfo(Widen(path));
        ASSERT_NE(info.FormatName, nullptr);
        EXPECT_EQ(info.FormatName, e.format);
        EXPECT_EQ(info.FormatCode, ImageFormatCode(e.format.c_str()));
        EXPECT_EQ(info.Width, e.width);
        EXPECT_EQ(info.Height, e.height);
        EXPECT_EQ(info.BitsPerPixel, e.bits);

        std::string bytes = ReadAll(path);
        EXPECT_TRUE(Same(GetImageInfo(bytes.data(), bytes.size()), info));
    }
    EXPECT_EQ(GetImageInfo(Widen(ImageDir() + "/no such picture.png")).FormatName, nullptr);
}

// A cut picture gives nothing until the cut passes the header, then the full answer;
// except for TIFF (its directory is written last) the header is only the file's start.
TEST_F(RealImageTest, EveryTruncationOfTheHeaderGivesNothing) {
    for (const Expected& e : pictures_) {
        SCOPED_TRACE(e.file);
        std::string bytes = ReadAll(ImageDir() + "/" + e.file);
        ImageInfo full = GetImageInfo(bytes.data(), bytes.size());
        size_t headerEnd = 0;
        for (size_t cut = 0; cut < bytes.size(); ++cut) {
            std::string part = bytes.substr(0, cut); // exact size, so overreads are caught
            ImageInfo info = GetImageInfo(part.data(), part.size());
            if (info.FormatName == nullptr) {
                ASSERT_EQ(headerEnd, 0u) << "nothing again at " << cut;
                EXPECT_EQ(info.Width + info.Height + info.BitsPerPixel + info.FormatCode, 0u);
            } else {
                ASSERT_TRUE(Same(info, full)) << cut;
                if (headerEnd == 0)
                    headerEnd = cut;
            }
        }
        if (e.format != "TIFF") {
            EXPECT_GT(headerEnd, 0u);
            EXPECT_LT(headerEnd, 200u);
        }
    }
}

} // namespace
} // namespace wm
