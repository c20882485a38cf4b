// Keeps a stream in its first frame's format: a later frame at another sample rate, channel
// count or sample format is resampled or remixed to the first (libswresample), so a stream that
// changes midway plays at the right speed and the output keeps one format.
#pragma once

#include "bundled/ffmpeg/FfmpegSupport.h"

extern "C" {
#include <libswresample/swresample.h>
}

namespace wm::ffmpeg {

class FormatFollower {
  public:
    FormatFollower() = default;
    FormatFollower(const FormatFollower&) = delete;
    FormatFollower& operator=(const FormatFollower&) = delete;
    ~FormatFollower();

    // The first frame fixes the channels; the sample format and rate are the given ones (the
    // first frame's, unless the source is to be converted from its start).
    bool Start(const AVFrame& first, AVSampleFormat format, int rate);
    bool Matches(const AVFrame& frame) const;
    // The frame in the first format (null flushes what the resampler holds); the result lives
    // until the next call. Null with `error` set on failure.
    const AVFrame* Convert(const AVFrame* frame, int& error);
    void Reset();

  private:
    SwrContext* swr_ = nullptr;
    Frame out_;
    int rate_ = 0;
    AVSampleFormat format_ = AV_SAMPLE_FMT_NONE;
    AVChannelLayout layout_{};
};

} // namespace wm::ffmpeg
