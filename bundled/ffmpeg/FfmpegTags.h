// FFmpeg's metadata (its own generic keys: "album_artist", "track" = "n/total" ...) and attached
// pictures on one side, the plug-ins' tags on the other.
#pragma once

#include "bundled/codec/Mp4Atoms.h"
#include "bundled/wav/WaveTags.h"

extern "C" {
#include <libavformat/avformat.h>
}

#include <string>
#include <vector>

namespace wm::ffmpeg {

// The container's tags (the audio stream's when the container has none) and every attached
// picture, under the host's names. Keys that describe the container rather than the music
// (brands, creation time, handler names, the gapless iTunSMPB) are left out.
void ReadAvTags(const AVFormatContext& format, int audioStream, wav::WaveTags& tags);

// The text tags the muxer writes as atoms of their own go into `metadata` under FFmpeg's keys;
// the rest (ReplayGain included) come back under their own names for free-form atoms. Several
// values of one tag are joined with "; ".
void WriteAvTags(const wav::WaveTags& tags, AVDictionary** metadata,
                 std::vector<codec::NamedText>& freeForm);

} // namespace wm::ffmpeg
