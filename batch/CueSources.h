// Disc images in a batch: a cue sheet becomes one source per track (the images it names are
// then not converted a second time), and so does a FLAC image carrying its sheet. A sheet that
// cannot be read fails with its reason; the rest of the batch goes on.
#pragma once

#include "batch/SourceScan.h"

namespace wm {

// decodable: the extensions the installed decoders read, for a sheet naming "disc.wav" beside
// the re-encoded "disc.flac". hiddenTrack: the audio before track 1 ("hidden track one audio")
// becomes a track of its own, where a sheet has any.
void ExpandDiscImages(SourceScan& scan, const StringList& decodable, bool hiddenTrack);

} // namespace wm
