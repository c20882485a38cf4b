// The FFmpeg decoder's tag writer for M4A: a finished file's free-form iTunes atoms
// ("----:com.apple.iTunes:<name>", where players read ReplayGain) replaced in its movie box,
// for the host's tag writing after a conversion (measured ReplayGain, the batch's album gain).
// The standard atoms (title, artist, cover...) stay as the encoder wrote them: a block that
// would change one is refused with its name.
#pragma once

#include "bundled/wav/WaveTags.h"
#include "text/String.h"

namespace wm::bundled {

// Empty when the tags are in the file, else why not. Only a movie box at the end of the file
// (as the bundled M4A encoders write it) is rewritten: no chunk offset moves.
String WriteM4aTags(const char16_t* path, const wav::WaveTags& tags);

} // namespace wm::bundled
