#include "bundled/dsp/SampleCodec.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace wm::dsp {

namespace {

const uint8_t kSubFormatTail[14] = {0x00, 0x00, 0x00, 0x00, 0x10, 0x00, 0x80,
                                    0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};

// The format number an extensible record stands for: 1 PCM, 3 float, 0 anything else.
unsigned EffectiveTag(const WmWaveFormat& format) {
    if (format.formatTag != WM_FORMAT_EXTENSIBLE)
        return format.formatTag;
    if (format.cbSize < 22 || std::memcmp(format.subFormat + 2, kSubFormatTail, 14) != 0 ||
        format.subFormat[1] != 0)
        return 0;
    return format.subFormat[0];
}

bool KindOf(unsigned tag, unsigned bits, SampleKind& kind) {
    if (tag == WM_FORMAT_IEEE_FLOAT && (bits == 32 || bits == 64)) {
        kind = bits == 32 ? SampleKind::Float32 : SampleKind::Float64;
        return true;
    }
    if (tag != WM_FORMAT_PCM)
        return false;
    switch (bits) {
    case 8:
        kind = SampleKind::UInt8;
        return true;
    case 16:
        kind = SampleKind::Int16;
        return true;
    case 24:
        kind = SampleKind::Int24;
        return true;
    case 32:
        kind = SampleKind::Int32;
        return true;
    default:
        return false;
    }
}

int32_t ReadInt24(const uint8_t* p) {
    return int32_t(uint32_t(p[0]) << 8 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 24) >> 8;
}

// Rounds and saturates to a signed integer of `bits`, scaled so that 1.0 is full scale.
template <int Bits> int32_t Quantise(double value) {
    constexpr double scale = double(int64_t(1) << (Bits - 1));
    const double scaled = std::clamp(value * scale, -scale, scale - 1);
    return int32_t(std::lrint(scaled));
}

template <typename T> void Load(const void* source, size_t samples, double scale, double* target) {
    const uint8_t* p = static_cast<const uint8_t*>(source);
    for (size_t i = 0; i < samples; ++i, p += sizeof(T)) {
        T v;
        std::memcpy(&v, p, sizeof v);
        target[i] = double(v) * scale;
    }
}

// One loop per sample type, so that the conversion is not chosen again for every sample.
template <typename Convert>
void StoreAll(const double* source, size_t samples, uint8_t* target, Convert convert) {
    for (size_t i = 0; i < samples; ++i) {
        const auto value = convert(source[i]);
        std::memcpy(target + i * sizeof value, &value, sizeof value);
    }
}

} // namespace

unsigned PcmLayout::SampleBytes() const {
    switch (kind) {
    case SampleKind::UInt8:
        return 1;
    case SampleKind::Int16:
        return 2;
    case SampleKind::Int24:
        return 3;
    case SampleKind::Int32:
    case SampleKind::Float32:
        return 4;
    case SampleKind::Float64:
        return 8;
    }
    return 0;
}

unsigned PcmLayout::Precision() const {
    switch (kind) {
    case SampleKind::Float32:
        return 24;
    case SampleKind::Float64:
        return 53;
    default:
        return SampleBytes() * 8;
    }
}

double StepOf(SampleKind kind) {
    PcmLayout layout;
    layout.kind = kind;
    return layout.IsFloat() ? 0.0 : std::ldexp(1.0, 1 - int(layout.SampleBytes() * 8));
}

bool LayoutOf(const WmWaveFormat& format, PcmLayout& layout, std::u16string& error) {
    const unsigned tag = EffectiveTag(format);
    const bool extensible = format.formatTag == WM_FORMAT_EXTENSIBLE && format.cbSize >= 22;
    const unsigned valid = extensible ? format.validBitsPerSample : format.bitsPerSample;
    if (!KindOf(tag, format.bitsPerSample, layout.kind) || format.channels == 0 ||
        format.samplesPerSec == 0 || (valid != 0 && valid != format.bitsPerSample) ||
        format.blockAlign != format.channels * format.bitsPerSample / 8) {
        char text[160];
        std::snprintf(text, sizeof text,
                      "audio format %u with %u-bit samples (%u valid), %u channels and %u Hz is "
                      "not supported: PCM of 8, 16, 24 or 32 bits or float of 32 or 64 bits only",
                      tag, format.bitsPerSample, valid, format.channels,
                      unsigned(format.samplesPerSec));
        error.assign(text, text + std::strlen(text));
        return false;
    }
    layout.channels = format.channels;
    layout.rate = format.samplesPerSec;
    return true;
}

