#include "bundled/dsp/LiveEffect.h"

#include <cstring>

namespace wm::dsp {

bool LiveEffect::Begin(const char16_t* settings) {
    begun_ = started_ = false;
    framesOut_ = 0;
    ClearInformation();
    if (!Configure(settings))
        return false;
    begun_ = true;
    return true;
}

bool LiveEffect::StartOnFirstBlock(const WmWaveFormat& format) {
    std::u16string error;
    if (!LayoutOf(format, in_, error))
        return Fail(error);
    firstFormat_ = format;
    if (!Start(in_, out_))
        return false;
    outFormat_ = WithLayout(format, out_);
    started_ = true;
    return true;
}

bool LiveEffect::Pass(AudioBlockInfo& block) {
    if (!begun_)
        return Fail(u"a block came before DSP_BeginConversion");
    // An empty block may come with its format left zeroed (a decoder's last one).
    if (block.length == 0 && !started_)
        return true;
    if (!started_ && !StartOnFirstBlock(block.format))
        return false;
    if (block.length != 0 && std::memcmp(&block.format, &firstFormat_, 18) != 0)
        return Fail(u"the audio format changed during the conversion");
    if (block.length % in_.FrameBytes() != 0 || (block.length && !block.data))
        return Fail(u"the block is not a whole number of frames");
    const size_t frames = block.length / in_.FrameBytes();
    if (!Process(static_cast<const uint8_t*>(block.data), frames, block.endOfStream != 0, output_))
        return false;
    HandBack(block);
    return true;
}

void LiveEffect::HandBack(AudioBlockInfo& block) {
    const uint32_t bytesPerSecond = outFormat_.avgBytesPerSec ? outFormat_.avgBytesPerSec : 1;
    block.data = output_.empty() ? nullptr : output_.data();
    block.length = uint32_t(output_.size());
    block.format = outFormat_;
    block.bitRate = bytesPerSecond * 8;
    block.msDuration = uint64_t(block.length) * 1000 / bytesPerSecond;
    block.msPosition = framesOut_ * 1000 / out_.rate;
    framesOut_ += output_.size() / out_.FrameBytes();
}

// The host ends every live effect, also one whose conversion never began or stopped early.
bool LiveEffect::End() {
    begun_ = started_ = false;
    Stop();
    output_ = {};
    return true;
}

} // namespace wm::dsp
