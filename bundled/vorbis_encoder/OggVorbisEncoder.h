// One Vorbis encoder instance: libvorbisenc's analysis, packets paged by libogg; the comment
// header carries the tags and pictures, and the last page's granule position the exact length.
#pragma once

#include "bundled/codec/ChannelOrder.h"
#include "bundled/codec/EncoderFrame.h"
#include "bundled/vorbis_encoder/VorbisOptions.h"
#include "bundled/win/BufferedWriter.h"

#include <sdk/wavemill_plugin.h>
#include <vorbis/vorbisenc.h>

#include <vector>

namespace wm::bundled {

class OggVorbisEncoder final : public codec::EncoderFrame {
  public:
    OggVorbisEncoder();
    ~OggVorbisEncoder() override { Reset(); }

    uint32_t End() noexcept;

  private:
    bool Start(const ConversionInfo& conversion) override;
    bool Setup();
    bool EncodeFrames(const uint8_t* data, size_t frames) override;
    bool WriteHeaders(const ConversionInfo& conversion);
    // Analyses what libvorbis holds and writes every page that is full (all of them at the end).
    bool Drain();
    bool WritePage(const ogg_page& page);
    void Reset() override;

    VorbisOptions options_;
    codec::FloatUnpacker unpacker_;
    std::vector<float> samples_;
    vorbis_info info_{};
    vorbis_comment comment_{};
    vorbis_dsp_state dsp_{};
    vorbis_block block_{};
    ogg_stream_state stream_{};
    int stage_ = 0; // how much of the above is initialised, for Reset
    BufferedWriter out_;
};

} // namespace wm::bundled
