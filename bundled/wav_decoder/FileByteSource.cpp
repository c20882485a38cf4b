#include "bundled/wav_decoder/FileByteSource.h"

#include <algorithm>
#include <cstring>

namespace wm::bundled {

namespace {
constexpr size_t kHeadSize = 64 * 1024;
}

size_t FileByteSource::Read(uint64_t offset, void* buffer, size_t length) {
    if (!headRead_) {
        headRead_ = true;
        head_.resize(static_cast<size_t>(std::min<uint64_t>(size_, kHeadSize)));
        head_.resize(file_.ReadAt(0, head_.data(), head_.size()));
    }
    if (offset + length <= head_.size()) {
        std::memcpy(buffer, head_.data() + offset, length);
        return length;
    }
    return file_.ReadAt(offset, buffer, length);
}

} // namespace wm::bundled
