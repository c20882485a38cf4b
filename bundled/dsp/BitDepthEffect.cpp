// BitDepth: changes the sample format ("bits=16", "bits=24", "bits=32", "bits=float"). When the
// new format holds fewer significant bits, triangular (TPDF) dither of one step each way goes in
// before the rounding, so that the rounding error does not follow the signal; "dither=none"
// rounds plainly.
#include "bundled/dsp/DspSettings.h"
#include "bundled/dsp/LiveEffect.h"

namespace wm::dsp {

namespace {

// xorshift64*: fast, and plenty random for noise. A fixed seed keeps runs repeatable.
class NoiseSource {
  public:
    // Triangular noise in (-1, 1): the sum of two uniform values.
    double Next() {
        state_ ^= state_ >> 12;
        state_ ^= state_ << 25;
        state_ ^= state_ >> 27;
        const uint64_t r = state_ * 0x2545F4914F6CDD1DULL;
        const double a = double(uint32_t(r)), b = double(uint32_t(r >> 32));
        return (a + b) * (1.0 / 4294967296.0) - 1.0;
    }

  private:
    uint64_t state_ = 0x9E3779B97F4A7C15ULL;
};

class BitDepthEffect final : public LiveEffect {
  public:
    const char16_t* Help() const override {
        return u"bits=<b>           16, 24, 32 or float\r\n"
               u"dither=<d>         tpdf (default when reducing) or none";
    }

  protected:
    bool Configure(const char16_t* settings) override {
        static constexpr SampleKind kinds[] = {SampleKind::Int16, SampleKind::Int24,
                                               SampleKind::Int32, SampleKind::Float32};
        DspSettings parsed;
        std::u16string error;
        size_t bits = 0, dither = 0;
        if (!parsed.Parse(settings, {u"bits", u"dither"}, error) ||
            !parsed.Choice(u"bits", {u"16", u"24", u"32", u"float"}, bits, error) ||
            (parsed.Has(u"dither") && !parsed.Choice(u"dither", {u"tpdf", u"none"}, dither, error)))
            return Fail(error);
        target_ = kinds[bits];
        ditherWanted_ = dither == 0;
        return true;
    }

    bool Start(const PcmLayout& in, PcmLayout& out) override {
        out = in;
        out.kind = target_;
        step_ = ditherWanted_ && !out.IsFloat() && out.Precision() < in.Precision()
                    ? StepOf(target_)
                    : 0.0;
        return true;
    }

    bool Process(const uint8_t* data, size_t frames, bool, std::vector<uint8_t>& out) override {
        out.resize(frames * OutLayout().FrameBytes());
        const double step = step_;
        NoiseSource& noise = noise_;
        TransformSamples(data, InLayout().kind, frames * InLayout().channels, out.data(), target_,
                         [step, &noise](double* piece, size_t n) {
                             if (step == 0)
                                 return;
                             for (size_t i = 0; i < n; ++i)
                                 piece[i] += noise.Next() * step;
                         });
        return true;
    }

  private:
    SampleKind target_ = SampleKind::Int16;
    bool ditherWanted_ = true;
    double step_ = 0; // one step of the target format when dithering, else 0
    NoiseSource noise_;
};

} // namespace

std::unique_ptr<DspEffect> MakeEffect() {
    return std::make_unique<BitDepthEffect>();
}

} // namespace wm::dsp
