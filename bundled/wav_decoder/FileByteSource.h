// The header parser's view of an open file. The first 64 KiB are read once, so that walking
// the chunks of an ordinary header costs one read call.
#pragma once

#include "bundled/wav/ByteSource.h"
#include "bundled/win/Win32File.h"

#include <vector>

namespace wm::bundled {

class FileByteSource final : public wav::ByteSource {
  public:
    explicit FileByteSource(Win32File& file) : file_(file), size_(file.Size()) {}
    uint64_t Size() const override { return size_; }
    size_t Read(uint64_t offset, void* buffer, size_t length) override;

  private:
    Win32File& file_;
    uint64_t size_;
    std::vector<uint8_t> head_;
    bool headRead_ = false;
};

} // namespace wm::bundled
