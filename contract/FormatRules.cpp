#include "contract/FormatRules.h"

#include "wave/WaveFormat.h"

#include <algorithm>
#include <cstring>

namespace wm {

uint32_t FrameBytes(const WmWaveFormat& f) {
    return std::max<uint32_t>(f.blockAlign, 1);
}

bool IsWholeFrames(uint64_t bytes, const WmWaveFormat& f) {
    return bytes % FrameBytes(f) == 0;
}

uint64_t BytesToMs(uint64_t bytes, const WmWaveFormat& f) {
    return WaveFormat(f).BytesToMs(bytes);
}

uint64_t FrameBytesPerSecond(const WmWaveFormat& f) {
    return std::max<uint64_t>(uint64_t{f.samplesPerSec} * f.blockAlign, 1);
}

bool SameFormat(const WmWaveFormat& a, const WmWaveFormat& b) {
    const size_t meaningful = a.formatTag == WM_FORMAT_EXTENSIBLE ? sizeof a : 16;
    return std::memcmp(&a, &b, meaningful) == 0;
}

namespace {

uint32_t BytesPerSample(const WmWaveFormat& f) {
    return (f.bitsPerSample + 7u) / 8u;
}

struct FormatFaultEntry {
    FormatFault fault;
    const char* name;
};

constexpr FormatFaultEntry kFormatFaults[] = {
    {FormatFault::None, "sound"},           {FormatFault::UnknownTag, "format-tag"},
    {FormatFault::ZeroField, "zero-field"}, {FormatFault::BlockAlign, "block-align"},
    {FormatFault::ByteRate, "byte-rate"},   {FormatFault::Extensible, "extensible"},
};

} // namespace

FormatFault FindFormatFault(const WmWaveFormat& f) {
    const bool extensible = f.formatTag == WM_FORMAT_EXTENSIBLE;
    if (f.formatTag != WM_FORMAT_PCM && f.formatTag != WM_FORMAT_IEEE_FLOAT && !extensible)
        return FormatFault::UnknownTag;
    if (f.channels == 0 || f.samplesPerSec == 0 || f.bitsPerSample == 0)
        return FormatFault::ZeroField;
    if (f.blockAlign != f.channels * BytesPerSample(f))
        return FormatFault::BlockAlign;
    if (f.avgBytesPerSec != uint64_t{f.samplesPerSec} * f.blockAlign)
        return FormatFault::ByteRate;
    if (extensible && (f.cbSize != 22 || f.validBitsPerSample > f.bitsPerSample))
        return FormatFault::Extensible;
    return FormatFault::None;
}

const char* FormatFaultName(FormatFault fault) {
    for (const FormatFaultEntry& entry : kFormatFaults)
        if (entry.fault == fault)
            return entry.name;
    return "unknown";
}

std::string FormatProblem(const WmWaveFormat& f) {
    switch (FindFormatFault(f)) {
    case FormatFault::None:
        return {};
    case FormatFault::UnknownTag:
        return "formatTag " + std::to_string(f.formatTag) +
               " is not PCM (1), float (3) or extensible (0xFFFE)";
    case FormatFault::ZeroField:
        return "channels, samplesPerSec and bitsPerSample must not be 0";
    case FormatFault::BlockAlign:
        return "blockAlign " + std::to_string(f.blockAlign) +
               " is not channels x bytes per sample (" + std::to_string(f.channels) + " x " +
               std::to_string(BytesPerSample(f)) + ")";
    case FormatFault::ByteRate:
        return "avgBytesPerSec " + std::to_string(f.avgBytesPerSec) +
               " is not samplesPerSec x blockAlign (the host turns bytes into time with it)";
    case FormatFault::Extensible:
        return "an extensible format needs cbSize 22 and validBitsPerSample <= bitsPerSample";
    }
    return {};
}

} // namespace wm
