// One encoder instance: writes the blocks it is given behind a wave header that is patched
// with the final sizes at the end.
#pragma once

#include "bundled/wav/WaveHeaderWriter.h"
#include "bundled/win/Win32File.h"

#include <sdk/wavemill_plugin.h>

#include <memory>
#include <string>
#include <vector>

namespace wm::bundled {

class WavEncoder {
  public:
    uint32_t Get(const WmChar* name, PluginValue* value) noexcept;
    uint32_t Set(const WmChar* name, PluginValue* value) noexcept;
    uint32_t Begin(const ConversionInfo* conversion) noexcept;
    uint32_t Encode(const AudioBlockInfo* block) noexcept;
    // A failed run (runError) gets no half-written file: it is deleted.
    uint32_t End(const ConversionInfo* conversion, uint32_t* tagAfterwards) noexcept;

  private:
    // Pad byte, tag chunks, last buffer, final header.
    bool Finish() noexcept;
    // The LIST/INFO and "id3 " chunks for the tags the host hands over at the begin.
    bool PrepareTags(const ConversionInfo& conversion);
    bool Append(const uint8_t* data, size_t length);
    bool Flush();
    void Abandon();

    // Records why the file cannot be finished and returns 0.
    uint32_t FailWrite(wav::WaveError otherwise);

    Win32File file_;
    wav::LastWaveError lastError_;
    wav::WaveHeaderWriter writer_;
    std::unique_ptr<uint8_t[]> buffer_;
    std::vector<uint8_t> tagChunks_; // written after the audio, in the same pass
    std::u16string output_;
    size_t used_ = 0;
    uint64_t dataBytes_ = 0;
    bool begun_ = false;
    bool failed_ = false; // a write failed: the file is not worth finishing
};

} // namespace wm::bundled