WmWaveFormat WithLayout(const WmWaveFormat& base, const PcmLayout& layout) {
    WmWaveFormat out = base;
    const uint16_t tag = layout.IsFloat() ? WM_FORMAT_IEEE_FLOAT : WM_FORMAT_PCM;
    const bool extensible = base.formatTag == WM_FORMAT_EXTENSIBLE && base.cbSize >= 22;
    out.bitsPerSample = uint16_t(layout.SampleBytes() * 8);
    out.channels = layout.channels;
    out.samplesPerSec = layout.rate;
    out.blockAlign = uint16_t(layout.FrameBytes());
    out.avgBytesPerSec = out.blockAlign * layout.rate;
    if (extensible) {
        out.validBitsPerSample = out.bitsPerSample;
        out.subFormat[0] = uint8_t(tag);
        out.subFormat[1] = 0;
        std::memcpy(out.subFormat + 2, kSubFormatTail, 14);
        if (layout.channels != base.channels)
            out.channelMask = 0;
    } else {
        out.formatTag = tag;
        out.cbSize = 0;
        out.validBitsPerSample = 0;
        out.channelMask = 0;
        std::memset(out.subFormat, 0, sizeof out.subFormat);
    }
    return out;
}

void ToDouble(const void* source, SampleKind kind, size_t samples, double* target) {
    switch (kind) {
    case SampleKind::UInt8: {
        const uint8_t* p = static_cast<const uint8_t*>(source);
        for (size_t i = 0; i < samples; ++i)
            target[i] = (double(p[i]) - 128.0) / 128.0;
        return;
    }
    case SampleKind::Int16:
        return Load<int16_t>(source, samples, 1.0 / 32768, target);
    case SampleKind::Int24: {
        const uint8_t* p = static_cast<const uint8_t*>(source);
        for (size_t i = 0; i < samples; ++i, p += 3)
            target[i] = double(ReadInt24(p)) / 8388608.0;
        return;
    }
    case SampleKind::Int32:
        return Load<int32_t>(source, samples, 1.0 / 2147483648.0, target);
    case SampleKind::Float32:
        return Load<float>(source, samples, 1.0, target);
    case SampleKind::Float64:
        return Load<double>(source, samples, 1.0, target);
    }
}

size_t CountClipped(const double* samples, size_t count, SampleKind kind) {
    const double step = StepOf(kind);
    if (step == 0)
        return 0;
    // Values that round beyond the largest or the smallest integer.
    const double top = 1 - step / 2, bottom = -1 - step / 2;
    size_t clipped = 0;
    for (size_t i = 0; i < count; ++i)
        clipped += samples[i] >= top || samples[i] < bottom;
    return clipped;
}

void FromDouble(const double* source, size_t samples, SampleKind kind, void* target) {
    uint8_t* p = static_cast<uint8_t*>(target);
    switch (kind) {
    case SampleKind::UInt8:
        return StoreAll(source, samples, p, [](double v) { return uint8_t(Quantise<8>(v) + 128); });
    case SampleKind::Int16:
        return StoreAll(source, samples, p, [](double v) { return int16_t(Quantise<16>(v)); });
    case SampleKind::Int24:
        for (size_t i = 0; i < samples; ++i, p += 3) {
            const int32_t s = Quantise<24>(source[i]);
            p[0] = uint8_t(s);
            p[1] = uint8_t(s >> 8);
            p[2] = uint8_t(s >> 16);
        }
        return;
    case SampleKind::Int32:
        return StoreAll(source, samples, p, Quantise<32>);
    case SampleKind::Float32:
        return StoreAll(source, samples, p, [](double v) { return float(v); });
    case SampleKind::Float64:
        std::memcpy(p, source, samples * sizeof(double));
        return;
    }
}

} // namespace wm::dsp
