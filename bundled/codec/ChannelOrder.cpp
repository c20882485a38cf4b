#include "bundled/codec/ChannelOrder.h"

#include "bundled/codec/PcmConvert.h"
#include "bundled/wav/WaveError.h"
#include "bundled/wav/WaveFormatRules.h"

#include <cstring>

namespace wm::codec {

namespace {

// For 3 to 8 channels: 3.0, quad, 5.0, 5.1, 6.1 and 7.1 as the standard speaker masks lay them
// out (side and back pairs taken for each other where the masks differ).
const uint8_t kSources[6][8] = {
    {0, 2, 1},          {0, 1, 2, 3},          {0, 2, 1, 3, 4},
    {0, 2, 1, 4, 5, 3}, {0, 2, 1, 4, 5, 6, 3}, {0, 2, 1, 6, 7, 4, 5, 3},
};

} // namespace

const uint8_t* VorbisChannelSources(uint16_t channels) {
    return channels >= 3 && channels <= 8 && channels != 4 ? kSources[channels - 3] : nullptr;
}

void VorbisToWaveOrder(int16_t* samples, size_t frames, uint16_t channels) {
    const uint8_t* sources = VorbisChannelSources(channels);
    if (!sources)
        return;
    int16_t frame[8];
    for (size_t f = 0; f < frames; ++f, samples += channels) {
        for (uint16_t v = 0; v < channels; ++v)
            frame[sources[v]] = samples[v];
        std::memcpy(samples, frame, channels * sizeof(int16_t));
    }
}

bool FloatUnpacker::Start(const WmWaveFormat& format) {
    WmWaveFormat f = format;
    wav::WaveError why{};
    if (!wav::NormaliseWaveFormat(f, why))
        return false;
    channels_ = f.channels;
    blockAlign_ = f.blockAlign;
    if (wav::KindOf(f) == wav::SampleKind::Float) {
        floatBytes_ = static_cast<uint16_t>(f.bitsPerSample / 8);
        return true;
    }
    if (!PcmLayoutOf(f, layout_))
        return false;
    floatBytes_ = 0;
    scale_ = 1.0f / static_cast<float>(1ull << (layout_.validBits - 1));
    return true;
}

void FloatUnpacker::Unpack(const uint8_t* source, size_t frames, float* target) {
    const size_t count = frames * channels_;
    if (floatBytes_ == 4) {
        std::memcpy(target, source, count * 4);
    } else if (floatBytes_ == 8) {
        for (size_t i = 0; i < count; ++i) {
            double d;
            std::memcpy(&d, source + 8 * i, 8);
            target[i] = static_cast<float>(d);
        }
    } else {
        integers_.resize(count);
        UnpackPcm(source, frames, layout_, integers_.data());
        for (size_t i = 0; i < count; ++i)
            target[i] = static_cast<float>(integers_[i]) * scale_;
    }
    const uint8_t* sources = VorbisChannelSources(channels_);
    if (!sources)
        return;
    float frame[8];
    for (size_t f = 0; f < frames; ++f, target += channels_) {
        for (uint16_t v = 0; v < channels_; ++v)
            frame[v] = target[sources[v]];
        std::memcpy(target, frame, channels_ * sizeof(float));
    }
}

bool StartOggSource(WmWaveFormat& format, FloatUnpacker& unpacker, StringView codec, String& why) {
    wav::WaveError invalid{};
    if (!wav::NormaliseWaveFormat(format, invalid) || !unpacker.Start(format))
        why = u"the source format is not PCM: " + String(wav::WaveErrorString[invalid]);
    else if (format.channels > 255)
        why = String(codec) + u" holds up to 255 channels";
    return why.empty();
}

} // namespace wm::codec
