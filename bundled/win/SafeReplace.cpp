#include "bundled/win/SafeReplace.h"

#include <windows.h>

namespace wm::bundled {

namespace {

constexpr int kMaxTempNumber = 1000;
constexpr int kMoveTries = 10;
constexpr DWORD kMoveRetryMs = 50;

std::u16string Number(unsigned long n) {
    std::u16string s;
    do {
        s.insert(s.begin(), static_cast<char16_t>(u'0' + n % 10));
        n /= 10;
    } while (n);
    return s;
}

const wchar_t* W(const std::u16string& s) {
    return reinterpret_cast<const wchar_t*>(s.c_str());
}

} // namespace

bool CreateTempBeside(const std::u16string& target, Win32File& file, std::u16string& tempPath) {
    const std::u16string stem = target + u".p" + Number(GetCurrentProcessId());
    for (int n = 0; n < kMaxTempNumber; ++n) {
        tempPath = stem + (n == 0 ? u"" : u"." + Number(n)) + u".rewrite.tmp";
        bool exists = false;
        if (file.CreateNew(tempPath.c_str(), exists))
            return true;
        if (!exists)
            break;
    }
    tempPath.clear();
    return false;
}

bool MoveOver(const std::u16string& tempPath, const std::u16string& target) {
    const std::u16string from = SystemPath(tempPath.c_str());
    const std::u16string to = SystemPath(target.c_str());
    for (int attempt = 1;; ++attempt) {
        if (MoveFileExW(W(from), W(to), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
            return true;
        if (attempt == kMoveTries)
            return false;
        Sleep(kMoveRetryMs);
    }
}

bool IsReadOnly(const std::u16string& path) {
    const DWORD attributes = GetFileAttributesW(W(SystemPath(path.c_str())));
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY);
}

bool DeleteQuietly(const std::u16string& path) {
    return DeleteFileW(W(SystemPath(path.c_str()))) != 0;
}

} // namespace wm::bundled
