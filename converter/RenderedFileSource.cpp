#include "converter/AudioSources.h"
#include "process/Log.h"

#include <algorithm>

namespace wm {

namespace {
constexpr const char* kContext = "TwWavemill::DecodeAudioBlock";
constexpr uint64_t kBlockMs = 500;
} // namespace

bool RenderedFileSource::Open(const String& path, const WmWaveFormat& format) {
    format_.Assign(format);
    if (!file_.OpenRead(path))
        return false;
    bool failed = false;
    left_ = file_.Size(&failed);
    return !failed;
}

bool RenderedFileSource::NextBlock(AudioBlockInfo& block) {
    if (buffer_.empty()) {
        const uint64_t capacity = std::max<uint64_t>(format_.MsToBytes(kBlockMs), 1);
        if (capacity > (1u << 30)) {
            LogError(u"Error allocating buffer", kContext);
            return false;
        }
        buffer_.resize(static_cast<size_t>(capacity));
    }
    const auto n = static_cast<uint32_t>(std::min<uint64_t>(left_, buffer_.size()));
    if (n > 0) {
        bool failed = false;
        if (file_.Read(buffer_.data(), n, FileAccess::kNoSeek, &failed) != n || failed) {
            LogError(u"Error reading back from temporary DSP file.", kContext);
            return false;
        }
    }
    left_ -= n;
    block.format = format_.AsRecord();
    block.bitRate = format_.AvgBytesPerSec() * 8;
    block.msDuration = format_.BytesToMs(n);
    block.data = buffer_.data();
    block.length = n;
    block.msPosition = format_.BytesToMs(delivered_);
    block.endOfStream = left_ == 0;
    delivered_ += n;
    return true;
}

} // namespace wm
