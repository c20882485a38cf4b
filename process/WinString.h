// The one place where Wavemill's UTF-16 strings meet the wchar_t of the Win32 API.
#pragma once

#include "text/String.h"

namespace wm {

static_assert(sizeof(wchar_t) == sizeof(char16_t), "Win32 wide text is UTF-16");

inline const wchar_t* W(const String& s) {
    return reinterpret_cast<const wchar_t*>(s.c_str());
}
inline wchar_t* W(String& s) {
    return reinterpret_cast<wchar_t*>(s.data());
}

inline String FromW(const wchar_t* s) {
    return s ? String(reinterpret_cast<const char16_t*>(s)) : String();
}
inline String FromW(const wchar_t* s, size_t length) {
    return s ? String(reinterpret_cast<const char16_t*>(s), length) : String();
}

} // namespace wm
