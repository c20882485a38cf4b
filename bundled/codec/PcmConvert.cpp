#include "bundled/codec/PcmConvert.h"

#include "bundled/wav/WaveFormatRules.h"

#include <cstring>
#include <string>

namespace wm::codec {

bool PcmLayoutOf(const WmWaveFormat& format, PcmLayout& layout) {
    WmWaveFormat f = format;
    wav::WaveError error{};
    if (!wav::NormaliseWaveFormat(f, error) || wav::KindOf(f) != wav::SampleKind::Pcm)
        return false;
    layout.channels = f.channels;
    layout.containerBytes = static_cast<uint16_t>(f.bitsPerSample / 8);
    const bool extensible = f.formatTag == WM_FORMAT_EXTENSIBLE && f.validBitsPerSample != 0;
    layout.validBits = extensible ? f.validBitsPerSample : f.bitsPerSample;
    return layout.validBits != 0 && layout.validBits <= f.bitsPerSample;
}

void UnpackPcm(const uint8_t* source, size_t frames, const PcmLayout& layout, int32_t* samples) {
    const size_t count = frames * layout.channels;
    const unsigned shift = layout.containerBytes * 8u - layout.validBits;
    switch (layout.containerBytes) {
    case 1:
        for (size_t i = 0; i < count; ++i)
            samples[i] = (int32_t{source[i]} - 128) >> shift;
        break;
    case 2:
        for (size_t i = 0; i < count; ++i) {
            int16_t v;
            std::memcpy(&v, source + 2 * i, 2);
            samples[i] = int32_t{v} >> shift;
        }
        break;
    case 3:
        for (size_t i = 0; i < count; ++i) {
            const uint8_t* p = source + 3 * i;
            const uint32_t u = uint32_t{p[0]} << 8 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 24;
            samples[i] = static_cast<int32_t>(u) >> (8 + shift);
        }
        break;
    default:
        for (size_t i = 0; i < count; ++i) {
            int32_t v;
            std::memcpy(&v, source + 4 * i, 4);
            samples[i] = v >> shift;
        }
        break;
    }
}

namespace {

// The common case, 16-bit samples, without the per-byte loop.
void Pack16(const int32_t* const* channels, size_t frames, size_t count, uint8_t* target) {
    for (size_t f = 0; f < frames; ++f)
        for (size_t c = 0; c < count; ++c) {
            const auto v = static_cast<uint16_t>(channels[c][f]);
            *target++ = static_cast<uint8_t>(v);
            *target++ = static_cast<uint8_t>(v >> 8);
        }
}

} // namespace

void PackPlanar(const int32_t* const* channels, size_t frames, const PcmLayout& layout,
                uint8_t* target) {
    const unsigned shift = layout.containerBytes * 8u - layout.validBits;
    const size_t width = layout.containerBytes;
    if (width == 2 && shift == 0)
        return Pack16(channels, frames, layout.channels, target);
    for (size_t f = 0; f < frames; ++f) {
        for (size_t c = 0; c < layout.channels; ++c) {
            const uint32_t v = static_cast<uint32_t>(channels[c][f]) << shift;
            if (width == 1) {
                *target++ = static_cast<uint8_t>(v + 128);
                continue;
            }
            for (size_t b = 0; b < width; ++b)
                *target++ = static_cast<uint8_t>(v >> (8 * b));
        }
    }
}

WmWaveFormat PcmFormat(uint16_t channels, uint32_t rate, uint16_t bits) {
    const uint16_t container = static_cast<uint16_t>((bits + 7) / 8 * 8);
    WmWaveFormat f = wav::MakeWaveFormat(wav::SampleKind::Pcm, channels, rate, container);
    if (channels > 2 || container != bits || container > 16) {
        f.formatTag = WM_FORMAT_EXTENSIBLE;
        f.cbSize = 22;
        f.validBitsPerSample = bits;
        f.channelMask = wav::StandardChannelMask(channels);
        std::memcpy(f.subFormat, wav::kSubFormatPcm, sizeof f.subFormat);
    }
    return f;
}

} // namespace wm::codec
