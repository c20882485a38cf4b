#include "bundled/win/SharedLibrary.h"

#include <windows.h>

#include <string>

namespace wm::bundled {

bool LoadBesideProgram(const char16_t* name) {
    if (GetModuleHandleW(reinterpret_cast<const wchar_t*>(name)))
        return true;
    std::wstring path(MAX_PATH, L'\0');
    DWORD n;
    while ((n = GetModuleFileNameW(nullptr, path.data(), DWORD(path.size()))) == path.size())
        path.resize(path.size() * 2);
    if (n == 0)
        return false;
    path.resize(path.find_last_of(L'\\') + 1);
    path += reinterpret_cast<const wchar_t*>(name);
    // Kept for the life of the process, like an ordinary import.
    return LoadLibraryExW(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH) != nullptr;
}

} // namespace wm::bundled
