// Random-access input for the header parser, so that it runs over files, memory or fuzz data.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace wm::wav {

class ByteSource {
  public:
    virtual ~ByteSource() = default;
    // Total length of the input in bytes.
    virtual uint64_t Size() const = 0;
    // Copies up to `length` bytes from `offset`; returns how many arrived. Fewer than asked
    // means the end of the input or a read failure.
    virtual size_t Read(uint64_t offset, void* buffer, size_t length) = 0;
};

class MemoryByteSource final : public ByteSource {
  public:
    MemoryByteSource(const void* data, size_t size)
        : data_(static_cast<const uint8_t*>(data)), size_(size) {}
    uint64_t Size() const override { return size_; }
    size_t Read(uint64_t offset, void* buffer, size_t length) override {
        if (offset >= size_)
            return 0;
        const size_t n = length < size_ - offset ? length : static_cast<size_t>(size_ - offset);
        if (n != 0)
            std::memcpy(buffer, data_ + offset, n);
        return n;
    }

  private:
    const uint8_t* data_;
    size_t size_;
};

} // namespace wm::wav
