// Reads arbitrary bytes as a picture header, from memory and through the file reader
// interface; both must agree, and a result is either complete or all zero.
#include "fuzz/FuzzCheck.h"
#include "tags/ImageInfo.h"

#include <algorithm>
#include <cstring>

using wm::fuzz::Check;

namespace {

class MemoryFile : public wm::ImageByteReader {
  public:
    MemoryFile(const uint8_t* data, size_t size) : data_(data), size_(size) {}
    size_t Read(void* buffer, size_t count) override {
        count = std::min(count, size_ - pos_);
        if (count)
            std::memcpy(buffer, data_ + pos_, count);
        pos_ += count;
        return count;
    }
    bool Seek(uint64_t position) override {
        if (position > size_)
            return false;
        pos_ = static_cast<size_t>(position);
        return true;
    }
    uint64_t Position() const override { return pos_; }
    uint64_t Size() const override { return size_; }

  private:
    const uint8_t* data_;
    size_t size_;
    size_t pos_ = 0;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    wm::ImageInfo memory = wm::GetImageInfo(data, size);
    MemoryFile file(data, size);
    wm::ImageInfo viaReader = wm::GetImageInfo(file);

    Check(memory.FormatName == viaReader.FormatName && memory.Width == viaReader.Width &&
              memory.Height == viaReader.Height && memory.BitsPerPixel == viaReader.BitsPerPixel,
          "memory and file forms disagree");
    Check(memory.FormatCode == wm::ImageFormatCode(memory.FormatName), "format code");
    if (!memory.FormatName)
        Check(memory.Width == 0 && memory.Height == 0 && memory.BitsPerPixel == 0,
              "a result without a format is not all zero");
    return 0;
}
