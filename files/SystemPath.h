// The long-path rule as the file calls apply it, shared by the host and the bundled plug-ins.
// Windows only; the header stays free of <windows.h> for the plug-ins' export tables.
#pragma once

#include "text/String.h"

#include <cstddef>

namespace wm {

// LongPathForm, except that a long relative path is first made absolute against the current
// folder (the "\\?\" form only takes absolute paths). False when the path cannot be used; the
// caller then makes no system call.
bool SystemPathForm(StringView path, size_t limit, String& out);

} // namespace wm
