#include "converter/AudioSources.h"
#include "files/FileOps.h"
#include "process/Log.h"

#include <algorithm>

namespace wm {

namespace {
constexpr uint64_t kBlockMs = 500;
} // namespace

bool RenderedFileSource::Open(const String& path, const WmWaveFormat& format) {
    format_.Assign(format);
    if (!file_.OpenRead(path))
        return false;
    bool failed = false;
    left_ = file_.Size(&failed);
    DropTornEnd();
    return !failed;
}

// The render writes torn blocks whole; what is read back ends on a whole frame.
void RenderedFileSource::DropTornEnd() {
    const uint64_t frame = std::max<uint64_t>(format_.BlockAlign(), 1);
    if (left_ % frame == 0)
        return;
    left_ -= left_ % frame;
    LogInfo(u"Information: Audio data contains incomplete samples at end.", Context());
}

const char* RenderedFileSource::Context() const {
    return reader_ == Reader::Encoder ? "TwWavemill::DecodeAudioBlock" : "DspRender::Run";
}

// The encoder's read-back and an effect's read-back say the same thing in their own words.
bool RenderedFileSource::ReadError(const char16_t* encoderText) {
    LogError(reader_ == Reader::Encoder
                 ? StringView(encoderText)
                 : StringView(u"Error: Reading Temporary Rendered DSP file."),
             Context());
    return false;
}

bool RenderedFileSource::NextBlock(AudioBlockInfo& block) {
    if (buffer_.empty()) {
        const uint64_t capacity = std::max<uint64_t>(
            {format_.MsToBytes(kBlockMs), uint64_t{format_.BlockAlign()}, uint64_t{1}});
        if (capacity > (1u << 30))
            return ReadError(u"Error allocating buffer");
        buffer_.resize(static_cast<size_t>(capacity));
    }
    const auto n = static_cast<uint32_t>(std::min<uint64_t>(left_, buffer_.size()));
    if (n > 0) {
        bool failed = false;
        if (file_.Read(buffer_.data(), n, FileAccess::kNoSeek, &failed) != n || failed)
            return ReadError(u"Error reading back from temporary DSP file.");
    }
    left_ -= n;
    block.format = format_.AsRecord();
    const bool forEncoder = reader_ == Reader::Encoder;
    block.bitRate = forEncoder ? format_.AvgBytesPerSec() * 8 : 0;
    block.msDuration = forEncoder ? format_.BytesToMs(n) : wholeMs_;
    block.data = buffer_.data();
    block.length = n;
    block.msPosition = format_.BytesToMs(delivered_);
    block.endOfStream = left_ == 0;
    delivered_ += n;
    return true;
}

void RenderedFileSource::Release() {
    file_.Close(); // an open file cannot be deleted
    if (!owned_.empty())
        DeleteFilePath(owned_);
    owned_.clear();
}

} // namespace wm
