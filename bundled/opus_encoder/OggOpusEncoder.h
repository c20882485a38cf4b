// One Opus encoder instance: libopusenc writing the OpusTags (pictures included) first, then
// the audio, resampled to 48 kHz by the library; its pre-skip and final granule position give
// the source's exact length back.
#pragma once

#include "bundled/codec/ChannelOrder.h"
#include "bundled/codec/EncoderFrame.h"
#include "bundled/opus_encoder/OpusOptions.h"
#include "bundled/win/BufferedWriter.h"

#include <opusenc.h>
#include <sdk/wavemill_plugin.h>

#include <vector>

namespace wm::bundled {

class OggOpusEncoder final : public codec::EncoderFrame {
  public:
    OggOpusEncoder();
    ~OggOpusEncoder() override { Reset(); }

    uint32_t End() noexcept;

  private:
    bool Start(const ConversionInfo& conversion) override;
    bool MakeComments(const ConversionInfo& conversion);
    bool Configure(uint16_t lsbDepth);
    bool EncodeFrames(const uint8_t* data, size_t frames) override;
    int DefaultBitrate() const;
    bool Failed(int status);
    void Reset() override;

    static int OnWrite(void* self, const unsigned char* data, opus_int32 length);
    static int OnClose(void* self);

    OpusOptions options_;
    OggOpusComments* comments_ = nullptr;
    OggOpusEnc* encoder_ = nullptr;
    BufferedWriter out_;
    codec::FloatUnpacker unpacker_;
    std::vector<float> samples_;
};

} // namespace wm::bundled
