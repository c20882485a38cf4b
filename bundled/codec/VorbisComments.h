// Vorbis comments (FLAC's tags: "NAME=value" in UTF-8) and the plug-ins' tag names.
#pragma once

#include "bundled/wav/WaveTags.h"

#include <string>
#include <string_view>
#include <vector>

namespace wm::codec {

// Adds each "NAME=value" comment under the host's tag name ("TITLE" -> "title"); an unknown
// field keeps its own name. TRACKNUMBER with TRACKTOTAL (and the disc pair) become one "n/total"
// value; repeated fields become CR-separated values. A comment without "=" is skipped.
void ReadVorbisComments(const std::vector<std::string_view>& comments, wav::WaveTags& tags);

// The comments for the text tags, one per value; "n/total" track and disc values split into
// their two fields. Internal ("_") names and empty values are left out.
std::vector<std::string> MakeVorbisComments(const wav::WaveTags& tags);

} // namespace wm::codec
