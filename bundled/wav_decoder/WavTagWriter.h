// Writes a tag block into an existing wave file: the decoder's "IDTags" value.
#pragma once

#include "bundled/wav/WaveError.h"

#include <cstddef>

namespace wm::bundled {

// Rewrites `path` with the tags of the serialised tag set `block` (an empty set removes the
// tags) through a temporary file beside it that then replaces the original; on any failure
// the temporary is deleted and the original is untouched. The audio bytes are copied as they
// are. kWaveOk on success, also when the file already holds exactly these tags.
wav::WaveError WriteTagBlock(const char16_t* path, const void* block, size_t size);

} // namespace wm::bundled
