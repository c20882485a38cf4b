// The Ogg decoders' tag writer: a finished Opus or Vorbis file's comment header replaced, for
// the host's tag writing after a conversion (measured ReplayGain, the batch's album gain). The
// header packets are paged again; the audio pages are kept, renumbered only when the headers
// now take another number of pages.
#pragma once

#include "bundled/codec/OggComments.h"
#include "bundled/wav/WaveTags.h"
#include "text/String.h"

namespace wm::bundled {

// Empty when the tags are in the file, else why not.
String WriteOggTags(const char16_t* path, const wav::WaveTags& tags, codec::OggCodec codec);

} // namespace wm::bundled
