// What every live effect shares: the settings are read at the start of a conversion, each
// block's format is checked against the first, and the processed block is handed back in
// memory the effect owns, with the record's format, length and times brought up to date.
#pragma once

#include "bundled/dsp/DspEffect.h"
#include "bundled/dsp/SampleCodec.h"

#include <cstdint>
#include <vector>

namespace wm::dsp {

class LiveEffect : public DspEffect {
  public:
    bool IsLive() const final { return true; }
    bool Begin(const char16_t* settings) final;
    bool Pass(AudioBlockInfo& block) final;
    bool End() final;

  protected:
    // Reads the settings; false (with Fail) rejects them.
    virtual bool Configure(const char16_t* settings) = 0;
    // Called with the first block's layout; sets the layout of the blocks handed back.
    virtual bool Start(const PcmLayout& in, PcmLayout& out) = 0;
    // Turns `frames` whole input frames into `out` (resized to whole output frames); `last`
    // is set on the final block of the stream.
    virtual bool Process(const uint8_t* data, size_t frames, bool last,
                         std::vector<uint8_t>& out) = 0;
    // End of the conversion, also one that stopped early.
    virtual void Stop() {}

    const PcmLayout& InLayout() const { return in_; }
    // The format of the first block, as the decoder or the previous effect gave it.
    const WmWaveFormat& InFormat() const { return firstFormat_; }
    const PcmLayout& OutLayout() const { return out_; }

  private:
    bool StartOnFirstBlock(const WmWaveFormat& format);
    void HandBack(AudioBlockInfo& block);

    bool begun_ = false;
    bool started_ = false;
    PcmLayout in_;
    PcmLayout out_;
    WmWaveFormat firstFormat_{};
    WmWaveFormat outFormat_{};
    uint64_t framesOut_ = 0;
    std::vector<uint8_t> output_;
};

} // namespace wm::dsp
