#include "bundled/win/BufferedWriter.h"

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <new>

namespace wm::bundled {

namespace {
constexpr size_t kBufferSize = 1024 * 1024;
}

bool BufferedWriter::Create(const char16_t* path) {
    Abandon();
    diskFull_ = false;
    if (!buffer_)
        buffer_.reset(new (std::nothrow) uint8_t[kBufferSize]);
    return buffer_ && file_.CreateForWriting(path);
}

bool BufferedWriter::Write(const void* data, size_t length) {
    if (failed_ || !file_.IsOpen())
        return false;
    // Appending goes through the buffer; a patch inside the file is written at once.
    if (position_ != bufferAt_ + used_) {
        if (!Flush() || !file_.WriteAt(position_, data, length))
            return Failed();
        position_ += length;
        end_ = std::max(end_, position_);
        bufferAt_ = end_;
        return true;
    }
    const auto* bytes = static_cast<const uint8_t*>(data);
    while (length != 0) {
        if (used_ == kBufferSize && !Flush())
            return false;
        const size_t n = std::min(length, kBufferSize - used_);
        std::memcpy(buffer_.get() + used_, bytes, n);
        used_ += n;
        bytes += n;
        length -= n;
        position_ += n;
    }
    end_ = std::max(end_, position_);
    return true;
}

bool BufferedWriter::Failed() {
    const DWORD error = GetLastError();
    diskFull_ = diskFull_ || error == ERROR_DISK_FULL || error == ERROR_HANDLE_DISK_FULL;
    failed_ = true;
    return false;
}

bool BufferedWriter::Seek(uint64_t offset) {
    if (offset > end_ || !Flush())
        return false;
    position_ = offset;
    bufferAt_ = end_;
    return true;
}

bool BufferedWriter::Flush() {
    if (used_ != 0 && !file_.WriteAt(bufferAt_, buffer_.get(), used_))
        Failed();
    bufferAt_ += used_;
    used_ = 0;
    return !failed_;
}

bool BufferedWriter::Close() {
    const bool ok = Flush();
    const bool closed = file_.Close() || Failed();
    Abandon();
    return ok && closed;
}

void BufferedWriter::Abandon() {
    file_.Close();
    used_ = 0;
    bufferAt_ = position_ = end_ = 0;
    failed_ = false;
}

} // namespace wm::bundled
