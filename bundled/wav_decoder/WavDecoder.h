// One decoder instance: an open wave file delivered as PCM blocks straight from the file, or, for
// compressed formats, as the FFmpeg decoder plug-in decodes them.
#pragma once

#include "bundled/codec/PluginSupport.h"
#include "bundled/wav/WaveHeaderParser.h"
#include "bundled/wav_decoder/CompressedWave.h"
#include "bundled/win/Win32File.h"

#include <sdk/wavemill_plugin.h>

#include <memory>
#include <vector>

namespace wm::bundled {

class WavDecoder {
  public:
    uint32_t Get(const WmChar* name, PluginValue* value) noexcept;
    uint32_t Set(const WmChar* name, PluginValue* value) noexcept;
    uint32_t Open(DecodeOpenInfo* info) noexcept;
    uint32_t Close() noexcept;
    uint32_t DecodeBlock(AudioBlockInfo* block) noexcept;
    // Moves the next block to `ms` milliseconds from the start (rounded down to a frame).
    uint32_t SetPosition(uint64_t ms) noexcept;

  private:
    wav::WaveError OpenFile(DecodeOpenInfo& info);
    // A format this decoder does not read, handed to the FFmpeg decoder; the tags stay ours.
    bool OpenCompressed(DecodeOpenInfo& info);
    // Fills tagBlock_ with the file's tags as a serialised tag set.
    void ReadTags(wav::ByteSource& source);

    Win32File file_;
    wav::LastWaveError lastError_;
    codec::InformationLines information_; // kept past Close for the host's question at the end
    wav::WaveLayout layout_;
    uint64_t delivered_ = 0; // data bytes handed out so far
    std::unique_ptr<uint8_t[]> buffer_;
    size_t bufferSize_ = 0;
    std::vector<uint8_t> tagBlock_; // handed to the host by Open; ours until Close
    CompressedWave compressed_;
};

} // namespace wm::bundled
