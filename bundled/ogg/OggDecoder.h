// The frame of the Ogg decoders: open (the file's pages looked at first, then the codec
// library), the tags and pictures of the comment header, blocks of 16-bit PCM in the wave
// channel order, exact length and seeking. A codec supplies the library calls. FLAC in Ogg goes
// to the FFmpeg decoder plug-in whole.
#pragma once

#include "bundled/codec/DecoderFrame.h"
#include "bundled/codec/OggComments.h"
#include "bundled/ogg/OggInput.h"
#include "bundled/win/FfmpegDelegate.h"

#include <sdk/wavemill_plugin.h>

#include <string_view>
#include <vector>

namespace wm::bundled {

class OggDecoder : public codec::DecoderFrame {
  public:
    OggDecoder(codec::OggCodec codec, std::span<const codec::DecodedType> types)
        : DecoderFrame(types), codec_(codec) {}

    uint32_t Close() noexcept override;
    uint32_t DecodeBlock(AudioBlockInfo* block) noexcept override;
    uint32_t SetPosition(uint64_t ms) noexcept override;

  protected:
    struct Stream {
        uint16_t channels = 0;
        uint32_t rate = 0;
        uint64_t samples = 0; // per channel, the whole stream
        uint32_t bitRate = 0;
        std::vector<std::string_view> comments; // valid until Stop
    };
    // Opens the library on input_; false with the reason (`why`) when it refuses the stream.
    virtual bool Start(Stream& stream, String& why) = 0;
    // Up to `frames` frames into `samples` (interleaved, the codec's channel order): the count,
    // 0 at the end, or -1 with the reason.
    virtual long Read(int16_t* samples, size_t frames, String& why) = 0;
    virtual bool Seek(uint64_t sample) = 0;
    virtual void Stop() = 0;

    OggInput input_;

  private:
    // "IDTags": writes a tag block into a finished file.
    uint32_t SetOwn(const WmChar* name, PluginValue* value) noexcept override;
    bool OpenStream(DecodeOpenInfo& info) override;
    bool OpenElsewhere(DecodeOpenInfo& info, const std::vector<String>& kinds);
    bool ReadTags(wav::WaveTags& tags);
    bool Fill();
    String At() const;

    const codec::OggCodec codec_;
    bool open_ = false;
    Stream stream_;
    WmWaveFormat format_{};
    std::vector<int16_t> pcm_;
    uint64_t delivered_ = 0; // frames handed out
    bool sought_ = false;    // after a seek the length check no longer applies
    bool finished_ = false;
    FfmpegDelegate other_; // the file, when the FFmpeg decoder reads it instead
};

} // namespace wm::bundled
