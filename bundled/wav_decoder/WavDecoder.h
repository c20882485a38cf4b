// One decoder instance: an open wave file delivered as PCM blocks straight from the file, or, for
// compressed formats, as the FFmpeg decoder plug-in decodes them.
#pragma once

#include "bundled/codec/DecoderFrame.h"
#include "bundled/wav/WaveHeaderParser.h"
#include "bundled/win/FfmpegDelegate.h"
#include "bundled/win/Win32File.h"

#include <sdk/wavemill_plugin.h>

#include <memory>

namespace wm::bundled {

class WavDecoder final : public codec::DecoderFrame {
  public:
    WavDecoder();
    ~WavDecoder() override { Close(); }

    uint32_t Close() noexcept override;
    uint32_t DecodeBlock(AudioBlockInfo* block) noexcept override;
    uint32_t SetPosition(uint64_t ms) noexcept override;

  private:
    String NoInput() const override;
    // "IDTags": the tags of a file rewritten.
    uint32_t SetOwn(const WmChar* name, PluginValue* value) noexcept override;
    bool OpenStream(DecodeOpenInfo& info) override;
    wav::WaveError OpenFile(DecodeOpenInfo& info);
    // A format this decoder does not read, handed to the FFmpeg decoder; the tags stay ours.
    bool OpenCompressed(DecodeOpenInfo& info);
    // Hands the host the file's tags, or none when they cannot be read.
    void HandOutFileTags(wav::ByteSource& source, DecodeOpenInfo& info);

    Win32File file_;
    wav::WaveLayout layout_;
    uint64_t delivered_ = 0; // data bytes handed out so far
    std::unique_ptr<uint8_t[]> buffer_;
    size_t bufferSize_ = 0;
    FfmpegDelegate compressed_;
};

} // namespace wm::bundled
