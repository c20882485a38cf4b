#include "bundled/ffmpeg_decoder/FormatFollower.h"

namespace wm::ffmpeg {

FormatFollower::~FormatFollower() {
    Reset();
}

bool FormatFollower::Start(const AVFrame& first, AVSampleFormat format, int rate) {
    Reset();
    rate_ = rate;
    format_ = format;
    out_.reset(av_frame_alloc());
    return out_ && av_channel_layout_copy(&layout_, &first.ch_layout) == 0;
}

bool FormatFollower::Matches(const AVFrame& frame) const {
    return frame.sample_rate == rate_ && frame.format == format_ &&
           frame.ch_layout.nb_channels == layout_.nb_channels;
}

const AVFrame* FormatFollower::Convert(const AVFrame* frame, int& error) {
    error = 0;
    if (!frame && !swr_)
        return nullptr;
    av_frame_unref(out_.get());
    out_->sample_rate = rate_;
    out_->format = format_;
    av_channel_layout_copy(&out_->ch_layout, &layout_);
    if (!swr_ && !(swr_ = swr_alloc()))
        return error = AVERROR(ENOMEM), nullptr;
    error = swr_convert_frame(swr_, out_.get(), frame);
    if (error == AVERROR_INPUT_CHANGED) {
        // A further change: the samples still held at the old rate are flushed with the new
        // input, a few milliseconds at most.
        swr_close(swr_);
        if ((error = swr_config_frame(swr_, out_.get(), frame)) == 0)
            error = swr_convert_frame(swr_, out_.get(), frame);
    }
    return error < 0 ? nullptr : out_.get();
}

void FormatFollower::Reset() {
    swr_free(&swr_);
    out_.reset();
    av_channel_layout_uninit(&layout_);
}

} // namespace wm::ffmpeg
