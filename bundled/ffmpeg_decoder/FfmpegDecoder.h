// One decoder instance on FFmpeg's libraries for every format they read that no other bundled
// decoder claims: the file's main audio stream (a video file's too), decoded in blocks of about
// half a second; the container's tags and pictures as the source's tags; gapless AAC (the
// encoder delay skipped, the padding at the end cut by iTunSMPB or the edit list's length).
#pragma once

#include "bundled/codec/DecoderFrame.h"
#include "bundled/ffmpeg/FfmpegSupport.h"
#include "bundled/ffmpeg_decoder/FormatFollower.h"
#include "bundled/ffmpeg_decoder/SampleOutput.h"

#include <sdk/wavemill_plugin.h>

#include <vector>

namespace wm::bundled {

class FfmpegDecoder final : public codec::DecoderFrame {
  public:
    FfmpegDecoder();
    ~FfmpegDecoder() override { Close(); }

    uint32_t Close() noexcept override;
    uint32_t DecodeBlock(AudioBlockInfo* block) noexcept override;
    uint32_t SetPosition(uint64_t ms) noexcept override;

  private:
    // "IDTags": writes the free-form tags of a block into a finished M4A file.
    uint32_t SetOwn(const WmChar* name, PluginValue* value) noexcept override;
    bool OpenStream(DecodeOpenInfo& info) override;
    bool OpenCodec();
    bool ChooseOutput();
    void FindExactLength();
    void DescribeSource(DecodeOpenInfo& info);
    // The next decoded frame into frame_; false at the end of the stream or on failure
    // (error_ says which).
    bool NextFrame();
    // Where the tags at the end of the file begin, before libavformat opens it.
    void FindTrailingTags(const char16_t* path);
    bool TagsReached() const;
    // An information line for the cut-off last packet left out.
    void DropCutPacket();
    String Damaged(int status) const;
    // The frame's samples, in the first frame's format and within the exact length, onto pcm_.
    bool TakeFrame(const AVFrame& frame);
    bool Fill(size_t wanted);

    AVFormatContext* format_ = nullptr;
    ffmpeg::CodecContext codec_;
    ffmpeg::Packet packet_;
    ffmpeg::Frame frame_;
    int stream_ = -1;
    bool haveFrame_ = false; // frame_ holds a frame not yet taken
    bool drained_ = false;   // the decoder has given its last frame
    bool readAll_ = false;   // every packet of the file has been read
    int damage_ = 0;         // a packet the decoder refused, unless it was the last
    ffmpeg::SampleOutput output_;
    ffmpeg::FormatFollower follower_;
    uint64_t exactFrames_ = 0; // the stream's length when the container states it exactly
    uint64_t takenFrames_ = 0;
    std::vector<uint8_t> pcm_; // decoded bytes; the front `handed_` went out with the last block
    size_t handed_ = 0;
    uint64_t deliveredBytes_ = 0;
    bool finished_ = false;
    uint64_t fileSize_ = 0;
    uint64_t tagsFrom_ = 0; // the file's size when it ends in no tags
    uint64_t readTo_ = 0;   // the end of the furthest packet read
};

} // namespace wm::bundled
