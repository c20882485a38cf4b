// Whether the destination can take more: after a conversion failed, the batch asks its output
// folder, so that a full or read-only destination stops the batch once, named and with its
// cause, instead of failing every remaining file with the converter's own words.
#pragma once

#include "text/String.h"

namespace wm {

// "no space left in 'D:\Out'" or "access denied to 'D:\Out'" when the folder (or the nearest
// one that exists above it) refuses a small write; empty when it takes one.
String DestinationProblem(const String& folder);

} // namespace wm
