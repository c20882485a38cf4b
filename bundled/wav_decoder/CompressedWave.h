// The wave formats the WAV decoder does not read itself (mu-law, A-law, ADPCM, GSM 6.10, MP3 ...)
// decoded by the FFmpeg decoder plug-in beside it, bound through its public entry points: the
// WAV decoder keeps no import of FFmpeg's libraries, and without that plug-in such a file gets
// its named refusal as before.
#pragma once

#include "process/UniqueHandle.h"

#include <sdk/wavemill_plugin.h>

namespace wm::bundled {

class CompressedWave {
  public:
    CompressedWave() = default;
    CompressedWave(const CompressedWave&) = delete;
    CompressedWave& operator=(const CompressedWave&) = delete;
    ~CompressedWave() { Close(); }

    // True when the FFmpeg decoder opened the file and completed the record.
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
