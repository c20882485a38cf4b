// Volume: one gain in dB for the whole stream ("gain=-3.5"). Integer samples saturate at full
// scale instead of wrapping, and how many did is told at the end; float samples keep what lies
// beyond it.
#include "bundled/dsp/DspSettings.h"
#include "bundled/dsp/LiveEffect.h"

#include <cmath>

namespace wm::dsp {

namespace {

class VolumeEffect final : public LiveEffect {
  public:
    // Any gain but 0 dB (settings it cannot read fail later, with the reason).
    bool ChangesLevel(const char16_t* settings) const override {
        DspSettings parsed;
        std::u16string error;
        double gain = 0;
        return !parsed.Parse(settings, {u"gain"}, error) ||
               !parsed.Number(u"gain", -120, 60, gain, error) || gain != 0;
    }

    const char16_t* Help() const override {
        return u"gain=<dB>          gain in decibels, -120 to 60 (integer samples saturate)";
    }

  protected:
    bool Configure(const char16_t* settings) override {
        DspSettings parsed;
        std::u16string error;
        double gain = 0;
        if (!parsed.Parse(settings, {u"gain"}, error) ||
            !parsed.Number(u"gain", -120, 60, gain, error))
            return Fail(error);
        factor_ = std::pow(10.0, gain / 20);
        return true;
    }

    bool Start(const PcmLayout& in, PcmLayout& out) override {
        out = in;
        return true;
    }

    bool Process(const uint8_t* data, size_t frames, bool, std::vector<uint8_t>& out) override {
        const PcmLayout& layout = InLayout();
        out.resize(frames * layout.FrameBytes());
        const double factor = factor_;
        uint64_t& clipped = clipped_;
        TransformSamples(data, layout.kind, frames * layout.channels, out.data(), layout.kind,
                         [factor, &clipped, &layout](double* piece, size_t n) {
                             for (size_t i = 0; i < n; ++i)
                                 piece[i] *= factor;
                             clipped += CountClipped(piece, n, layout.kind);
                         });
        return true;
    }

    void Stop() override { InformClipped(clipped_, u"the gain"); }

  private:
    double factor_ = 1;
    uint64_t clipped_ = 0;
};

} // namespace

std::unique_ptr<DspEffect> MakeEffect() {
    return std::make_unique<VolumeEffect>();
}

} // namespace wm::dsp
