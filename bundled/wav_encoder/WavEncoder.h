// One encoder instance: writes the blocks it is given behind a wave header that is patched
// with the final sizes at the end.
#pragma once

#include "bundled/codec/EncoderFrame.h"
#include "bundled/wav/WaveHeaderWriter.h"
#include "bundled/win/Win32File.h"

#include <sdk/wavemill_plugin.h>

#include <memory>
#include <vector>

namespace wm::bundled {

class WavEncoder final : public codec::EncoderFrame {
  public:
    WavEncoder();
    ~WavEncoder() override { Reset(); }

    uint32_t End() noexcept;

  private:
    String Refusal(Refused why) const override;
    bool Start(const ConversionInfo& conversion) override;
    bool EncodeFrames(const uint8_t* data, size_t frames) override;
    bool EncodeBytes(const uint8_t* data, size_t length) override;
    void Reset() override;
    // Pad byte, tag chunks, last buffer, final header.
    bool Finish() noexcept;
    bool Append(const uint8_t* data, size_t length);
    bool Flush();

    // Records why the file cannot be finished; false.
    bool FailWrite(wav::WaveError otherwise);

    Win32File file_;
    wav::WaveHeaderWriter writer_;
    std::unique_ptr<uint8_t[]> buffer_;
    std::vector<uint8_t> tagChunks_; // written after the audio, in the same pass
    size_t used_ = 0;
    uint64_t dataBytes_ = 0;
    bool failed_ = false; // a write failed: the file is not worth finishing
};

} // namespace wm::bundled
