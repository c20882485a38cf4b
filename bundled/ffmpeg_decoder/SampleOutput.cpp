#include "bundled/ffmpeg_decoder/SampleOutput.h"

#include "bundled/codec/PcmConvert.h"
#include "bundled/wav/WaveFormatRules.h"

#include <cstring>

namespace wm::ffmpeg {

namespace {

// Planes to interleaved samples of the same width: the common case (AAC's float planes, ALAC's
// 16-bit ones) without a copy per byte.
template <class Sample> void Interleave(const AVFrame& frame, size_t channels, uint8_t* target) {
    const size_t frames = static_cast<size_t>(frame.nb_samples);
    for (size_t c = 0; c < channels; ++c) {
        const auto* in = reinterpret_cast<const Sample*>(frame.extended_data[c]);
        for (size_t f = 0; f < frames; ++f)
            std::memcpy(target + (f * channels + c) * sizeof(Sample), in + f, sizeof(Sample));
    }
}

} // namespace

bool SampleOutput::Choose(AVSampleFormat format, int rawBits, uint16_t channels, uint32_t rate) {
    format_ = format;
    inBytes_ = static_cast<unsigned>(av_get_bytes_per_sample(format));
    const AVSampleFormat packed = av_get_packed_sample_fmt(format);
    if (channels == 0 || rate == 0)
        return false;
    if (packed == AV_SAMPLE_FMT_FLT || packed == AV_SAMPLE_FMT_DBL) {
        outBytes_ = inBytes_;
        wave_ = wav::MakeWaveFormat(wav::SampleKind::Float, channels, rate,
                                    static_cast<uint16_t>(8 * inBytes_));
        if (channels > 2) {
            wave_.formatTag = WM_FORMAT_EXTENSIBLE;
            wave_.cbSize = 22;
            wave_.validBitsPerSample = wave_.bitsPerSample;
            wave_.channelMask = wav::StandardChannelMask(channels);
            std::memcpy(wave_.subFormat, wav::kSubFormatFloat, sizeof wave_.subFormat);
        }
        return true;
    }
    int bits = 0;
    if (packed == AV_SAMPLE_FMT_U8 || packed == AV_SAMPLE_FMT_S16)
        bits = 8 * static_cast<int>(inBytes_);
    else if (packed == AV_SAMPLE_FMT_S32)
        bits = rawBits > 16 && rawBits < 32 ? rawBits : 32;
    else if (packed == AV_SAMPLE_FMT_S64)
        bits = 32;
    else
        return false;
    wave_ = codec::PcmFormat(channels, rate, static_cast<uint16_t>(bits));
    outBytes_ = wave_.bitsPerSample / 8u;
    return true;
}

void SampleOutput::Append(const AVFrame& frame, std::vector<uint8_t>& out) const {
    const size_t channels = wave_.channels;
    const size_t samples = static_cast<size_t>(frame.nb_samples) * channels;
    const size_t at = out.size();
    out.resize(at + samples * outBytes_);
    uint8_t* target = out.data() + at;
    const bool planar = av_sample_fmt_is_planar(format_) != 0;
    if (!planar && inBytes_ == outBytes_) {
        std::memcpy(target, frame.extended_data[0], samples * outBytes_);
        return;
    }
    if (planar && inBytes_ == outBytes_ && outBytes_ == 4)
        return Interleave<uint32_t>(frame, channels, target);
    if (planar && inBytes_ == outBytes_ && outBytes_ == 2)
        return Interleave<uint16_t>(frame, channels, target);
    // Little-endian: the top bytes of a sample are its last ones.
    const unsigned skip = inBytes_ - outBytes_;
    for (size_t i = 0; i < samples; ++i) {
        const size_t f = i / channels, c = i % channels;
        const uint8_t* in =
            planar ? frame.extended_data[c] + f * inBytes_ : frame.extended_data[0] + i * inBytes_;
        std::memcpy(target + i * outBytes_, in + skip, outBytes_);
    }
}

} // namespace wm::ffmpeg
