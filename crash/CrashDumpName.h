// Names of crash dumps: one per crashing process, never overwriting an earlier one.
#pragma once

#include "text/String.h"

#include <cstdint>
#include <functional>

namespace wm {

// "crash-<pid>.dmp" for n = 0, else "crash-<pid>-<n>.dmp".
String CrashDumpName(uint32_t processId, int n);

// folder (ending in "\") + the first name for processId that `exists` rejects; empty when
// every suffix up to kMaxCrashDumpSuffix is taken (a folder full of leftovers must not keep a
// crashing process busy).
inline constexpr int kMaxCrashDumpSuffix = 999;
String FreeCrashDumpPath(StringView folder, uint32_t processId,
                         const std::function<bool(const String&)>& exists);

// The dump a second copy was told about: only the file-name part of the value counts, looked
// up inside folder, so a value cannot point anywhere else. Empty when no usable name is left.
String CrashDumpOfValue(StringView folder, StringView value);

} // namespace wm
