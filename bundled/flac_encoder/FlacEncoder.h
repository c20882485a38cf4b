// One FLAC encoder instance: libFLAC's stream encoder writing the tags and pictures it is given
// up front, then the audio, then (seeking back) the final STREAMINFO with the MD5 and a seek
// table in a block kept for it ahead of the padding.
#pragma once

#include "bundled/codec/EncoderFrame.h"
#include "bundled/codec/PcmConvert.h"
#include "bundled/codec/SeekPoints.h"
#include "bundled/flac_encoder/FlacOptions.h"
#include "bundled/wav/WaveTags.h"
#include "bundled/win/BufferedWriter.h"

#include <FLAC/stream_encoder.h>
#include <sdk/wavemill_plugin.h>

#include <vector>

namespace wm::bundled {

class FlacEncoder final : public codec::EncoderFrame {
  public:
    FlacEncoder();
    ~FlacEncoder() override { Reset(); }

    uint32_t End() noexcept;

  private:
    bool Start(const ConversionInfo& conversion) override;
    bool Configure(const WmWaveFormat& format);
    bool SameFormat(const WmWaveFormat& format) const override;
    bool EncodeFrames(const uint8_t* data, size_t frames) override;
    bool AddMetadata(const ConversionInfo& conversion);
    // False only when memory runs out; a picture too large for a block is left out.
    bool AddPicture(const wav::Picture& picture);
    bool WriteSeekTable();
    String EncoderState() const;
    void Reset() override;

    static FLAC__StreamEncoderWriteStatus OnWrite(const FLAC__StreamEncoder*,
                                                  const FLAC__byte buffer[], size_t bytes,
                                                  uint32_t samples, uint32_t frame, void* self);
    static FLAC__StreamEncoderSeekStatus OnSeek(const FLAC__StreamEncoder*, FLAC__uint64 offset,
                                                void* self);
    static FLAC__StreamEncoderTellStatus OnTell(const FLAC__StreamEncoder*, FLAC__uint64* offset,
                                                void* self);

    FlacOptions options_;
    FLAC__StreamEncoder* encoder_ = nullptr;
    std::vector<FLAC__StreamMetadata*> metadata_;
    BufferedWriter out_;
    codec::PcmLayout layout_;
    std::vector<int32_t> samples_;
    codec::SeekPoints seekPoints_;
    uint32_t reserved_ = 0; // length of the padding block kept for the seek table and padding
    uint64_t firstFrameAt_ = 0;
    uint64_t metadataEnd_ = 0;
};

} // namespace wm::bundled
