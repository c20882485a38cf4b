// A file another bundled decoder does not read itself (a WAV in mu-law, A-law, ADPCM, GSM 6.10,
// MP3 ...; FLAC in Ogg) decoded by the FFmpeg decoder plug-in beside it: the other decoder keeps
// no import of FFmpeg's libraries, and without that plug-in such a file gets its named refusal
// as before.
#pragma once

#include "bundled/win/SiblingDecoder.h"

namespace wm::bundled {

class FfmpegDelegate {
  public:
    // True when the FFmpeg decoder opened the file and completed the record, its tags included
    // (valid while it is open; a caller with tags of its own replaces them).
    bool Open(DecodeOpenInfo& info);
    bool IsOpen() const { return open_; }
    uint32_t DecodeBlock(AudioBlockInfo* block) { return open_ ? decoder_.DecodeBlock(*block) : 0; }
    uint32_t SetPosition(uint64_t ms) { return open_ ? decoder_.SetPosition(ms) : 0; }
    // The FFmpeg decoder's reason for its last failure, or null.
    const char16_t* LastError();
    void Close();

  private:
    SiblingDecoder decoder_;
    bool open_ = false;
    String lastError_;
};

} // namespace wm::bundled
