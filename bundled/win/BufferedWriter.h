// Sequential output in few large writes, with the seeks back that encoders make to patch their
// headers once the stream is done.
#pragma once

#include "bundled/win/Win32File.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace wm::bundled {

class BufferedWriter {
  public:
    // Creates (or replaces) the file; false when it cannot be created.
    bool Create(const char16_t* path);
    // Writes at the current position; true when every byte reached the buffer or the file.
    bool Write(const void* data, size_t length);
    // Moves the position; later writes land there (a seek past the end is refused).
    bool Seek(uint64_t offset);
    uint64_t Tell() const { return position_; }
    // Writes out the buffer and closes; true when every write succeeded.
    bool Close();
    // Closes without caring about the result (the output is being given up).
    void Abandon();
    // A write failed because the disk is full (kept until the next Create).
    bool DiskFull() const { return diskFull_; }

  private:
    bool Flush();
    // Records a failed write and why; returns false.
    bool Failed();

    Win32File file_;
    std::unique_ptr<uint8_t[]> buffer_;
    size_t used_ = 0;
    uint64_t bufferAt_ = 0; // file offset of the buffer's first byte
    uint64_t position_ = 0;
    uint64_t end_ = 0; // length of the file with the buffer written
    bool failed_ = false;
    bool diskFull_ = false;
};

} // namespace wm::bundled
