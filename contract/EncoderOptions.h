// The converter's own options that reach every encoder's command line: the host does not take
// them out (`-sourceisfloat`, `-help`, and `-dspeffectN` beyond the effects it loaded, after a
// gap in the numbers). An encoder takes them as not its own and ignores them.
#pragma once

#include "text/String.h"

namespace wm {

bool IsHostOptionForEveryEncoder(StringView name);

} // namespace wm
