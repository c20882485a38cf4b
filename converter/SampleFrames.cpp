#include "converter/SampleFrames.h"

#include "wave/WaveFormat.h"

#include <cstdint>
#include <cstring>

namespace wm {

namespace {

// A signed little-endian integer of `bytes` bytes, scaled so that full scale is 1.
double IntegerSample(const uint8_t* p, unsigned bytes) {
    uint32_t raw = 0;
    for (unsigned i = 0; i < bytes; ++i)
        raw |= static_cast<uint32_t>(p[i]) << (8 * (4 - bytes + i));
    return static_cast<int32_t>(raw) / 2147483648.0;
}

double FloatSample(const uint8_t* p, unsigned bytes) {
    if (bytes == 4) {
        float f;
        std::memcpy(&f, p, 4);
        return f;
    }
    double d;
    std::memcpy(&d, p, 8);
    return d;
}

} // namespace

bool ToDoubleSamples(const WmWaveFormat& format, const void* data, size_t bytes,
                     std::vector<double>& out) {
    out.clear();
    const WaveFormat f(format);
    const bool isFloat = f.EffectiveTag() == WaveFormat::kTagFloat;
    const unsigned width = f.BitsPerSample() / 8u;
    const unsigned channels = f.Channels();
    if (channels == 0 || f.BitsPerSample() % 8 != 0 || f.BlockAlign() != width * channels ||
        (isFloat ? width != 4 && width != 8
                 : f.EffectiveTag() != WaveFormat::kTagPcm || width == 0 || width > 4))
        return false;
    const size_t samples = bytes / f.BlockAlign() * channels;
    out.resize(samples);
    const auto* p = static_cast<const uint8_t*>(data);
    for (size_t i = 0; i < samples; ++i, p += width) {
        if (isFloat)
            out[i] = FloatSample(p, width);
        else if (width == 1)
            out[i] = (p[0] - 128) / 128.0; // 8-bit PCM is unsigned
        else
            out[i] = IntegerSample(p, width);
    }
    return true;
}

} // namespace wm
