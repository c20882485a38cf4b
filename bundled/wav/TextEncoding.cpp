#include "bundled/wav/TextEncoding.h"

#include <string_view>

namespace wm::wav {

bool IsValidUtf8(const uint8_t* p, size_t n) {
    size_t i = 0;
    while (i < n) {
        const uint8_t c = p[i];
        if (c < 0x80) {
            ++i;
            continue;
        }
        size_t need;
        uint32_t v;
        if (c >= 0xC2 && c <= 0xDF) {
            need = 1;
            v = c & 0x1F;
        } else if (c >= 0xE0 && c <= 0xEF) {
            need = 2;
            v = c & 0x0F;
        } else if (c >= 0xF0 && c <= 0xF4) {
            need = 3;
            v = c & 0x07;
        } else {
            return false;
        }
        if (n - i <= need)
            return false;
        for (size_t k = 1; k <= need; ++k) {
            if ((p[i + k] & 0xC0) != 0x80)
                return false;
            v = (v << 6) | (p[i + k] & 0x3F);
        }
        if ((need == 2 && (v < 0x800 || (v >= 0xD800 && v <= 0xDFFF))) ||
            (need == 3 && (v < 0x10000 || v > 0x10FFFF)))
            return false;
        i += need + 1;
    }
    return true;
}

String FromLatin1(const uint8_t* p, size_t n) {
    return String(p, p + n);
}

String FromUtf8OrLatin1(const uint8_t* p, size_t n) {
    if (IsValidUtf8(p, n))
        return Widen(std::string_view(reinterpret_cast<const char*>(p), n));
    return FromLatin1(p, n);
}

String FromUtf16(const uint8_t* p, size_t n, bool bigEndian) {
    String s;
    s.reserve(n / 2);
    for (size_t i = 0; i + 1 < n; i += 2)
        s.push_back(bigEndian ? static_cast<char16_t>(p[i] << 8 | p[i + 1])
                              : static_cast<char16_t>(p[i + 1] << 8 | p[i]));
    return s;
}

} // namespace wm::wav
