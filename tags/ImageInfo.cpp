#include "tags/ImageInfo.h"

#include "tags/ImageStreams.h"

#include <cstring>
#include <filesystem>
#include <fstream>

namespace wm {

namespace {

ImageInfo ReadSafely(imageio::streamIn& in) {
    ImageInfo info;
    bool alpha = false;
    try {
        imageio::ReadImageHeader(in, info, alpha);
    } catch (...) {
        // Every format fault and every short read ends here; the caller gets nothing.
        info = ImageInfo();
    }
    return info;
}

class StdFileReader : public ImageByteReader {
  public:
    explicit StdFileReader(StringView fileName)
        : file_(std::filesystem::path(String(fileName)), std::ios::binary) {
        if (file_) {
            file_.seekg(0, std::ios::end);
            std::streamoff end = file_.tellg();
            size_ = end > 0 ? static_cast<uint64_t>(end) : 0;
            file_.seekg(0);
        }
    }
    bool IsOpen() const { return static_cast<bool>(file_); }
    size_t Read(void* buffer, size_t count) override {
        file_.read(static_cast<char*>(buffer), static_cast<std::streamsize>(count));
        size_t got = static_cast<size_t>(file_.gcount());
        pos_ += got;
        file_.clear(); // a short read is reported by the count, not by the stream state
        return got;
    }
    bool Seek(uint64_t position) override {
        file_.seekg(static_cast<std::streamoff>(position));
        pos_ = position;
        return static_cast<bool>(file_);
    }
    uint64_t Position() const override { return pos_; }
    uint64_t Size() const override { return size_; }

  private:
    std::ifstream file_;
    uint64_t size_ = 0;
    uint64_t pos_ = 0;
};

} // namespace

ImageInfo GetImageInfo(const void* data, size_t size) {
    imageio::fileInMemRef in(data, size);
    return ReadSafely(in);
}

ImageInfo GetImageInfo(ImageByteReader& file) {
    imageio::fileInFile in(file);
    return ReadSafely(in);
}

ImageInfo GetImageInfo(StringView fileName) {
    try {
        // The path conversion throws on text that is not valid UTF-16.
        StdFileReader file(fileName);
        if (file.IsOpen())
            return GetImageInfo(file);
    } catch (...) {
    }
    return ImageInfo();
}

uint32_t ImageFormatCode(const char* name) {
    if (!name)
        return 0;
    static const char* const kCoded[] = {"JPEG", "PNG", "GIF", "BMP", "WebP"};
    for (uint32_t i = 0; i < 5; ++i)
        if (std::strcmp(name, kCoded[i]) == 0)
            return i + 1;
    return 0;
}

} // namespace wm
