// The one place a process is started with CreateProcessW, and the one retry this program allows
// itself: Wine now and then refuses a start with ERROR_INTERNAL_ERROR (1359) while other
// processes start and end, although the same start a moment later works. Only that refusal is
// tried again, a bounded number of times, and every retry is counted so that callers can say so.
#pragma once

#include <windows.h>

#include <cstdint>

namespace wm {

inline constexpr int kStartAttempts = 3;

// CreateProcessW with the given arguments (commandLine is writable, as CreateProcessW needs).
// False with the last error of the final attempt.
bool StartProcess(wchar_t* commandLine, bool inheritHandles, DWORD creationFlags,
                  STARTUPINFOW& startup, PROCESS_INFORMATION& info);

// Starts refused with 1359 and made again, in this process so far.
uint32_t RefusedStartsRetried();

} // namespace wm
