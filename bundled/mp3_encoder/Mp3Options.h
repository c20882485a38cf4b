// The MP3 encoder's own options, named as the reference encoder names them where the option
// syntax allows: -b N (constant bit rate, kbps), -V N (variable, 0 best to 9 smallest),
// -abr N (average bit rate), -q N (algorithm quality, 0 best to 9 fastest), -m s|j|f|d|m
// (stereo, joint, forced mid/side, dual channel, mono), -noreplaygain (no ReplayGain analysis
// for the info frame).
#pragma once

#include "text/String.h"

#include <lame/lame.h>

namespace wm::bundled {

// Applies the options to LAME's settings; false, with the reason, for an unknown option or a
// value out of range.
bool ApplyMp3Options(StringView commandLine, lame_global_flags* lame, String& error);

} // namespace wm::bundled
