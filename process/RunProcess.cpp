#include "process/RunProcess.h"

#include "process/ProcessStart.h"
#include "process/UniqueHandle.h"
#include "process/WinString.h"

namespace wm {

bool RunProcess(StringView program, StringView arguments, bool wait, uint32_t timeLimitMs,
                bool inheritHandles, uint32_t creationFlags, bool endOnTimeout) {
    // CreateProcessW may write into the command line, so it gets its own copy.
    String commandLine = u"\"" + String(program) + u"\" " + String(arguments);

    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION info{};
    if (!StartProcess(W(commandLine), inheritHandles, creationFlags, startup, info))
        return false;
    UniqueHandle process(info.hProcess);
    UniqueHandle thread(info.hThread);

    if (!wait)
        return true;
    if (timeLimitMs == 0) {
        ::WaitForSingleObject(process.get(), INFINITE);
        return true;
    }
    DWORD started = ::GetTickCount();
    while (::WaitForSingleObject(process.get(), 250) == WAIT_TIMEOUT) {
        if (::GetTickCount() - started > timeLimitMs) {
            if (endOnTimeout)
                ::TerminateProcess(process.get(), 0);
            return false;
        }
        ::Sleep(25);
    }
    return true;
}

} // namespace wm
