// Whether the destination can take more: after a conversion failed, the batch asks its output
// folder, so that a full or read-only destination stops the batch once, named and with its
// cause, instead of failing every remaining file with the converter's own words.
#pragma once

#include "text/String.h"

#include <cstdint>

namespace wm {

// "no space left in 'D:\Out'" or "access denied to 'D:\Out'" when the folder (or the nearest
// one that exists above it) refuses a small write, or has less room than `neededBytes` (the size
// of the source that failed: a failed output's temporary file is gone by now, so a full disk
// shows some room again); empty otherwise.
String DestinationProblem(const String& folder, uint64_t neededBytes);

} // namespace wm
