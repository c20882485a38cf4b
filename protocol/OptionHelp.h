// What -help says of the converter's own options, made from the option table.
#pragma once

#include "text/String.h"

namespace wm {

// One line per option shown (options in a row with the same meaning share one), a usage too
// wide for its column on a line of its own; then where every other option goes.
StringList OptionHelpLines();

} // namespace wm
