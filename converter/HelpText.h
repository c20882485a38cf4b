// What -help shows after the options (protocol/OptionHelp.h): the installed encoders with their own
// options, the installed effects with their settings, and the input types the installed
// decoders read.
#pragma once

#include "text/String.h"

namespace wm {

// "Wave", "FLAC", ... from the encoder folder.
StringList InstalledCodecs(const String& programFolder);
// The encoders and the effects with their "Help" answers, then the input types; ready to print.
StringList InstalledHelpLines(const String& programFolder);

} // namespace wm
