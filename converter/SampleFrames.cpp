#include "converter/SampleFrames.h"

#include "wave/WaveFormat.h"

#include <algorithm>

namespace wm {

namespace {

// 8-bit PCM is unsigned; 24-bit is signed little-endian. Either lands in the top bits of a
// 32-bit integer, so that its fraction of full scale is unchanged.
void Widen(const uint8_t* p, unsigned width, size_t samples, std::vector<int32_t>& out) {
    out.resize(samples);
    for (size_t i = 0; i < samples; ++i, p += width) {
        const uint32_t raw = width == 1 ? static_cast<uint32_t>(p[0] ^ 0x80u) << 24
                                        : static_cast<uint32_t>(p[0]) << 8 |
                                              static_cast<uint32_t>(p[1]) << 16 |
                                              static_cast<uint32_t>(p[2]) << 24;
        out[i] = static_cast<int32_t>(raw);
    }
}

// The lowest and highest values in the samples' own type (a loop the compiler vectorises).
template <typename Sample> double LargestMagnitude(const void* data, size_t count) {
    const auto* samples = static_cast<const Sample*>(data);
    Sample low = 0, high = 0;
    for (size_t i = 0; i < count; ++i) {
        low = std::min(low, samples[i]);
        high = std::max(high, samples[i]);
    }
    return std::max(-static_cast<double>(low), static_cast<double>(high));
}

} // namespace

bool ToMeterSamples(const WmWaveFormat& format, const void* data, size_t bytes,
                    std::vector<int32_t>& widened, MeterSamples& out) {
    const WaveFormat f(format);
    const bool isFloat = f.EffectiveTag() == WaveFormat::kTagFloat;
    const unsigned width = f.BitsPerSample() / 8u;
    const unsigned channels = f.Channels();
    if (channels == 0 || f.BitsPerSample() % 8 != 0 || f.BlockAlign() != width * channels ||
        (isFloat ? width != 4 && width != 8
                 : f.EffectiveTag() != WaveFormat::kTagPcm || width == 0 || width > 4))
        return false;
    out.frames = bytes / f.BlockAlign();
    out.data = data;
    if (isFloat) {
        out.kind = width == 4 ? SampleKind::Float32 : SampleKind::Float64;
    } else if (width == 2 || width == 4) {
        out.kind = width == 2 ? SampleKind::Int16 : SampleKind::Int32;
    } else {
        Widen(static_cast<const uint8_t*>(data), width, out.frames * channels, widened);
        out.kind = SampleKind::Int32;
        out.data = widened.data();
    }
    return true;
}

double SamplePeak(const MeterSamples& samples, unsigned channels) {
    const size_t count = samples.frames * channels;
    switch (samples.kind) {
    case SampleKind::Int16:
        return LargestMagnitude<int16_t>(samples.data, count) / 32768.0;
    case SampleKind::Int32:
        return LargestMagnitude<int32_t>(samples.data, count) / 2147483648.0;
    case SampleKind::Float32:
        return LargestMagnitude<float>(samples.data, count);
    case SampleKind::Float64:
        return LargestMagnitude<double>(samples.data, count);
    }
    return 0;
}

} // namespace wm
