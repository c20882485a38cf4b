// Normalize: one gain for the whole rendered file, so that its peak reaches "peak=<dBFS>" or
// its integrated loudness (EBU R128, libebur128) reaches "lufs=<LUFS>". Two passes over the raw
// file: measure, then rewrite in place. Integer samples saturate; float ones are not clipped.
#include "bundled/dsp/DspEffect.h"
#include "bundled/dsp/DspSettings.h"
#include "bundled/dsp/RawPcmPasses.h"

#include <ebur128.h>

#include <algorithm>
#include <cmath>

namespace wm::dsp {

namespace {

class Meter {
  public:
    ~Meter() {
        if (state_)
            ebur128_destroy(&state_);
    }
    bool Start(const PcmLayout& layout) {
        state_ = ebur128_init(layout.channels, layout.rate, EBUR128_MODE_I);
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

  private:
    ebur128_state* state_ = nullptr;
};

class NormalizeEffect final : public DspEffect {
  public:
    bool IsLive() const override { return false; }

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
        double level = 0;
        if (!Measure(file, layout, level))
            return false;
        // Silence, or too little audio to measure, has no level to bring anywhere.
        if (!std::isfinite(level) || (!byLoudness_ && level <= 0))
            return true;
        const double factor = byLoudness_ ? std::pow(10.0, (target_ - level) / 20)
                                          : std::pow(10.0, target_ / 20) / level;
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
        if (!parsed.Parse(settings, {u"peak", u"lufs"}, error))
            return Fail(error);
        if (parsed.Has(u"peak") == parsed.Has(u"lufs"))
            return Fail(u"give either peak=<dBFS> or lufs=<LUFS> (valid settings: peak and lufs)");
        byLoudness_ = parsed.Has(u"lufs");
        const bool ok = byLoudness_ ? parsed.Number(u"lufs", -70, 0, target_, error)
                                    : parsed.Number(u"peak", -100, 0, target_, error);
        return ok ? true : Fail(error);
    }

    // The peak as a linear value, or the integrated loudness in LUFS.
    bool Measure(RawPcmPasses& file, const PcmLayout& layout, double& level) {
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
        return true;
    }

    bool byLoudness_ = false;
    double target_ = 0;
};

} // namespace

std::unique_ptr<DspEffect> MakeEffect() {
    return std::make_unique<NormalizeEffect>();
}

} // namespace wm::dsp
