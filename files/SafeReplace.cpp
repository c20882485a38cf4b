#include "files/SafeReplace.h"

#include "files/SystemPath.h"

#include <windows.h>

namespace wm {

namespace {
constexpr int kMoveTries = 10;
constexpr DWORD kMoveRetryMs = 50;
} // namespace

uint32_t CurrentProcessId() {
    return ::GetCurrentProcessId();
}

bool MoveRewriteOver(StringView temp, StringView target) {
    String from, to;
    if (!SystemPathForm(temp, kOtherPathLimit, from) ||
        !SystemPathForm(target, kOtherPathLimit, to))
        return false;
    for (int attempt = 1;; ++attempt) {
        if (::MoveFileExW(reinterpret_cast<const wchar_t*>(from.c_str()),
                          reinterpret_cast<const wchar_t*>(to.c_str()), MOVEFILE_REPLACE_EXISTING))
            return true;
        if (attempt == kMoveTries)
            return false;
        ::Sleep(kMoveRetryMs);
    }
}

} // namespace wm
