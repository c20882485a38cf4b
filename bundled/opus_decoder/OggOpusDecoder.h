// The Opus decoder: opusfile over the file, 48 kHz 16-bit output with the header's gain applied
// and no dither, chained streams of one channel count decoded whole.
#pragma once

#include "bundled/ogg/OggDecoder.h"

#include <opusfile.h>

namespace wm::bundled {

class OggOpusDecoder final : public OggDecoder {
  public:
    OggOpusDecoder();
    ~OggOpusDecoder() override { Close(); }

  private:
    bool Start(Stream& stream, String& why) override;
    long Read(int16_t* samples, size_t frames, String& why) override;
    bool Seek(uint64_t sample) override;
    void Stop() override;

    static int OnRead(void* self, unsigned char* buffer, int bytes);
    static int OnSeek(void* self, opus_int64 offset, int whence);
    static opus_int64 OnTell(void* self);

    OggOpusFile* file_ = nullptr;
    uint16_t channels_ = 0;
};

} // namespace wm::bundled
