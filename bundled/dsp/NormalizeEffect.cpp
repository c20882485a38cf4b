// Normalize: one gain for the whole rendered file, so that its peak reaches "peak=<dBFS>" or
// its integrated loudness (EBU R128, libebur128) reaches "lufs=<LUFS>" without its true peak
// passing "tp=<dBTP>" (default -1, so that integer outputs never clip; the loudness reached is
// told when the ceiling held it down). Two passes over the raw file: measure, then rewrite in
// place.
#include "bundled/dsp/DspEffect.h"
#include "bundled/dsp/DspSettings.h"
#include "bundled/dsp/RawPcmPasses.h"

#include <ebur128.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace wm::dsp {

namespace {

class Meter {
  public:
    ~Meter() {
        if (state_)
            ebur128_destroy(&state_);
    }
    bool Start(const PcmLayout& layout) {
        state_ =
            ebur128_init(layout.channels, layout.rate, EBUR128_MODE_I | EBUR128_MODE_TRUE_PEAK);
        channels_ = layout.channels;
        return state_ != nullptr;
    }
    bool Add(const double* frames, size_t count) {
        return ebur128_add_frames_double(state_, frames, count) == EBUR128_SUCCESS;
    }
    // -infinity for silence or audio too short to measure.
    double Loudness() const {
        double lufs = -HUGE_VAL;
        return ebur128_loudness_global(state_, &lufs) == EBUR128_SUCCESS ? lufs : -HUGE_VAL;
    }

    // The highest true peak of any channel, linear (full scale 1.0).
    double TruePeak() const {
        double highest = 0;
        for (unsigned c = 0; c < channels_; ++c) {
            double peak = 0;
            if (ebur128_true_peak(state_, c, &peak) == EBUR128_SUCCESS)
                highest = std::max(highest, peak);
        }
        return highest;
    }

  private:
    ebur128_state* state_ = nullptr;
    unsigned channels_ = 0;
};

std::u16string Decibels(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", value);
    return Widen(text);
}

class NormalizeEffect final : public DspEffect {
  public:
    bool IsLive() const override { return false; }
    bool ChangesLevel(const char16_t*) const override { return true; }
    const char16_t* Help() const override {
        return u"peak=<dBFS>        bring the sample peak to this level, or\r\n"
               u"lufs=<LUFS>        bring the integrated loudness (EBU R128) to this level\r\n"
               u"tp=<dBTP>          with lufs: true-peak ceiling (default -1)";
    }

    bool PassNonLive(const char16_t* path, const WmWaveFormat& format,
                     const char16_t* settings) override {
        PcmLayout layout;
        std::u16string error;
        if (!Configure(settings))
            return false;
        if (!LayoutOf(format, layout, error))
            return Fail(error);
        RawPcmPasses file(layout);
        if (!file.Open(path))
            return Fail(file.Error());
        ClearInformation();
        double level = 0, truePeak = 0;
        if (!Measure(file, layout, level, truePeak))
            return false;
        // Silence, or too little audio to measure, has no level to bring anywhere.
        if (!std::isfinite(level) || (!byLoudness_ && level <= 0))
            return true;
        const double factor =
            byLoudness_ ? LoudnessFactor(level, truePeak) : std::pow(10.0, target_ / 20) / level;
        return file.Rewrite([factor](double* piece, size_t n) {
            for (size_t i = 0; i < n; ++i)
                piece[i] *= factor;
        })
                   ? true
                   : Fail(file.Error());
    }

  private:
    bool Configure(const char16_t* settings) {
        DspSettings parsed;
        std::u16string error;
        if (!parsed.Parse(settings, {u"peak", u"lufs", u"tp"}, error))
            return Fail(error);
        if (parsed.Has(u"peak") == parsed.Has(u"lufs"))
            return Fail(u"give either peak=<dBFS> or lufs=<LUFS> (valid settings: peak, lufs "
                        u"and tp)");
        byLoudness_ = parsed.Has(u"lufs");
        if (parsed.Has(u"tp") && !byLoudness_)
            return Fail(u"setting 'tp' goes with lufs=<LUFS>; peak=<dBFS> is a ceiling itself");
        ceiling_ = -1;
        const bool ok =
            byLoudness_ ? parsed.Number(u"lufs", -70, 0, target_, error) &&
                              (!parsed.Has(u"tp") || parsed.Number(u"tp", -20, 0, ceiling_, error))
                        : parsed.Number(u"peak", -100, 0, target_, error);
        return ok ? true : Fail(error);
    }

    // The gain to the target loudness, held down so that the true peak stays at the ceiling;
    // when it had to be, the loudness reached is told.
    double LoudnessFactor(double loudness, double truePeak) {
        double gain = target_ - loudness;
        if (truePeak > 0 && 20 * std::log10(truePeak) + gain > ceiling_) {
            gain = ceiling_ - 20 * std::log10(truePeak);
            Inform(u"the true-peak ceiling of " + Decibels(ceiling_) +
                   u" dBTP held the loudness at " + Decibels(loudness + gain) +
                   u" LUFS instead of " + Decibels(target_) + u" LUFS (tp= sets the ceiling)");
        }
        return std::pow(10.0, gain / 20);
    }

    // The peak as a linear value, or the integrated loudness in LUFS with the true peak.
    bool Measure(RawPcmPasses& file, const PcmLayout& layout, double& level, double& truePeak) {
        Meter meter;
        if (byLoudness_ && !meter.Start(layout))
            return Fail(u"the loudness meter cannot start");
        double peak = 0;
        bool metered = true;
        const bool read = file.Read([&](const double* piece, size_t n) {
            if (byLoudness_) {
                metered = metered && meter.Add(piece, n / layout.channels);
                return;
            }
            for (size_t i = 0; i < n; ++i)
                peak = std::max(peak, std::fabs(piece[i]));
        });
        if (!read)
            return Fail(file.Error());
        if (!metered)
            return Fail(u"the loudness meter failed");
        level = byLoudness_ ? meter.Loudness() : peak;
        truePeak = byLoudness_ ? meter.TruePeak() : peak;
        return true;
    }

    bool byLoudness_ = false;
    double target_ = 0;
    double ceiling_ = -1; // dBTP
};

} // namespace

std::unique_ptr<DspEffect> MakeEffect() {
    return std::make_unique<NormalizeEffect>();
}

} // namespace wm::dsp
