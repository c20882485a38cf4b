// The comments of Ogg Vorbis and Ogg Opus files: Vorbis comments (VorbisComments.h) with the
// pictures as METADATA_BLOCK_PICTURE comments and, in Opus, ReplayGain as R128 gains.
#pragma once

#include "bundled/wav/WaveTags.h"

#include <string>
#include <string_view>
#include <vector>

namespace wm::codec {

enum class OggCodec { Vorbis, Opus };

// The tags and pictures of a comment header. False, with the reason, when a picture comment is
// broken: the file is damaged and its cover would be lost without a word.
bool ReadOggComments(const std::vector<std::string_view>& comments, OggCodec codec,
                     wav::WaveTags& tags, std::string& why);

// The comments for the tags and pictures. Opus carries the track and album gain as
// R128_TRACK_GAIN / R128_ALBUM_GAIN and no REPLAYGAIN_* fields.
std::vector<std::string> MakeOggComments(const wav::WaveTags& tags, OggCodec codec);

// ReplayGain (dB, to 89 dB SPL, i.e. -18 LUFS) and R128 gains (Q7.8 dB to -23 LUFS), so that a
// player applies the same gain from either. False for text that is not a gain in range.
bool ReplayGainToR128(std::string_view replayGain, int& q78);
std::string R128ToReplayGain(int q78);

} // namespace wm::codec
