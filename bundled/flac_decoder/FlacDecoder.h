// One FLAC decoder instance: libFLAC's stream decoder over the file, its frames handed out as
// blocks of about half a second, its Vorbis comments and pictures as the source's tags.
#pragma once

#include "bundled/codec/DecoderFrame.h"
#include "bundled/codec/PcmConvert.h"
#include "bundled/codec/ReadProgress.h"
#include "bundled/win/BufferedReader.h"

#include <FLAC/stream_decoder.h>
#include <sdk/wavemill_plugin.h>

#include <vector>

namespace wm::bundled {

class FlacDecoder final : public codec::DecoderFrame {
  public:
    FlacDecoder();
    ~FlacDecoder() override { Close(); }

    uint32_t Close() noexcept override;
    uint32_t DecodeBlock(AudioBlockInfo* block) noexcept override;
    uint32_t SetPosition(uint64_t ms) noexcept override;

  private:
    // "IDTags": writes a tag block into a finished file.
    uint32_t SetOwn(const WmChar* name, PluginValue* value) noexcept override;
    bool OpenStream(DecodeOpenInfo& info) override;
    bool FillBlock(size_t wanted);
    bool FinishStream();
    // Whether damage lies in a last frame that the end of the file cut off.
    bool CutOff() const;
    String EndsEarly() const;
    // The comments and pictures read, moved out.
    wav::WaveTags TakeTags();

    static FLAC__StreamDecoderReadStatus OnRead(const FLAC__StreamDecoder*, FLAC__byte buffer[],
                                                size_t* bytes, void* self);
    static FLAC__StreamDecoderSeekStatus OnSeek(const FLAC__StreamDecoder*, FLAC__uint64 offset,
                                                void* self);
    static FLAC__StreamDecoderTellStatus OnTell(const FLAC__StreamDecoder*, FLAC__uint64* offset,
                                                void* self);
    static FLAC__StreamDecoderLengthStatus OnLength(const FLAC__StreamDecoder*,
                                                    FLAC__uint64* length, void* self);
    static FLAC__bool OnEof(const FLAC__StreamDecoder*, void* self);
    static FLAC__StreamDecoderWriteStatus OnWrite(const FLAC__StreamDecoder*, const FLAC__Frame*,
                                                  const FLAC__int32* const buffer[], void* self);
    static void OnMetadata(const FLAC__StreamDecoder*, const FLAC__StreamMetadata*, void* self);
    static void OnError(const FLAC__StreamDecoder*, FLAC__StreamDecoderErrorStatus, void* self);

    BufferedReader file_;
    uint64_t fileSize_ = 0;
    uint64_t readAt_ = 0;
    FLAC__StreamDecoder* decoder_ = nullptr;
    bool haveInfo_ = false;
    FLAC__StreamMetadata_StreamInfo info_{};
    codec::PcmLayout layout_;
    WmWaveFormat format_{};
    std::vector<uint8_t> pcm_; // decoded bytes; the front `handed_` went out with the last block
    size_t handed_ = 0;
    uint64_t deliveredBytes_ = 0;
    uint64_t decodedFrames_ = 0;
    codec::ReadProgress progress_;
    bool sought_ = false;   // a seek happened: the MD5 and length checks no longer apply
    bool finished_ = false; // the end-of-stream block went out
    FLAC__StreamDecoderErrorStatus streamError_{};
    bool damaged_ = false;
    std::vector<std::string> comments_;
    struct PictureBlock {
        uint32_t type;
        std::string description;
        std::vector<uint8_t> data;
    };
    std::vector<PictureBlock> pictures_;
};

} // namespace wm::bundled
