// The host's tag set on one side, the wave file's tags on the other.
#pragma once

#include "bundled/wav/WaveTags.h"
#include "tags/IDTagSet.h"

namespace wm::wav {

// Both ways every text value is cleaned of control characters (CleanTagValue): no decoder hands
// the host one, and no encoder is handed one.
// Text tags in order, then the pictures as album art entries numbered from 1.
void ToTagSet(const WaveTags& tags, IDTagSet& set);
// Text tags in order and the album art entries as pictures; the other internal ("_") tags have
// no place in a wave file and are left out.
WaveTags FromTagSet(const IDTagSet& set);

} // namespace wm::wav
