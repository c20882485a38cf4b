// The peak of a finished output as a player meets it: the file decoded again through the
// decoder plug-in that reads its type, block by block, the peak alone measured. A lossy codec's
// output overshoots the audio it was handed, so only the decoded peak leaves a player the room
// it needs against clipping.
#pragma once

#include "flow/BlockFlow.h"
#include "text/String.h"

namespace wm {

// False, with why (the decoder's own reason where it gives one), when the file could not be
// decoded to its end; the host's stop request ends the decode too.
bool DecodedPeak(const String& file, const String& programFolder, bool truePeak, FlowHost& host,
                 double& peak, String& why);

} // namespace wm
