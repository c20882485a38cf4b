// The byte streams the picture header reader works on. A short read or a bad seek throws
// invalid_input, which never leaves the header reader.
#pragma once

#include "tags/ImageInfo.h"

#include <cstddef>
#include <cstdint>

namespace wm::imageio {

struct invalid_input {};

class streamIn {
  public:
    virtual ~streamIn() = default;
    virtual size_t read(void* buffer, size_t count) = 0;
    virtual void readExact(void* buffer, size_t count);
    virtual uint64_t skipUpTo(uint64_t count);
    virtual void skip(uint64_t count);
    virtual bool canSeek() const = 0;
    virtual void seek(uint64_t position) = 0;
    virtual uint64_t position() const = 0;
    virtual uint64_t size() const = 0;

    uint8_t readByte();
};

class fileIn : public streamIn {
  public:
    bool canSeek() const override { return true; }
};

// A file behind the caller's byte reader.
class fileInFile : public fileIn {
  public:
    explicit fileInFile(ImageByteReader& file) : file_(file) {}
    size_t read(void* buffer, size_t count) override { return file_.Read(buffer, count); }
    uint64_t skipUpTo(uint64_t count) override;
    void seek(uint64_t position) override;
    uint64_t position() const override { return file_.Position(); }
    uint64_t size() const override { return file_.Size(); }

  private:
    ImageByteReader& file_;
};

// The caller's memory block, read in place.
class fileInMemRef : public fileIn {
  public:
    fileInMemRef(const void* data, size_t size)
        : data_(static_cast<const uint8_t*>(data)), size_(data ? size : 0) {}
    size_t read(void* buffer, size_t count) override;
    uint64_t skipUpTo(uint64_t count) override;
    void seek(uint64_t position) override;
    uint64_t position() const override { return pos_; }
    uint64_t size() const override { return size_; }

  private:
    const uint8_t* data_;
    size_t size_;
    size_t pos_ = 0;
};

// Reads the header and fills in the result; throws invalid_input on any fault.
void ReadImageHeader(streamIn& in, ImageInfo& info, bool& alpha);

} // namespace wm::imageio
