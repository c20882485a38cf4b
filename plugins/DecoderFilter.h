// The file-type filter text built from the decoders' answers. Portable.
#pragma once

#include "text/String.h"

namespace wm {

// extensions[i] is described by descriptions[i]. Entries are "name\rpatterns\r": an optional
// "All Audio Files" entry with every extension in the order given, then one entry per run of
// equal descriptions after sorting them case-blind, e.g.
// "Lossless Audio  (*.flac; *.fla)\r*.flac;*.fla\r".
String BuildDecoderFilter(bool allFilesEntry, const StringList& extensions,
                          const StringList& descriptions);

} // namespace wm
