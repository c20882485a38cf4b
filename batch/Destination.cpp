#include "batch/Destination.h"

#include "files/FileOps.h"
#include "files/PathText.h"
#include "process/WinString.h"
#include "text/NumberText.h"

#include <windows.h>

#include <vector>

namespace wm {

namespace {

// Big enough that a disk with room for a header but not for audio counts as full.
constexpr DWORD kProbeBytes = 64 * 1024;

String NearestExistingFolder(String folder) {
    while (!FolderExists(folder) && StripToParent(folder)) {
    }
    return folder;
}

// The error of a small write into the folder, 0 when it took it.
DWORD ProbeWrite(const String& folder) {
    const String probe =
        EnsureTrailingSeparator(folder) + u".wmbatch-probe-" + IntToText(::GetCurrentProcessId());
    HANDLE file = ::CreateFileW(W(probe), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                FILE_FLAG_DELETE_ON_CLOSE, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return ::GetLastError();
    const std::vector<char> zeros(kProbeBytes);
    DWORD written = 0;
    DWORD error = 0;
    if (!::WriteFile(file, zeros.data(), kProbeBytes, &written, nullptr))
        error = ::GetLastError();
    else if (written < kProbeBytes)
        error = ERROR_DISK_FULL;
    else if (!::FlushFileBuffers(file))
        error = ::GetLastError();
    ::CloseHandle(file);
    return error;
}

} // namespace

String DestinationProblem(const String& folder, uint64_t neededBytes) {
    const String existing = NearestExistingFolder(folder);
    String shown = existing;
    while (shown.size() > 3 && IsSeparator(shown.back()))
        shown.pop_back();
    ULARGE_INTEGER free{};
    const bool roomKnown = ::GetDiskFreeSpaceExW(W(existing), &free, nullptr, nullptr) != 0;
    switch (ProbeWrite(existing)) {
    case 0:
        if (roomKnown && free.QuadPart < neededBytes)
            return u"no space left in '" + shown + u"'";
        return String();
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
        return u"no space left in '" + shown + u"'";
    case ERROR_ACCESS_DENIED:
    case ERROR_WRITE_PROTECT:
        return u"access denied to '" + shown + u"'";
    default:
        return String();
    }
}

} // namespace wm
