// The FLAC decoder's tag writer: a tag block written into a finished file, for the host's tag
// writing after a conversion (measured ReplayGain, the batch's album gain).
#pragma once

#include "bundled/wav/WaveTags.h"
#include "text/String.h"

namespace wm::bundled {

// Empty when the tags are in the file, else why not. The file is rewritten only when the new
// blocks do not fit the room the old ones and their padding took.
String WriteFlacTags(const char16_t* path, const wav::WaveTags& tags);

} // namespace wm::bundled
