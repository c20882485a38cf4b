// Stands in for Wavemill.exe in a copy of the staged tree whose real converter is renamed
// WavemillReal.exe. The first start of each command line ends at once with status 1 and only
// the line Wine writes when it cannot map a new process (its error messages let through, as
// they are by default); the next runs the real converter with the same arguments, standard
// handles and named objects, and ends with its status.
#include <windows.h>

#include <cstdint>
#include <cstdio>
#include <string>

namespace {

std::wstring OwnFolder() {
    wchar_t path[MAX_PATH];
    const DWORD length = ::GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring folder(path, length);
    return folder.substr(0, folder.find_last_of(L'\\') + 1);
}

// Everything after the program's own (possibly quoted) name.
std::wstring Arguments(const wchar_t* commandLine) {
    const wchar_t* p = commandLine;
    if (*p == L'"') {
        p = std::wcschr(p + 1, L'"');
        p = p ? p + 1 : commandLine + std::wcslen(commandLine);
    } else {
        while (*p && *p != L' ')
            ++p;
    }
    return p;
}

// True the first time this command line is seen in the folder.
bool FirstStart(const std::wstring& folder, const std::wstring& arguments) {
    uint64_t hash = 14695981039346656037ull;
    for (const wchar_t c : arguments)
        hash = (hash ^ c) * 1099511628211ull;
    const std::wstring marker = folder + L"lost-" + std::to_wstring(hash) + L".marker";
    const HANDLE file = ::CreateFileW(marker.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                      FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return false;
    ::CloseHandle(file);
    return true;
}

} // namespace

int wmain() {
    const std::wstring folder = OwnFolder();
    const std::wstring arguments = Arguments(::GetCommandLineW());
    if (FirstStart(folder, arguments)) {
        std::fputs("0024:err:virtual:virtual_alloc_first_teb wine: failed to map the shared user "
                   "data: c0000018\n",
                   stderr);
        return 1;
    }
    const std::wstring real = folder + L"WavemillReal.exe";
    std::wstring commandLine = L"\"" + real + L"\"" + arguments;
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = ::GetStdHandle(STD_INPUT_HANDLE);
    startup.hStdOutput = ::GetStdHandle(STD_OUTPUT_HANDLE);
    startup.hStdError = ::GetStdHandle(STD_ERROR_HANDLE);
    PROCESS_INFORMATION info{};
    if (!::CreateProcessW(real.c_str(), commandLine.data(), nullptr, nullptr, TRUE,
                          DETACHED_PROCESS, nullptr, nullptr, &startup, &info)) {
        std::fprintf(stderr, "Error: LostStartConverter cannot start WavemillReal.exe (win:%lu)\n",
                     ::GetLastError());
        return 3;
    }
    ::WaitForSingleObject(info.hProcess, INFINITE);
    DWORD status = 3;
    ::GetExitCodeProcess(info.hProcess, &status);
    return static_cast<int>(status);
}
