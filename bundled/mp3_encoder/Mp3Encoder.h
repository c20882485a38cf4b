// One MP3 encoder instance: an ID3v2.3 tag with the tags and pictures it is given, LAME's
// frames, and at the end LAME's info frame (encoder delay and padding, for gapless decoding)
// written over the placeholder frame at the start of the audio.
#pragma once

#include "bundled/codec/EncoderFrame.h"
#include "bundled/codec/PcmConvert.h"
#include "bundled/mp3_encoder/Mp3PeakDecoder.h"
#include "bundled/win/BufferedWriter.h"

#include <lame/lame.h>
#include <sdk/wavemill_plugin.h>

#include <vector>

namespace wm::bundled {

class Mp3Encoder final : public codec::EncoderFrame {
  public:
    Mp3Encoder();
    ~Mp3Encoder() override { Reset(); }

    uint32_t End() noexcept;

  private:
    uint32_t SetOwn(const WmChar* name, PluginValue* value) noexcept override;
    uint32_t GetOwn(const WmChar* name, PluginValue* value) noexcept override;
    bool Start(const ConversionInfo& conversion) override;
    bool WriteTag(const ConversionInfo& conversion);
    bool EncodeFrames(const uint8_t* data, size_t frames) override;
    bool EncodeSlice(const uint8_t* data, size_t frames);
    bool WriteOutput(int bytes);
    String BitRateRefusal(int askedKbps) const;
    void Reset() override;

    lame_global_flags* lame_ = nullptr;
    BufferedWriter out_;
    bool isFloat_ = false;
    codec::PcmLayout layout_;
    uint64_t audioAt_ = 0; // where LAME's first (info) frame starts
    std::vector<int32_t> interleaved_;
    std::vector<int32_t> left_, right_;
    std::vector<float> leftFloat_, rightFloat_;
    std::vector<uint8_t> mp3_;
    // The host asked for the decoded peak; it is known once the encoder has ended.
    bool peakAsked_ = false;
    bool peakKnown_ = false;
    double decodedPeak_ = 0;
    Mp3PeakDecoder peakDecoder_;
};

} // namespace wm::bundled
