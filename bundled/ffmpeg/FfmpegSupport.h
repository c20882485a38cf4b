// What the plug-ins on FFmpeg's libraries share: error texts, file names in FFmpeg's form and
// owners for its objects.
#pragma once

#include "text/String.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <memory>
#include <string>

namespace wm::ffmpeg {

// FFmpeg's own text for an error code ("Invalid data found when processing input"), with the
// last error line its libraries logged since, when there is one ("dimensions not set").
String AvError(int code);

// FFmpeg's libraries log to the process's standard error, which is the host's UTF-16 error
// channel: their lines are kept instead, the last error line for AvError.
void KeepLogQuiet();

// A path as FFmpeg's file protocol takes it (UTF-8; it opens the file by its wide name).
std::string FileUrl(const char16_t* path);

struct CodecContextFree {
    void operator()(AVCodecContext* c) const { avcodec_free_context(&c); }
};
struct FrameFree {
    void operator()(AVFrame* f) const { av_frame_free(&f); }
};
struct PacketFree {
    void operator()(AVPacket* p) const { av_packet_free(&p); }
};
using CodecContext = std::unique_ptr<AVCodecContext, CodecContextFree>;
using Frame = std::unique_ptr<AVFrame, FrameFree>;
using Packet = std::unique_ptr<AVPacket, PacketFree>;

} // namespace wm::ffmpeg
