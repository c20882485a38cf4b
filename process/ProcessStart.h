// The one place a process is started with CreateProcessW, and the one retry this program allows
// itself: Wine now and then refuses a start with ERROR_INTERNAL_ERROR (1359) while other
// processes start and end, although the same start a moment later works. Only that refusal is
// tried again, a bounded number of times, and every retry is counted so that callers can say so.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string_view>

namespace wm {

inline constexpr int kStartAttempts = 3;

// CreateProcessW with the given arguments (commandLine is writable, as CreateProcessW needs).
// False with the last error of the final attempt.
bool StartProcess(wchar_t* commandLine, bool inheritHandles, DWORD creationFlags,
                  STARTUPINFOW& startup, PROCESS_INFORMATION& info);

// Starts refused with 1359 and made again, in this process so far.
uint32_t RefusedStartsRetried();

// The other refusal: Wine could not map a new process (its shared user data page) and ended it
// with status 1 before any of its code ran. With Wine's error messages let through, these words
// (plain bytes, not UTF-16) reach the process's standard error.
inline constexpr std::string_view kWineCouldNotMapProcess = "failed to map the shared user data";

} // namespace wm
