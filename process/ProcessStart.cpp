#include "process/ProcessStart.h"

#include <atomic>

namespace wm {

namespace {
std::atomic<uint32_t> g_retried{0};
} // namespace

bool StartProcess(wchar_t* commandLine, bool inheritHandles, DWORD creationFlags,
                  STARTUPINFOW& startup, PROCESS_INFORMATION& info) {
    for (int attempt = 1;; ++attempt) {
        if (::CreateProcessW(nullptr, commandLine, nullptr, nullptr, inheritHandles ? TRUE : FALSE,
                             creationFlags, nullptr, nullptr, &startup, &info))
            return true;
        if (::GetLastError() != ERROR_INTERNAL_ERROR || attempt == kStartAttempts)
            return false;
        ++g_retried;
    }
}

uint32_t RefusedStartsRetried() {
    return g_retried.load();
}

} // namespace wm
