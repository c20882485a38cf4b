#include "bundled/m4a_encoder/M4aOutput.h"

extern "C" {
#include <libavutil/mem.h>
}

#include <algorithm>
#include <cstring>

namespace wm::bundled {

namespace {
constexpr int kIoBuffer = 64 * 1024;
}

bool M4aOutput::Create(const char16_t* path) {
    Abandon();
    if (!file_.Create(path))
        return false;
    path_ = path;
    auto* buffer = static_cast<unsigned char*>(av_malloc(kIoBuffer));
    io_ =
        buffer ? avio_alloc_context(buffer, kIoBuffer, 1, this, nullptr, OnWrite, OnSeek) : nullptr;
    if (!io_)
        av_free(buffer);
    position_ = end_ = 0;
    tailAt_ = -1;
    tail_.clear();
    failed_ = false;
    return io_ != nullptr;
}

void M4aOutput::HoldTail() {
    avio_flush(io_);
    tailAt_ = end_;
}

int M4aOutput::OnWrite(void* self, uint8_t* data, int size) {
    M4aOutput& o = *static_cast<M4aOutput*>(self);
    const size_t n = static_cast<size_t>(size);
    if (o.tailAt_ >= 0 && o.position_ >= o.tailAt_) {
        const size_t at = static_cast<size_t>(o.position_ - o.tailAt_);
        o.tail_.resize(std::max(o.tail_.size(), at + n));
        std::memcpy(o.tail_.data() + at, data, n);
    } else if (!o.file_.Seek(static_cast<uint64_t>(o.position_)) || !o.file_.Write(data, n)) {
        o.failed_ = true;
        return AVERROR(o.file_.DiskFull() ? ENOSPC : EIO);
    }
    o.position_ += size;
    o.end_ = std::max(o.end_, o.position_);
    return size;
}

int64_t M4aOutput::OnSeek(void* self, int64_t offset, int whence) {
    M4aOutput& o = *static_cast<M4aOutput*>(self);
    const int how = whence & ~AVSEEK_FORCE;
    if (how == AVSEEK_SIZE)
        return o.end_;
    const int64_t to = how == SEEK_SET   ? offset
                       : how == SEEK_CUR ? o.position_ + offset
                                         : o.end_ + offset;
    if (to < 0 || to > o.end_)
        return AVERROR(EINVAL);
    return o.position_ = to;
}

bool M4aOutput::Close() {
    if (io_)
        avio_flush(io_);
    bool ok = io_ && !failed_ && io_->error == 0;
    if (ok && tailAt_ >= 0 && !tail_.empty())
        ok = file_.Seek(static_cast<uint64_t>(tailAt_)) && file_.Write(tail_.data(), tail_.size());
    if (io_)
        av_freep(&io_->buffer);
    avio_context_free(&io_);
    ok = file_.Close() && ok;
    if (ok)
        path_.clear();
    return ok;
}

void M4aOutput::Abandon() {
    if (io_) {
        av_freep(&io_->buffer);
        avio_context_free(&io_);
    }
    file_.Abandon();
    if (!path_.empty())
        DeletePath(path_.c_str());
    path_.clear();
    tail_.clear();
}

} // namespace wm::bundled
