// The file as the Ogg libraries read it: a read position over the buffered reader, moved by
// their seek calls (whence as in stdio).
#pragma once

#include "bundled/win/BufferedReader.h"

#include <cstdint>
#include <cstdio>

namespace wm::bundled {

class OggInput {
  public:
    BufferedReader& File() { return file_; }
    bool Open(const char16_t* path) {
        at_ = 0;
        return file_.Open(path);
    }
    bool Close() { return file_.Close(); }
    size_t Read(void* buffer, size_t bytes) {
        const size_t n = file_.Read(at_, buffer, bytes);
        at_ += n;
        return n;
    }
    // False, with the position unchanged, for a place before the start or past the end.
    bool Seek(int64_t offset, int whence) {
        const int64_t size = static_cast<int64_t>(file_.Size());
        const int64_t base = whence == SEEK_SET ? 0 : whence == SEEK_CUR ? Tell() : size;
        if (offset < -base || base + offset > size)
            return false;
        at_ = static_cast<uint64_t>(base + offset);
        return true;
    }
    int64_t Tell() const { return static_cast<int64_t>(at_); }

  private:
    BufferedReader file_;
    uint64_t at_ = 0;
};

} // namespace wm::bundled
