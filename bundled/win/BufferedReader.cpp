#include "bundled/win/BufferedReader.h"

#include <algorithm>
#include <cstring>

namespace wm::bundled {

namespace {
constexpr size_t kPiece = 256 * 1024;
}

bool BufferedReader::Open(const char16_t* path) {
    Close();
    if (!file_.OpenForReading(path))
        return false;
    size_ = file_.Size();
    return true;
}

size_t BufferedReader::Read(uint64_t offset, void* buffer, size_t length) {
    auto* out = static_cast<uint8_t*>(buffer);
    size_t done = 0;
    while (done < length && offset < size_) {
        if (offset < pieceAt_ || offset >= pieceAt_ + pieceLength_) {
            // Large reads bypass the piece.
            if (length - done >= kPiece)
                return done + file_.ReadAt(offset, out + done, length - done);
            piece_.resize(kPiece);
            pieceAt_ = offset;
            pieceLength_ = file_.ReadAt(offset, piece_.data(), kPiece);
            if (pieceLength_ == 0)
                break;
        }
        const size_t at = static_cast<size_t>(offset - pieceAt_);
        const size_t n = std::min(length - done, pieceLength_ - at);
        std::memcpy(out + done, piece_.data() + at, n);
        done += n;
        offset += n;
    }
    return done;
}

bool BufferedReader::Close() {
    size_ = pieceAt_ = 0;
    pieceLength_ = 0;
    std::vector<uint8_t>().swap(piece_);
    return file_.Close();
}

} // namespace wm::bundled
