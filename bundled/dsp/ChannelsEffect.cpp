// Channels: mixes the stream to another channel count ("channels=2"). Down-mixes fold the
// centre and the surrounds into the front pair at -3 dB (ITU-R BS.775) and drop the LFE; a
// mono result is the mean of that front pair. Up-mixes put each channel where the new layout
// has it and leave the rest silent; mono goes to both fronts of a stereo pair. Integer samples
// saturate, and how many did is told at the end.
#include "bundled/dsp/ChannelMatrix.h"
#include "bundled/dsp/DspSettings.h"
#include "bundled/dsp/LiveEffect.h"

#include <cmath>
#include <string>

namespace wm::dsp {

namespace {

class ChannelsEffect final : public LiveEffect {
  public:
    // A mix sums or drops channels: the loudness the old values describe is gone.
    bool ChangesLevel(const char16_t*) const override { return true; }
    const char16_t* Help() const override {
        return u"channels=<1..8>    mix to this many channels (ITU-R BS.775 down-mix)";
    }

  protected:
    bool Configure(const char16_t* settings) override {
        DspSettings parsed;
        std::u16string error;
        double channels = 0;
        if (!parsed.Parse(settings, {u"channels"}, error) ||
            !parsed.Number(u"channels", 1, 8, channels, error) || channels != std::floor(channels))
            return Fail(error.empty() ? u"setting 'channels' must be a whole number" : error);
        wanted_ = uint16_t(channels);
        clipped_ = 0;
        return true;
    }

    bool Start(const PcmLayout& in, PcmLayout& out) override {
        std::u16string error;
        const WmWaveFormat& f = InFormat();
        const uint32_t mask =
            f.formatTag == WM_FORMAT_EXTENSIBLE && f.cbSize >= 22 ? f.channelMask : 0;
        if (!matrix_.Build(in.channels, mask, wanted_, error))
            return Fail(error);
        out = in;
        out.channels = wanted_;
        return true;
    }

    bool Process(const uint8_t* data, size_t frames, bool, std::vector<uint8_t>& out) override {
        const PcmLayout& in = InLayout();
        const PcmLayout& to = OutLayout();
        out.resize(frames * to.FrameBytes());
        mixed_.resize(frames * to.channels);
        ForEachPiece(data, in.kind, frames * in.channels, in.channels,
                     [&](const double* piece, size_t n, size_t done) {
                         matrix_.Mix(piece, n / in.channels,
                                     &mixed_[done / in.channels * to.channels]);
                     });
        clipped_ += CountClipped(mixed_.data(), mixed_.size(), to.kind);
        FromDouble(mixed_.data(), mixed_.size(), to.kind, out.data());
        return true;
    }

    void Stop() override { InformClipped(clipped_, u"the mix"); }

  private:
    uint16_t wanted_ = 2;
    ChannelMatrix matrix_;
    std::vector<double> mixed_;
    uint64_t clipped_ = 0;
};

} // namespace

std::unique_ptr<DspEffect> MakeEffect() {
    return std::make_unique<ChannelsEffect>();
}

} // namespace wm::dsp
