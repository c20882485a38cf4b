// The CUESHEET metadata block of a FLAC file (what `metaflac --import-cuesheet-from` writes)
// as a cue sheet whose one FILE is the image itself. Portable.
#pragma once

#include "bundled/cue/CueSheet.h"

#include <string_view>

namespace wm::cue {

// FLAC's metadata block type of a cue sheet.
constexpr uint8_t kFlacCueSheetBlock = 5;

// body: the block's bytes after its 4-byte header; rate: the stream's sample rate. Track
// offsets are in samples; the lead-out track is left out.
bool CueSheetFromFlacBlock(std::string_view body, uint32_t rate, StringView imageName,
                           CueSheet& sheet, CueError& error);

} // namespace wm::cue
