// One M4A encoder instance on libavcodec's AAC or ALAC encoder and libavformat's "ipod" muxer:
// iTunes atoms for the standard tags and the cover ("covr") from libavformat, free-form atoms
// for the rest (ReplayGain included) and, for AAC, the gapless iTunSMPB beside the muxer's
// edit list. The encoders (AAC.dll, ALAC.dll) differ only in their codec descriptions.
#pragma once

#include "bundled/codec/EncoderFrame.h"
#include "bundled/codec/PcmConvert.h"
#include "bundled/ffmpeg/FfmpegSupport.h"
#include "bundled/ffmpeg/FfmpegTags.h"
#include "bundled/m4a_encoder/M4aOutput.h"

#include <sdk/wavemill_plugin.h>

#include <vector>

namespace wm::bundled {

struct M4aCodec {
    AVCodecID id;
    const char16_t* name; // for the reasons of failures: "AAC", "ALAC"
    const char16_t* help;
    codec::Fidelity fidelity;
    bool (*applyOptions)(StringView commandLine, AVCodecContext& codec, String& error);
    // Why the source cannot be held (rate, channels, bits), or empty.
    String (*refusal)(const WmWaveFormat& source, bool isFloat, const codec::PcmLayout& layout);
};

class M4aEncoder : public codec::EncoderFrame {
  public:
    explicit M4aEncoder(const M4aCodec& codec)
        : EncoderFrame(u".m4a", codec.help, codec.fidelity), codec_(codec) {}
    ~M4aEncoder() override { Reset(); }

    uint32_t End() noexcept;

  private:
    bool Start(const ConversionInfo& conversion) override;
    bool OpenCodec(const ConversionInfo& conversion);
    bool OpenMuxer(const ConversionInfo& conversion);
    bool AddPictures(const std::vector<wav::Picture>& pictures);
    bool WritePictures();
    // Spreads interleaved source samples over the encoder's frames; full frames are encoded.
    bool EncodeFrames(const uint8_t* data, size_t frames) override;
    // The source's frames (raw bytes; integers already unpacked into samples_) into frame_.
    void Store(const uint8_t* raw, size_t frames, int at);
    bool Send(const AVFrame* frame);
    bool Finish();
    bool WriteFailed(int status);
    void Reset() override;

    const M4aCodec& codec_;
    bool isFloat_ = false;
    codec::PcmLayout layout_;
    ffmpeg::CodecContext encoder_;
    AVFormatContext* muxer_ = nullptr;
    AVStream* audio_ = nullptr;
    ffmpeg::Frame frame_;
    ffmpeg::Packet packet_;
    int frameSize_ = 0; // samples the encoder takes a frame
    int filled_ = 0;    // samples waiting in frame_
    int64_t sent_ = 0;  // samples handed to the encoder
    uint64_t packets_ = 0;
    M4aOutput out_;
    std::vector<wav::Picture> pictures_;
    std::vector<int> pictureStreams_;
    std::vector<codec::NamedText> freeForm_;
    std::vector<int32_t> samples_;
};

} // namespace wm::bundled
