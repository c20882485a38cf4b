// One minidump of this process at an exception: the defaults plus unloaded modules and the
// memory the registers and the top of the stack point at.
#pragma once

#include <windows.h>

namespace wm {

// threadId: the thread that raised the exception (the caller may be another thread).
bool WriteMiniDump(HANDLE file, EXCEPTION_POINTERS* exception, DWORD threadId);

} // namespace wm
