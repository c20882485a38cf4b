// The frame of the Ogg decoders: open (the file's pages looked at first, then the codec
// library), the tags and pictures of the comment header, blocks of 16-bit PCM in the wave
// channel order, exact length and seeking. A codec supplies the library calls.
#pragma once

#include "bundled/codec/OggComments.h"
#include "bundled/codec/PluginSupport.h"
#include "bundled/ogg/OggInput.h"

#include <sdk/wavemill_plugin.h>

#include <string_view>
#include <vector>

namespace wm::bundled {

class OggDecoder {
  public:
    OggDecoder() = default;
    OggDecoder(const OggDecoder&) = delete;
    OggDecoder& operator=(const OggDecoder&) = delete;
    virtual ~OggDecoder() = default;

    uint32_t Get(const WmChar* name, PluginValue* value) noexcept;
    uint32_t Set(const WmChar* name, PluginValue* value) noexcept;
    uint32_t Open(DecodeOpenInfo* info) noexcept;
    uint32_t Close() noexcept;
    uint32_t DecodeBlock(AudioBlockInfo* block) noexcept;
    // Moves the next block to `ms` milliseconds from the start.
    uint32_t SetPosition(uint64_t ms) noexcept;

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
    virtual codec::OggCodec Codec() const = 0;
    // The extensions read, the last entry null, and the description "-help" shows.
    virtual const char16_t* const* Extensions() const = 0;
    virtual const char16_t* Description() const = 0;

    OggInput input_;

  private:
    bool OpenStream(DecodeOpenInfo& info);
    bool MakeTagBlock();
    bool Fill();
    String At() const;

    codec::LastError error_;
    bool open_ = false;
    Stream stream_;
    WmWaveFormat format_{};
    std::vector<int16_t> pcm_;
    uint64_t delivered_ = 0; // frames handed out
    bool sought_ = false;    // after a seek the length check no longer applies
    bool finished_ = false;
    std::vector<uint8_t> tagBlock_;
};

} // namespace wm::bundled
