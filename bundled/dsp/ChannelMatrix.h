// The gains that take each channel of one speaker layout to the channels of another, for the
// Channels effect. Layouts are the WAVEFORMATEXTENSIBLE channel masks; a stream without one
// has the usual layout for its channel count.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace wm::dsp {

// The layout Windows assumes for `channels` channels without a mask (1 to 8); 0 beyond.
uint32_t DefaultChannelMask(unsigned channels);

class ChannelMatrix {
  public:
    // `mask` 0 (or one that does not name `inChannels` speakers) means the default layout.
    // False, with `error`, when the input's speakers cannot be known.
    bool Build(unsigned inChannels, uint32_t mask, unsigned outChannels, std::u16string& error);
    // `frames` frames of the input layout to the output layout.
    void Mix(const double* in, size_t frames, double* out) const;
    double Gain(unsigned in, unsigned out) const { return gains_[out * inChannels_ + in]; }

  private:
    unsigned inChannels_ = 0;
    unsigned outChannels_ = 0;
    std::vector<double> gains_; // [out][in]
};

} // namespace wm::dsp
