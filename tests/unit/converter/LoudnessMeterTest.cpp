// The meter against libebur128's own integrated mode fed doubles: every sample layout, handed
// over in uneven pieces, gives the same loudness, peak and gating blocks.
#include "converter/LoudnessMeter.h"

#include "wave/WaveFormat.h"

#include <ebur128.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace wm {
namespace {

constexpr unsigned kRate = 44100;

// A tone over noise that swells and fades, on 8 bits so that every layout holds it exactly.
std::vector<int8_t> Signal(unsigned channels, size_t frames) {
    std::vector<int8_t> out(frames * channels);
    uint32_t noise = 12345;
    for (size_t i = 0; i < out.size(); ++i) {
        noise = noise * 1103515245u + 12345u;
        const double swell = 0.2 + 0.8 * std::fabs(std::sin(i * 3e-6));
        const double tone = std::sin(i * 0.05 + i % channels) * 60 + ((noise >> 16) % 61) - 30;
        out[i] = static_cast<int8_t>(std::lround(std::clamp(tone * swell, -128.0, 127.0)));
    }
    return out;
}

// The signal as fractions of full scale, in a float type.
template <typename T> std::vector<uint8_t> Fractions(const std::vector<int8_t>& s) {
    std::vector<T> f(s.begin(), s.end());
    for (T& v : f)
        v /= 128;
    std::vector<uint8_t> out(f.size() * sizeof(T));
    std::memcpy(out.data(), f.data(), out.size());
    return out;
}

// The signal's bytes in one layout, each sample the same fraction of full scale.
std::vector<uint8_t> Encode(const std::vector<int8_t>& s, unsigned bits, bool isFloat) {
    if (isFloat)
        return bits == 32 ? Fractions<float>(s) : Fractions<double>(s);
    std::vector<uint8_t> out;
    for (int8_t v : s) {
        out.insert(out.end(), bits / 8 - 1, 0); // little-endian: the low bytes first
        out.push_back(static_cast<uint8_t>(bits == 8 ? v ^ 0x80 : v)); // 8 bits are unsigned
    }
    return out;
}

struct Reference {
    double lufs;
    double peak;
};

Reference Measure(const std::vector<int8_t>& s, unsigned channels, unsigned rate) {
    std::vector<double> d(s.begin(), s.end());
    for (double& v : d)
        v /= 128;
    ebur128_state* st = ebur128_init(channels, rate, EBUR128_MODE_I | EBUR128_MODE_SAMPLE_PEAK);
    ebur128_add_frames_double(st, d.data(), d.size() / channels);
    Reference r{};
    ebur128_loudness_global(st, &r.lufs);
    for (unsigned c = 0; c < channels; ++c) {
        double p = 0;
        ebur128_sample_peak(st, c, &p);
        r.peak = std::max(r.peak, p);
    }
    ebur128_destroy(&st);
    return r;
}

void Feed(LoudnessMeter& meter, const WmWaveFormat& format, const std::vector<uint8_t>& bytes) {
    const size_t piece = 12347 * format.blockAlign; // no multiple of the 100 ms step
    for (size_t at = 0; at < bytes.size(); at += piece)
        EXPECT_TRUE(meter.Add(format, bytes.data() + at, std::min(piece, bytes.size() - at)));
}

LoudnessRecord Meter(const WmWaveFormat& format, const std::vector<uint8_t>& bytes) {
    LoudnessMeter meter(false);
    Feed(meter, format, bytes);
    LoudnessRecord out;
    EXPECT_TRUE(meter.Result(out)) << Narrow(meter.Fault());
    return out;
}

// 11025 Hz has half a frame in 100 ms: there the meter reads whole blocks, elsewhere steps.
TEST(LoudnessMeterTest, EveryLayoutMeasuresAsTheIntegratedModeDoes) {
    for (auto [channels, rate] : {std::pair{1u, 11025u}, {2u, kRate}, {6u, 48000u}}) {
        const size_t frames = rate * 7 + 777;
        const size_t step = (rate + 5) / 10;
        const auto signal = Signal(channels, frames);
        const Reference want = Measure(signal, channels, rate);
        ASSERT_TRUE(std::isfinite(want.lufs));
        for (auto [bits, isFloat] :
             {std::pair{8, false}, {16, false}, {24, false}, {32, false}, {32, true}, {64, true}}) {
            SCOPED_TRACE(testing::Message()
                         << channels << " channels, " << rate << " Hz, " << bits << " bits");
            const WmWaveFormat format =
                WaveFormat::Pcm(channels, rate, static_cast<uint16_t>(bits), isFloat).AsRecord();
            const LoudnessRecord got = Meter(format, Encode(signal, bits, isFloat));
            EXPECT_NEAR(got.lufs, want.lufs, 1e-9);
            EXPECT_EQ(got.peak, want.peak);
            EXPECT_EQ(got.blocks.size(), (frames - 4 * step) / step + 1);
        }
    }
}

TEST(LoudnessMeterTest, TooShortOrSilentHasAPeakButNoLoudness) {
    const WmWaveFormat format = WaveFormat::Pcm(2, kRate, 16, false).AsRecord();
    const auto shortSignal = Encode(Signal(2, kRate / 3), 16, false); // under one 400 ms block
    const LoudnessRecord brief = Meter(format, shortSignal);
    EXPECT_TRUE(std::isinf(brief.lufs) && brief.lufs < 0);
    EXPECT_GT(brief.peak, 0.1);
    EXPECT_TRUE(brief.blocks.empty());
    const LoudnessRecord silent =
        Meter(format, std::vector<uint8_t>(kRate * 4 * format.blockAlign, 0)); // 4 s
    EXPECT_TRUE(std::isinf(silent.lufs) && silent.lufs < 0);
    EXPECT_EQ(silent.peak, 0);
    EXPECT_EQ(silent.blocks.size(), 37u);
}

// The decoded output's peak is measured alone: it must be the peak the whole meter gives.
TEST(LoudnessMeterTest, PeakOnlyGivesTheWholeMetersPeak) {
    const WmWaveFormat format = WaveFormat::Pcm(6, 48000, 24, false).AsRecord();
    const auto bytes = Encode(Signal(6, 48000 * 3 + 101), 24, false);
    for (bool truePeak : {false, true}) {
        LoudnessMeter whole(truePeak), peakOnly(truePeak, MeterUse::PeakOnly);
        Feed(whole, format, bytes);
        Feed(peakOnly, format, bytes);
        LoudnessRecord record;
        double peak = 0;
        ASSERT_TRUE(whole.Result(record));
        ASSERT_TRUE(peakOnly.Peak(peak));
        EXPECT_GT(peak, 0.3);
        EXPECT_EQ(peak, record.peak) << (truePeak ? "true peak" : "sample peak");
    }
}

} // namespace
} // namespace wm
