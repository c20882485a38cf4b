#include "tools/plugin-check/Samples.h"

#include "tags/IDTagSet.h"
#include "wave/WaveFormat.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>

namespace wm::check {

WmWaveFormat CheckFormat() {
    WmWaveFormat f{};
    f.formatTag = WM_FORMAT_PCM;
    f.channels = 2;
    f.samplesPerSec = 44100;
    f.bitsPerSample = 16;
    f.blockAlign = 4;
    f.avgBytesPerSec = 44100 * 4;
    return f;
}

std::vector<uint8_t> SineAudio(uint32_t ms) {
    return SineAudio(CheckFormat(), ms);
}

WmWaveFormat MakeFormat(uint16_t channels, uint32_t rate, uint16_t bits, bool isFloat) {
    WaveFormat format = WaveFormat::Pcm(channels, rate, bits, isFloat);
    if (channels > 2 || bits > 16)
        format.ToExtensible();
    return format.AsRecord();
}

bool IsFloat(const WmWaveFormat& f) {
    return WaveFormat(f).EffectiveTag() == WaveFormat::kTagFloat;
}

std::string Describe(const WmWaveFormat& f) {
    return std::to_string(f.bitsPerSample) + "-bit" + (IsFloat(f) ? " float " : " ") +
           std::to_string(f.channels) + "-channel " + std::to_string(f.samplesPerSec) + " Hz";
}

namespace {

// One sample of `bytes` bytes from v in -1..1: unsigned 8-bit, signed little-endian, or float.
void PutSample(uint8_t* at, uint32_t bytes, bool isFloat, double v) {
    if (isFloat && bytes == 8) {
        std::memcpy(at, &v, 8);
        return;
    }
    if (isFloat) {
        const auto f = static_cast<float>(v);
        std::memcpy(at, &f, 4);
        return;
    }
    const double scale = std::ldexp(1.0, static_cast<int>(bytes * 8 - 1)) - 1;
    auto n = static_cast<int64_t>(std::lround(v * scale));
    if (bytes == 1)
        n += 128;
    for (uint32_t b = 0; b < bytes; ++b)
        at[b] = static_cast<uint8_t>(static_cast<uint64_t>(n) >> (8 * b));
}

double GetSample(const uint8_t* at, uint32_t bytes, bool isFloat) {
    if (isFloat && bytes == 8) {
        double d = 0;
        std::memcpy(&d, at, 8);
        return d;
    }
    if (isFloat) {
        float f = 0;
        std::memcpy(&f, at, 4);
        return f;
    }
    uint64_t n = 0;
    for (uint32_t b = 0; b < bytes; ++b)
        n |= uint64_t{at[b]} << (8 * b);
    const int shift = static_cast<int>(64 - bytes * 8);
    int64_t value =
        bytes == 1 ? static_cast<int64_t>(n) - 128 : static_cast<int64_t>(n << shift) >> shift;
    return static_cast<double>(value) / std::ldexp(1.0, static_cast<int>(bytes * 8 - 1));
}

} // namespace

namespace {

constexpr double kSineHz = 441;
// The low-frequency channel of 5.1 and 7.1 layouts (the fourth) stays silent: lossy codecs cut
// it off at a frequency of their own, which would read as a difference in the audio.
constexpr uint32_t kLfeChannel = 3;

bool IsLfe(uint32_t channel, const WmWaveFormat& f) {
    return channel == kLfeChannel && f.channels >= 6;
}

} // namespace

std::vector<uint8_t> SineAudio(const WmWaveFormat& f, uint32_t ms) {
    const uint32_t bytes = f.bitsPerSample / 8;
    const uint64_t frames = uint64_t{f.samplesPerSec} * ms / 1000;
    std::vector<uint8_t> pcm(static_cast<size_t>(frames * f.blockAlign));
    for (uint64_t i = 0; i < frames; ++i) {
        const double v =
            0.36 * std::sin(static_cast<double>(i) * 2 * 3.14159265 * kSineHz / f.samplesPerSec);
        for (uint32_t c = 0; c < f.channels; ++c)
            PutSample(&pcm[static_cast<size_t>(i * f.blockAlign + c * bytes)], bytes, IsFloat(f),
                      IsLfe(c, f) ? 0 : v);
    }
    return pcm;
}

std::vector<double> SampleValues(const std::vector<uint8_t>& audio, const WmWaveFormat& f) {
    const uint32_t bytes = f.bitsPerSample / 8;
    const bool isFloat = IsFloat(f);
    const bool supported = isFloat ? bytes == 4 || bytes == 8 : bytes >= 1 && bytes <= 4;
    if (f.bitsPerSample % 8 || !supported)
        return {};
    std::vector<double> values(audio.size() / bytes);
    for (size_t i = 0; i < values.size(); ++i)
        values[i] = GetSample(&audio[i * bytes], bytes, isFloat);
    return values;
}

double SignalToDifferenceDb(const std::vector<double>& a, const std::vector<double>& b) {
    double signal = 0, difference = 0;
    for (size_t i = 0; i < a.size(); ++i) {
        signal += a[i] * a[i];
        difference += (a[i] - b[i]) * (a[i] - b[i]);
    }
    return difference == 0 ? INFINITY : 10 * std::log10(signal / difference);
}

std::string DecibelText(double db) {
    if (std::isfinite(db))
        return std::to_string(std::lround(db)) + " dB";
    return db > 0 ? "no difference" : "no signal left";
}

std::vector<uint32_t> BlockSizes(uint32_t total, uint32_t frame) {
    static const uint32_t kFrames[] = {4096, 1, 11025, 333, 22050, 7};
    std::vector<uint32_t> sizes;
    for (size_t i = 0; total > 0; ++i) {
        const uint32_t n = std::min(total, kFrames[i % std::size(kFrames)] * frame);
        sizes.push_back(n);
        total -= n;
    }
    return sizes;
}

const char16_t kCheckTitle[] = u"plugin-check title \u00e9\u4e2d";

std::vector<uint8_t> CheckTagBlock() {
    static const uint8_t kPicture[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0, 0, 0, 0};
    IDTagSet set;
    set.Add(u"title", kCheckTitle);
    set.Add(u"artist", u"plugin-check");
    set.AddData(u"_albumart_1_Front Album Cover", kPicture, sizeof kPicture);
    return set.Serialize();
}

} // namespace wm::check
