#include "bundled/wav/WaveFormatRules.h"

#include <cstring>

namespace wm::wav {

// {0000XXXX-0000-0010-8000-00AA00389B71} in its in-memory (mixed-endian) byte order.
const uint8_t kSubFormatPcm[16] = {0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00,
                                   0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};
const uint8_t kSubFormatFloat[16] = {0x03, 0x00, 0x00, 0x00, 0x00, 0x00, 0x10, 0x00,
                                     0x80, 0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};

namespace {

bool IsExtensible(const WmWaveFormat& f) {
    return f.formatTag == WM_FORMAT_EXTENSIBLE;
}

bool BitsSupported(SampleKind kind, uint16_t bits) {
    if (kind == SampleKind::Float)
        return bits == 32 || bits == 64;
    return bits == 8 || bits == 16 || bits == 24 || bits == 32;
}

} // namespace

namespace {

// The kind of samples the format tag (or the extensible sub-format) names.
WaveError SampleKindOf(const WmWaveFormat& f, SampleKind& kind) {
    if (IsExtensible(f)) {
        if (f.cbSize < 22)
            return kWaveExtensibleTooSmall;
        if (std::memcmp(f.subFormat, kSubFormatPcm, 16) == 0)
            kind = SampleKind::Pcm;
        else if (std::memcmp(f.subFormat, kSubFormatFloat, 16) == 0)
            kind = SampleKind::Float;
        else
            return kWaveUnsupportedSubFormat;
        return kWaveOk;
    }
    if (f.formatTag == WM_FORMAT_PCM)
        kind = SampleKind::Pcm;
    else if (f.formatTag == WM_FORMAT_IEEE_FLOAT)
        kind = SampleKind::Float;
    else
        return kWaveUnsupportedFormatTag;
    return kWaveOk;
}

// Channels, rate, sample size and frame size agree; the byte rate follows from them.
WaveError CheckFrames(WmWaveFormat& f, SampleKind kind) {
    if (f.channels == 0)
        return kWaveZeroChannels;
    if (f.samplesPerSec == 0)
        return kWaveZeroRate;
    if (!BitsSupported(kind, f.bitsPerSample))
        return kWaveUnsupportedBits;
    if (f.blockAlign != uint32_t{f.channels} * (f.bitsPerSample / 8u))
        return kWaveBlockAlignMismatch;
    const uint64_t perSecond = uint64_t{f.samplesPerSec} * f.blockAlign;
    if (perSecond > UINT32_MAX)
        return kWaveRateTooHigh;
    f.avgBytesPerSec = static_cast<uint32_t>(perSecond);
    return kWaveOk;
}

// The extensible part is complete, or cleared for the plain form.
WaveError SettleExtension(WmWaveFormat& f) {
    if (!IsExtensible(f)) {
        f.cbSize = 0;
        f.validBitsPerSample = 0;
        f.channelMask = 0;
        std::memset(f.subFormat, 0, sizeof f.subFormat);
        return kWaveOk;
    }
    f.cbSize = 22;
    if (f.validBitsPerSample == 0)
        f.validBitsPerSample = f.bitsPerSample;
    return f.validBitsPerSample > f.bitsPerSample ? kWaveValidBitsTooLarge : kWaveOk;
}

} // namespace

bool NormaliseWaveFormat(WmWaveFormat& f, WaveError& error) {
    SampleKind kind = SampleKind::Pcm;
    error = SampleKindOf(f, kind);
    if (error == kWaveOk)
        error = CheckFrames(f, kind);
    if (error == kWaveOk)
        error = SettleExtension(f);
    return error == kWaveOk;
}

SampleKind KindOf(const WmWaveFormat& f) {
    if (IsExtensible(f))
        return std::memcmp(f.subFormat, kSubFormatFloat, 16) == 0 ? SampleKind::Float
                                                                  : SampleKind::Pcm;
    return f.formatTag == WM_FORMAT_IEEE_FLOAT ? SampleKind::Float : SampleKind::Pcm;
}

bool SameSampleLayout(const WmWaveFormat& a, const WmWaveFormat& b) {
    return KindOf(a) == KindOf(b) && a.channels == b.channels &&
           a.samplesPerSec == b.samplesPerSec && a.bitsPerSample == b.bitsPerSample &&
           a.blockAlign == b.blockAlign;
}

uint32_t StandardChannelMask(uint16_t channels) {
    // Mono, stereo, 3.0, quad, 5.0, 5.1, 6.1, 7.1.
    static const uint32_t masks[] = {0x4, 0x3, 0x7, 0x33, 0x37, 0x3F, 0x13F, 0x63F};
    return channels >= 1 && channels <= 8 ? masks[channels - 1] : 0;
}

uint64_t BytesToMs(uint64_t bytes, uint32_t bytesPerSecond) {
    const uint64_t rate = bytesPerSecond ? bytesPerSecond : 1;
    return bytes / rate * 1000 + bytes % rate * 1000 / rate;
}

uint64_t MsToBytes(uint64_t ms, uint32_t bytesPerSecond, uint16_t blockAlign) {
    const uint64_t bytes = ms / 1000 * bytesPerSecond + ms % 1000 * bytesPerSecond / 1000;
    return blockAlign ? bytes - bytes % blockAlign : bytes;
}

WmWaveFormat MakeWaveFormat(SampleKind kind, uint16_t channels, uint32_t rate, uint16_t bits) {
    WmWaveFormat f{};
    f.formatTag = kind == SampleKind::Float ? WM_FORMAT_IEEE_FLOAT : WM_FORMAT_PCM;
    f.channels = channels;
    f.samplesPerSec = rate;
    f.bitsPerSample = bits;
    f.blockAlign = static_cast<uint16_t>(channels * (bits / 8u));
    f.avgBytesPerSec = rate * f.blockAlign;
    return f;
}

} // namespace wm::wav
