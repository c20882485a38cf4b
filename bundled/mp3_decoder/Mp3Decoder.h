// One MP3 decoder instance: libmpg123 over the audio between the file's tags, gapless through
// the LAME info frame, 16-bit output; the ID3v2 (2.2 to 2.4) and ID3v1 tags around the audio as
// the source's tags.
#pragma once

#include "bundled/codec/DecoderFrame.h"
#include "bundled/codec/ReadProgress.h"
#include "bundled/wav/WaveTags.h"
#include "bundled/win/BufferedReader.h"

#include <mpg123.h>
#include <sdk/wavemill_plugin.h>

#include <vector>

namespace wm::bundled {

class Mp3Decoder final : public codec::DecoderFrame {
  public:
    Mp3Decoder();
    ~Mp3Decoder() override { Close(); }

    uint32_t Close() noexcept override;
    uint32_t DecodeBlock(AudioBlockInfo* block) noexcept override;
    uint32_t SetPosition(uint64_t ms) noexcept override;

  private:
    // "IDTags": writes a tag block into a finished file.
    uint32_t SetOwn(const WmChar* name, PluginValue* value) noexcept override;
    bool OpenStream(DecodeOpenInfo& info) override;
    // Finds the audio between the tags and reads the tags on the way.
    void ReadTags(wav::WaveTags& tags);
    bool StartDecoder();
    String DecoderError() const;
    // Bytes of PCM as a count of sample frames.
    String Samples(uint64_t bytes) const;
    // Damage where the decoder lost sync: false (failing) when the length is known.
    bool LostSync(uint64_t atByte);
    // Where in the audio the last frame the decoder read begins.
    uint64_t LastFrameAt() const;

    static mpg123_ssize_t OnRead(void* self, void* buffer, size_t bytes);
    static off_t OnSeek(void* self, off_t offset, int whence);

    uint64_t skipped_ = 0; // places of damage skipped, length unknown
    String firstSkipped_;
    BufferedReader file_;
    uint64_t audioStart_ = 0; // the audio lies in [audioStart_, audioEnd_)
    uint64_t audioEnd_ = 0;
    uint64_t readAt_ = 0; // relative to audioStart_
    mpg123_handle* handle_ = nullptr;
    WmWaveFormat format_{};
    std::vector<uint8_t> pcm_;
    uint64_t deliveredBytes_ = 0;
    uint64_t expectedBytes_ = 0; // from LAME's info frame; 0 when unknown
    bool finished_ = false;
    codec::ReadProgress progress_;
};

} // namespace wm::bundled
