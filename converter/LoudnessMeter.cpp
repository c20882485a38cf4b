#include "converter/LoudnessMeter.h"

#include "converter/SampleFrames.h"

#include <ebur128.h>

#include <algorithm>
#include <cmath>

namespace wm {

namespace {

// libebur128's entry for each sample form: it scales integers to full scale 1 itself.
int AddFrames(ebur128_state* meter, const int16_t* samples, size_t frames) {
    return ebur128_add_frames_short(meter, samples, frames);
}
int AddFrames(ebur128_state* meter, const int32_t* samples, size_t frames) {
    return ebur128_add_frames_int(meter, samples, frames);
}
int AddFrames(ebur128_state* meter, const float* samples, size_t frames) {
    return ebur128_add_frames_float(meter, samples, frames);
}
int AddFrames(ebur128_state* meter, const double* samples, size_t frames) {
    return ebur128_add_frames_double(meter, samples, frames);
}

} // namespace

struct LoudnessMeter::State {
    explicit State(ebur128_state* s) : meter(s) {}
    ~State() { ebur128_destroy(&meter); }
    ebur128_state* meter;
};

LoudnessMeter::LoudnessMeter(bool truePeak, MeterUse use) : truePeak_(truePeak), use_(use) {}

LoudnessMeter::~LoudnessMeter() = default;

bool LoudnessMeter::Add(const WmWaveFormat& format, const void* data, size_t bytes) {
    if (!fault_.empty())
        return false;
    if (!started_ && !Start(format))
        return false;
    if (format.channels != format_.channels || format.samplesPerSec != format_.samplesPerSec)
        return Failed(u"the audio's format changed in the middle of the stream");
    MeterSamples samples;
    if (!ToMeterSamples(format, data, bytes, widened_, samples))
        return Failed(u"the sample format cannot be measured");
    if (!state_) {
        samplePeak_ = std::max(samplePeak_, SamplePeak(samples, format_.channels));
        return true;
    }
    switch (samples.kind) {
    case SampleKind::Int16:
        return Feed(static_cast<const int16_t*>(samples.data), samples.frames);
    case SampleKind::Int32:
        return Feed(static_cast<const int32_t*>(samples.data), samples.frames);
    case SampleKind::Float32:
        return Feed(static_cast<const float*>(samples.data), samples.frames);
    case SampleKind::Float64:
        return Feed(static_cast<const double*>(samples.data), samples.frames);
    }
    return Failed(u"the sample format cannot be measured");
}

bool LoudnessMeter::Start(const WmWaveFormat& format) {
    started_ = true;
    format_ = format;
    // The sample peak alone needs none of libebur128's filtering.
    if (use_ == MeterUse::PeakOnly && !truePeak_)
        return true;
    // The momentary mode only: the integrated mode would sum every gating block a second time,
    // and the blocks read out here gate the track as they gate the album.
    const int mode =
        EBUR128_MODE_M | (truePeak_ ? EBUR128_MODE_TRUE_PEAK : EBUR128_MODE_SAMPLE_PEAK);
    ebur128_state* meter = ebur128_init(format.channels, format.samplesPerSec, mode);
    if (!meter)
        return Failed(u"libebur128 does not measure this channel count or rate");
    state_ = std::make_unique<State>(meter);
    // The meter's own step (it rounds the same way): a gating block ends every 100 ms from the
    // first 400 ms on. Where the meter's 100 ms window is that step (every rate but those with
    // half a frame in 100 ms, such as 11025 Hz), each step's energy is read once and a block is
    // the mean of its four steps; else each block is read whole, summing every sample four times.
    framesPerStep_ = (format.samplesPerSec + 5) / 10;
    framesToStep_ = framesPerStep_;
    stepsAreWindows_ = format.samplesPerSec * kStepMs / 1000 == framesPerStep_;
    steps_ = 0;
    return true;
}

// Feeds the meter up to each step's end, where the step's or the block's energy is read.
template <typename Sample> bool LoudnessMeter::Feed(const Sample* samples, size_t frames) {
    if (use_ == MeterUse::PeakOnly)
        return AddFrames(state_->meter, samples, frames) == EBUR128_SUCCESS ||
               Failed(u"libebur128 refused the audio");
    while (frames > 0) {
        const size_t n = std::min(frames, framesToStep_);
        if (AddFrames(state_->meter, samples, n) != EBUR128_SUCCESS)
            return Failed(u"libebur128 refused the audio");
        samples += n * format_.channels;
        frames -= n;
        framesToStep_ -= n;
        if (framesToStep_ > 0)
            continue;
        framesToStep_ = framesPerStep_;
        if (!StepEnded())
            return false;
    }
    return true;
}

bool LoudnessMeter::StepEnded() {
    ++steps_;
    double lufs = 0;
    if (!stepsAreWindows_) {
        if (steps_ < kStepsPerBlock)
            return true;
        if (ebur128_loudness_momentary(state_->meter, &lufs) != EBUR128_SUCCESS)
            return Failed(u"libebur128 gave no block loudness");
        blocks_.push_back(std::isfinite(lufs) ? EnergyOfLoudness(lufs) : 0.0);
        return true;
    }
    if (ebur128_loudness_window(state_->meter, kStepMs, &lufs) != EBUR128_SUCCESS)
        return Failed(u"libebur128 gave no step loudness");
    recentSteps_[steps_ % kStepsPerBlock] = std::isfinite(lufs) ? EnergyOfLoudness(lufs) : 0.0;
    if (steps_ >= kStepsPerBlock) {
        double sum = 0;
        for (double e : recentSteps_)
            sum += e;
        blocks_.push_back(sum / kStepsPerBlock);
    }
    return true;
}

bool LoudnessMeter::Result(LoudnessRecord& out) {
    out = LoudnessRecord{};
    if (!fault_.empty())
        return false;
    out.lufs = GatedLoudness(blocks_);
    out.blocks = blocks_;
    return Peak(out.peak);
}

bool LoudnessMeter::Peak(double& out) {
    out = 0;
    if (!fault_.empty())
        return false;
    if (!state_) { // the sample peak alone, or nothing measured: silence of no length
        out = samplePeak_;
        return true;
    }
    for (unsigned c = 0; c < format_.channels; ++c) {
        double peak = 0;
        const int got = truePeak_ ? ebur128_true_peak(state_->meter, c, &peak)
                                  : ebur128_sample_peak(state_->meter, c, &peak);
        if (got != EBUR128_SUCCESS)
            return Failed(u"libebur128 gave no peak");
        out = std::max(out, peak);
    }
    return true;
}

bool LoudnessMeter::Failed(StringView why) {
    if (fault_.empty())
        fault_ = String(why);
    return false;
}

} // namespace wm
