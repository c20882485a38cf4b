#include "process/ChildProcess.h"

#include "process/ProcessStart.h"
#include "process/WinString.h"

namespace wm {

namespace {

// Room for all a converter says between two of its parent's reads. The default (4 KB under Wine)
// filled within one poll on a fast conversion's hundred progress lines, and the converter stood
// still until the parent read again.
constexpr DWORD kPipeBytes = 64 * 1024;

// A pipe whose write end the child inherits; the parent keeps the read end to itself.
bool MakeChildPipe(UniqueHandle& parentRead, UniqueHandle& childWrite) {
    SECURITY_ATTRIBUTES inherit{sizeof(inherit), nullptr, TRUE};
    HANDLE read = nullptr, write = nullptr;
    if (!::CreatePipe(&read, &write, &inherit, kPipeBytes))
        return false;
    parentRead.reset(read);
    childWrite.reset(write);
    return ::SetHandleInformation(read, HANDLE_FLAG_INHERIT, 0) != 0;
}

} // namespace

bool ChildProcess::Start(StringView program, StringView arguments, uint32_t creationFlags) {
    UniqueHandle outWrite, errWrite;
    if (!MakeChildPipe(output_, outWrite) || !MakeChildPipe(errors_, errWrite))
        return false;
    SECURITY_ATTRIBUTES inherit{sizeof(inherit), nullptr, TRUE};
    UniqueFileHandle nul(::CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                       &inherit, OPEN_EXISTING, 0, nullptr));

    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = nul.get();
    startup.hStdOutput = outWrite.get();
    startup.hStdError = errWrite.get();
    String commandLine = u"\"" + String(program) + u"\" " + String(arguments);
    PROCESS_INFORMATION info{};
    if (!StartProcess(W(commandLine), true, creationFlags, startup, info))
        return false;
    // The write ends close here, so the pipes end when the child does.
    process_.reset(info.hProcess);
    ::CloseHandle(info.hThread);
    id_ = info.dwProcessId;
    return true;
}

bool ChildProcess::Drain(UniqueHandle& pipe, std::string& into) {
    if (!pipe.valid())
        return false;
    for (;;) {
        DWORD waiting = 0;
        if (!::PeekNamedPipe(pipe.get(), nullptr, 0, nullptr, &waiting, nullptr)) {
            pipe.reset(); // the child's end is closed and nothing is left
            return false;
        }
        if (waiting == 0)
            return true;
        const size_t at = into.size();
        into.resize(at + waiting);
        DWORD got = 0;
        if (!::ReadFile(pipe.get(), into.data() + at, waiting, &got, nullptr))
            got = 0;
        into.resize(at + got);
        if (got == 0)
            return true;
    }
}

bool ChildProcess::HasEnded() const {
    return !process_.valid() || ::WaitForSingleObject(process_.get(), 0) == WAIT_OBJECT_0;
}

uint32_t ChildProcess::ExitCode() const {
    DWORD code = STILL_ACTIVE;
    if (process_.valid())
        ::GetExitCodeProcess(process_.get(), &code);
    return code;
}

void ChildProcess::Terminate(uint32_t exitCode) {
    if (process_.valid() && !HasEnded()) {
        ::TerminateProcess(process_.get(), exitCode);
        ::WaitForSingleObject(process_.get(), 5000);
    }
}

} // namespace wm
