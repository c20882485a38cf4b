// Starting a child process, optionally waiting for it with a time limit.
#pragma once

#include "text/String.h"

#include <cstdint>

namespace wm {

// Command line: "program" arguments. With wait and a time limit (0 = none) a child that is
// still running at the limit makes the result false, and is ended only when endOnTimeout is
// set. False also when the child could not be started.
bool RunProcess(StringView program, StringView arguments, bool wait, uint32_t timeLimitMs,
                bool inheritHandles, uint32_t creationFlags, bool endOnTimeout);

} // namespace wm
