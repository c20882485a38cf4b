#include "bundled/dsp/RawPcmPasses.h"

namespace wm::dsp {

namespace {
constexpr size_t kChunkBytes = 1 << 20;
}

bool RawPcmPasses::Open(const char16_t* path) {
    path_ = path;
    if (!file_.OpenForUpdate(path)) {
        error_ = u"cannot open the rendered file " + path_;
        return false;
    }
    size_ = file_.Size();
    if (size_ % layout_.FrameBytes() != 0) {
        error_ = u"the rendered file " + path_ + u" is not a whole number of frames";
        return false;
    }
    chunk_.resize(kChunkBytes / layout_.FrameBytes() * layout_.FrameBytes());
    return true;
}

bool RawPcmPasses::Read(const std::function<void(const double*, size_t)>& use) {
    return Pass(false, [&use](double* piece, size_t n) { use(piece, n); });
}

bool RawPcmPasses::Rewrite(const std::function<void(double*, size_t)>& apply) {
    return Pass(true, apply);
}

bool RawPcmPasses::Pass(bool write, const std::function<void(double*, size_t)>& apply) {
    for (uint64_t at = 0; at < size_;) {
        const size_t want = size_ - at < chunk_.size() ? size_t(size_ - at) : chunk_.size();
        if (file_.ReadAt(at, chunk_.data(), want) != want) {
            error_ = u"cannot read the rendered file " + path_;
            return false;
        }
        const size_t samples = want / layout_.SampleBytes();
        if (write) {
            TransformSamples(chunk_.data(), layout_.kind, samples, chunk_.data(), layout_.kind,
                             apply);
        } else {
            ForEachPiece(chunk_.data(), layout_.kind, samples, layout_.channels,
                         [&apply](double* piece, size_t n, size_t) { apply(piece, n); });
        }
        if (write && !file_.WriteAt(at, chunk_.data(), want)) {
            error_ = u"cannot write the rendered file " + path_ + u" (is the disk full?)";
            return false;
        }
        at += want;
    }
    return true;
}

} // namespace wm::dsp
