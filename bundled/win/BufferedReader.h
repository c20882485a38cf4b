// Reads served from large pieces of the file: the codec libraries ask for a frame header and
// body at a time, and each read through Wine is a system call.
#pragma once

#include "bundled/wav/ByteSource.h"
#include "bundled/win/Win32File.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace wm::bundled {

class BufferedReader final : public wav::ByteSource {
  public:
    bool Open(const char16_t* path);
    uint64_t Size() const override { return size_; }
    // Copies up to `length` bytes from `offset`; fewer only at the end of the file or on failure.
    size_t Read(uint64_t offset, void* buffer, size_t length) override;
    bool Close();

  private:
    Win32File file_;
    uint64_t size_ = 0;
    std::vector<uint8_t> piece_;
    uint64_t pieceAt_ = 0;
    size_t pieceLength_ = 0;
};

} // namespace wm::bundled
