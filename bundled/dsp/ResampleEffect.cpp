// Resample: any rate to any rate through libsoxr ("rate=48000"; "quality=quick|low|medium|high|
// veryhigh", very high by default). The stream keeps its sample format; the resampler is
// flushed on the block that ends the stream, so that no audio stays behind.
#include "bundled/dsp/DspSettings.h"
#include "bundled/dsp/LiveEffect.h"

#include <soxr.h>

#include <cstring>

namespace wm::dsp {

namespace {

class ResampleEffect final : public LiveEffect {
  public:
    ~ResampleEffect() override { Stop(); }
    const char16_t* Help() const override {
        return u"rate=<Hz>          the new sample rate\r\n"
               u"quality=<q>        quick, low, medium, high or veryhigh (default)";
    }

  protected:
    bool Configure(const char16_t* settings) override {
        static constexpr unsigned long recipes[] = {SOXR_QQ, SOXR_LQ, SOXR_MQ, SOXR_HQ, SOXR_VHQ};
        DspSettings parsed;
        std::u16string error;
        double rate = 0;
        size_t quality = 4;
        if (!parsed.Parse(settings, {u"rate", u"quality"}, error) ||
            !parsed.Number(u"rate", 1000, 768000, rate, error) ||
            (parsed.Has(u"quality") &&
             !parsed.Choice(u"quality", {u"quick", u"low", u"medium", u"high", u"veryhigh"},
                            quality, error)))
            return Fail(error);
        if (rate != double(uint32_t(rate)))
            return Fail(u"setting 'rate' must be a whole number of Hz");
        rate_ = uint32_t(rate);
        recipe_ = recipes[quality];
        return true;
    }

    bool Start(const PcmLayout& in, PcmLayout& out) override {
        Stop();
        out = in;
        out.rate = rate_;
        const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT64_I, SOXR_FLOAT64_I);
        const soxr_quality_spec_t quality = soxr_quality_spec(recipe_, 0);
        soxr_error_t error = nullptr;
        soxr_ = soxr_create(in.rate, rate_, in.channels, &error, &io, &quality, nullptr);
        return soxr_ ? true : Fail(u"the resampler cannot start: " + Widen(error ? error : "?"));
    }

    bool Process(const uint8_t* data, size_t frames, bool last,
                 std::vector<uint8_t>& out) override {
        const unsigned channels = InLayout().channels;
        samples_.resize(frames * channels);
        ToDouble(data, InLayout().kind, samples_.size(), samples_.data());
        resampled_.clear();
        // A null input would flush: an empty block in mid-stream passes nothing.
        if ((frames > 0 && !Resample(samples_.data(), frames)) || (last && !Resample(nullptr, 0)))
            return false;
        const size_t produced = resampled_.size() / channels;
        out.resize(produced * OutLayout().FrameBytes());
        FromDouble(resampled_.data(), resampled_.size(), OutLayout().kind, out.data());
        return true;
    }

    void Stop() override {
        if (soxr_)
            soxr_delete(soxr_);
        soxr_ = nullptr;
    }

  private:
    // Appends to resampled_ the output that `frames` more frames of input give now. A null
    // input flushes: libsoxr then ends the stream at exactly in x new rate / old rate frames.
    bool Resample(const double* in, size_t frames) {
        const unsigned channels = InLayout().channels;
        const double ratio = double(rate_) / InLayout().rate;
        size_t taken = 0;
        for (;;) {
            const size_t have = resampled_.size() / channels;
            const size_t room = size_t(double(frames - taken) * ratio) + 4096;
            resampled_.resize((have + room) * channels);
            size_t used = 0, made = 0;
            const soxr_error_t error =
                soxr_process(soxr_, in ? in + taken * channels : nullptr, frames - taken, &used,
                             resampled_.data() + have * channels, room, &made);
            if (error)
                return Fail(u"the resampler failed: " + Widen(error));
            taken += used;
            resampled_.resize((have + made) * channels);
            // Done when all input is in and the output had room to spare; a flush goes on
            // until nothing more comes.
            if (taken == frames && (in ? made < room : made == 0))
                return true;
        }
    }

    uint32_t rate_ = 0;
    unsigned long recipe_ = SOXR_VHQ;
    soxr_t soxr_ = nullptr;
    std::vector<double> samples_;
    std::vector<double> resampled_;
};

} // namespace

std::unique_ptr<DspEffect> MakeEffect() {
    return std::make_unique<ResampleEffect>();
}

} // namespace wm::dsp
