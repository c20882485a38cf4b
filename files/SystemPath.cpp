#include "files/SystemPath.h"

#include "files/PathText.h"

#include <windows.h>

namespace wm {

namespace {

String FullPath(const String& path) {
    const auto* in = reinterpret_cast<const wchar_t*>(path.c_str());
    DWORD needed = ::GetFullPathNameW(in, 0, nullptr, nullptr);
    if (needed == 0)
        return {};
    String full(needed, u'\0');
    DWORD got = ::GetFullPathNameW(in, needed, reinterpret_cast<wchar_t*>(full.data()), nullptr);
    if (got == 0 || got >= needed)
        return {};
    full.resize(got);
    return full;
}

} // namespace

bool SystemPathForm(StringView path, size_t limit, String& out) {
    bool unusable = false;
    out = LongPathForm(path, limit, &unusable);
    if (unusable && !path.empty() && path.find(u'\0') == StringView::npos) {
        String full = FullPath(String(path));
        out = full.empty() ? String() : LongPathForm(full, limit, &unusable);
    }
    return !unusable && !out.empty();
}

} // namespace wm
