// The MP3 decoder's tag writer: the ID3v2 tag in front of a finished file replaced, for the
// host's tag writing after a conversion (measured ReplayGain, the batch's album gain).
#pragma once

#include "bundled/wav/WaveTags.h"
#include "text/String.h"

namespace wm::bundled {

// Empty when the tags are in the file, else why not. In place when the new tag fits the old
// one's length, padding included; else the file is written again behind the new tag.
String WriteMp3Tags(const char16_t* path, const wav::WaveTags& tags);

} // namespace wm::bundled
