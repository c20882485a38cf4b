// Test helper: starts kernel_peer.exe, the second process of the cross-process tests, whose
// kernel objects the tests name with UniqueName.
#pragma once

#include "process/UniqueHandle.h"
#include "process/WinString.h"
#include "tests/support/TestFiles.h"
#include "text/String.h"

#include <windows.h>

#include <string>

namespace wm::test {

inline String KernelPeerPath() {
    String path = u"Z:" + Widen(WM_KERNEL_PEER);
    ReplaceAll(path, u"/", u"\\");
    return path;
}

// A running peer; ended on destruction if a failed test left it running.
class PeerProcess {
  public:
    ~PeerProcess() {
        if (process_ && !Wait(0))
            ::TerminateProcess(process_.get(), 99);
    }
    bool Start(StringView arguments) {
        String commandLine = u"\"" + KernelPeerPath() + u"\" " + String(arguments);
        STARTUPINFOW startup{};
        startup.cb = sizeof(startup);
        PROCESS_INFORMATION info{};
        if (!::CreateProcessW(nullptr, W(commandLine), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                              &startup, &info))
            return false;
        process_.reset(info.hProcess);
        UniqueHandle thread(info.hThread);
        return true;
    }
    bool Wait(uint32_t ms) { return ::WaitForSingleObject(process_.get(), ms) == WAIT_OBJECT_0; }
    DWORD ExitCode() {
        DWORD code = 12345;
        ::GetExitCodeProcess(process_.get(), &code);
        return code;
    }

  private:
    UniqueHandle process_;
};

} // namespace wm::test
