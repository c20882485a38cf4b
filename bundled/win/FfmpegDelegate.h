// A file another bundled decoder does not read itself (a WAV in mu-law, A-law, ADPCM, GSM 6.10,
// MP3 ...; FLAC in Ogg) decoded by the FFmpeg decoder plug-in beside it, bound through its public
// entry points: the other decoder keeps no import of FFmpeg's libraries, and without that
// plug-in such a file gets its named refusal as before.
#pragma once

#include "process/UniqueHandle.h"

#include <sdk/wavemill_plugin.h>

namespace wm::bundled {

class FfmpegDelegate {
  public:
    FfmpegDelegate() = default;
    FfmpegDelegate(const FfmpegDelegate&) = delete;
    FfmpegDelegate& operator=(const FfmpegDelegate&) = delete;
    ~FfmpegDelegate() { Close(); }

    // True when the FFmpeg decoder opened the file and completed the record, its tags included
    // (valid while it is open; a caller with tags of its own replaces them).
    bool Open(DecodeOpenInfo& info);
    bool IsOpen() const { return instance_ != nullptr; }
    uint32_t DecodeBlock(AudioBlockInfo* block);
    uint32_t SetPosition(uint64_t ms);
    // The FFmpeg decoder's reason for its last failure, or null.
    const char16_t* LastError();
    void Close();

  private:
    bool Load();

    UniqueModule library_;
    WmDecCreate create_ = nullptr;
    WmDecDestroy destroy_ = nullptr;
    WmDecGet get_ = nullptr;
    WmDecOpen open_ = nullptr;
    WmDecClose close_ = nullptr;
    WmDecDecodeBlock decode_ = nullptr;
    WmDecSetPosition seek_ = nullptr;
    void* instance_ = nullptr;
};

} // namespace wm::bundled
