// The encoder options and effects tried once before any file is touched: an option the encoder
// refuses then fails the batch once, with its reason, instead of once per file after a tree of
// empty folders was made.
#pragma once

#include "batch/Conversion.h"

namespace wm {

// Converts a moment of CD-format silence from standard input with the batch's settings into the
// command folder (which must exist) and removes the output. Empty when it converted, else why not.
String TryOptions(const ConversionSetup& setup, const String& extension);

} // namespace wm
