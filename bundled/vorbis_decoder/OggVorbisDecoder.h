// The Vorbis decoder: libvorbisfile over the file, 16-bit output as its own conversion rounds
// it, chained streams of one rate and channel count decoded whole.
#pragma once

#include "bundled/ogg/OggDecoder.h"

#define OV_EXCLUDE_STATIC_CALLBACKS
#include <vorbis/vorbisfile.h>

namespace wm::bundled {

class OggVorbisDecoder final : public OggDecoder {
  public:
    OggVorbisDecoder();
    ~OggVorbisDecoder() override { Close(); }

  private:
    bool Start(Stream& stream, String& why) override;
    long Read(int16_t* samples, size_t frames, String& why) override;
    bool Seek(uint64_t sample) override;
    void Stop() override;
    bool SameFormatThroughout(const vorbis_info& first) const;

    static size_t OnRead(void* buffer, size_t size, size_t count, void* self);
    static int OnSeek(void* self, ogg_int64_t offset, int whence);
    static long OnTell(void* self);

    OggVorbis_File file_{};
    bool libraryOpen_ = false;
    uint16_t channels_ = 0;
};

} // namespace wm::bundled
