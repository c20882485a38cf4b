#include "tags/ImageStreams.h"

#include <algorithm>
#include <cstring>

namespace wm::imageio {

void streamIn::readExact(void* buffer, size_t count) {
    if (read(buffer, count) != count)
        throw invalid_input();
}

uint64_t streamIn::skipUpTo(uint64_t count) {
    uint8_t scratch[256];
    uint64_t skipped = 0;
    while (skipped < count) {
        size_t piece = static_cast<size_t>(std::min<uint64_t>(count - skipped, sizeof scratch));
        size_t got = read(scratch, piece);
        skipped += got;
        if (got < piece)
            break;
    }
    return skipped;
}

void streamIn::skip(uint64_t count) {
    if (skipUpTo(count) != count)
        throw invalid_input();
}

uint8_t streamIn::readByte() {
    uint8_t b;
    readExact(&b, 1);
    return b;
}

uint64_t fileInFile::skipUpTo(uint64_t count) {
    uint64_t pos = position(), end = size();
    uint64_t left = pos < end ? end - pos : 0;
    count = std::min(count, left);
    seek(pos + count);
    return count;
}

void fileInFile::seek(uint64_t position) {
    if (position > size() || !file_.Seek(position))
        throw invalid_input();
}

size_t fileInMemRef::read(void* buffer, size_t count) {
    count = std::min(count, size_ - pos_);
    if (count) {
        std::memcpy(buffer, data_ + pos_, count);
        pos_ += count;
    }
    return count;
}

uint64_t fileInMemRef::skipUpTo(uint64_t count) {
    count = std::min<uint64_t>(count, size_ - pos_);
    pos_ += static_cast<size_t>(count);
    return count;
}

void fileInMemRef::seek(uint64_t position) {
    if (position > size_)
        throw invalid_input();
    pos_ = static_cast<size_t>(position);
}

} // namespace wm::imageio
