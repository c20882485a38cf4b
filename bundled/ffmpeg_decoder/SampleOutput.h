// Decoded frames as wave bytes. Integer sources stay integer (so the lossless codecs stay
// lossless): 8 and 16 bits as they are, 32-bit sample formats cut to the bits the stream really
// holds (a 20 or 24-bit ALAC, WavPack or APE stream gives 24-bit samples, 20 of them valid);
// float sources give 32-bit float (64-bit for double).
#pragma once

extern "C" {
#include <libavutil/frame.h>
#include <libavutil/samplefmt.h>
}

#include <sdk/wavemill_plugin.h>

#include <cstdint>
#include <vector>

namespace wm::ffmpeg {

class SampleOutput {
  public:
    // False for a sample format with no wave counterpart.
    bool Choose(AVSampleFormat format, int rawBits, uint16_t channels, uint32_t rate);
    const WmWaveFormat& Wave() const { return wave_; }
    // Appends the frame's samples, interleaved; the frame is in the chosen sample format.
    void Append(const AVFrame& frame, std::vector<uint8_t>& out) const;

  private:
    WmWaveFormat wave_{};
    AVSampleFormat format_ = AV_SAMPLE_FMT_NONE;
    unsigned inBytes_ = 0;  // a decoded sample
    unsigned outBytes_ = 0; // a written sample: the top bytes of the decoded one
};

} // namespace wm::ffmpeg
