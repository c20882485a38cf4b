#include "bundled/dsp/ChannelMatrix.h"

#include <bit>
#include <iterator>
#include <utility>

namespace wm::dsp {

namespace {

// The speaker bits of a channel mask, in the order channels are stored.
enum Speaker : uint32_t {
    kFrontLeft = 0x1,
    kFrontRight = 0x2,
    kFrontCenter = 0x4,
    kLowFrequency = 0x8,
    kBackLeft = 0x10,
    kBackRight = 0x20,
    kBackCenter = 0x100,
    kSideLeft = 0x200,
    kSideRight = 0x400,
};

constexpr double kMinus3dB = 0.70710678118654752;

std::vector<uint32_t> SpeakersOf(uint32_t mask) {
    std::vector<uint32_t> speakers;
    for (uint32_t bit = 1; bit != 0; bit <<= 1)
        if (mask & bit)
            speakers.push_back(bit);
    return speakers;
}

// Where one input speaker goes in the output mask: itself, else its neighbour on the same side,
// else folded into the front pair at -3 dB (the LFE is dropped).
std::vector<std::pair<uint32_t, double>> Destinations(uint32_t speaker, uint32_t out, bool monoIn) {
    if (speaker & out)
        return {{speaker, 1.0}};
    const auto pair = [&](uint32_t a, uint32_t b, double gain) {
        return (out & a) && (out & b)
                   ? std::vector<std::pair<uint32_t, double>>{{a, gain}, {b, gain}}
                   : std::vector<std::pair<uint32_t, double>>{};
    };
    switch (speaker) {
    case kFrontCenter:
        return pair(kFrontLeft, kFrontRight, monoIn ? 1.0 : kMinus3dB);
    case kBackLeft:
        return out & kSideLeft ? std::vector<std::pair<uint32_t, double>>{{kSideLeft, 1.0}}
                               : std::vector<std::pair<uint32_t, double>>{{kFrontLeft, kMinus3dB}};
    case kSideLeft:
        return out & kBackLeft ? std::vector<std::pair<uint32_t, double>>{{kBackLeft, 1.0}}
                               : std::vector<std::pair<uint32_t, double>>{{kFrontLeft, kMinus3dB}};
    case kBackRight:
        return out & kSideRight
                   ? std::vector<std::pair<uint32_t, double>>{{kSideRight, 1.0}}
                   : std::vector<std::pair<uint32_t, double>>{{kFrontRight, kMinus3dB}};
    case kSideRight:
        return out & kBackRight
                   ? std::vector<std::pair<uint32_t, double>>{{kBackRight, 1.0}}
                   : std::vector<std::pair<uint32_t, double>>{{kFrontRight, kMinus3dB}};
    case kBackCenter: {
        auto back = pair(kBackLeft, kBackRight, kMinus3dB);
        if (back.empty())
            back = pair(kSideLeft, kSideRight, kMinus3dB);
        return back.empty() ? pair(kFrontLeft, kFrontRight, kMinus3dB) : back;
    }
    default:
        return {};
    }
}

} // namespace

uint32_t DefaultChannelMask(unsigned channels) {
    static constexpr uint32_t kMasks[] = {0, 0x4, 0x3, 0x7, 0x33, 0x37, 0x3F, 0x70F, 0x63F};
    return channels < std::size(kMasks) ? kMasks[channels] : 0;
}

bool ChannelMatrix::Build(unsigned inChannels, uint32_t mask, unsigned outChannels,
                          std::u16string& error) {
    if (unsigned(std::popcount(mask)) != inChannels)
        mask = DefaultChannelMask(inChannels);
    if (mask == 0) {
        error = u"the speakers of a stream of this many channels are not known";
        return false;
    }
    // A mono result is the mean of the stereo one.
    const bool mono = outChannels == 1;
    const uint32_t out = mono ? DefaultChannelMask(2) : DefaultChannelMask(outChannels);
    const std::vector<uint32_t> outSpeakers = SpeakersOf(out);
    const std::vector<uint32_t> inSpeakers = SpeakersOf(mask);
    inChannels_ = inChannels;
    outChannels_ = outChannels;
    gains_.assign(size_t{inChannels} * outChannels, 0.0);
    for (unsigned i = 0; i < inChannels; ++i)
        for (const auto& [speaker, gain] : Destinations(inSpeakers[i], out, inChannels == 1))
            for (unsigned o = 0; o < outSpeakers.size(); ++o)
                if (outSpeakers[o] == speaker)
                    gains_[(mono ? 0 : o) * inChannels + i] += mono ? gain / 2 : gain;
    return true;
}

void ChannelMatrix::Mix(const double* in, size_t frames, double* out) const {
    for (size_t f = 0; f < frames; ++f, in += inChannels_, out += outChannels_)
        for (unsigned o = 0; o < outChannels_; ++o) {
            double sum = 0;
            for (unsigned i = 0; i < inChannels_; ++i)
                sum += gains_[o * inChannels_ + i] * in[i];
            out[o] = sum;
        }
}

} // namespace wm::dsp
