// A decimal option value ("128", "-1", "4.5") within a range, for the encoders' own options,
// and a value written back the same way in a refusal.
#pragma once

#include "text/String.h"

#include <cstdlib>
#include <string>

namespace wm::codec {

inline bool ReadNumber(StringView text, double low, double high, double& out) {
    if (text.empty() || text.size() > 12)
        return false;
    const std::string s = Narrow(text);
    size_t digits = 0;
    for (size_t i = 0; i < s.size(); ++i) {
        const char c = s[i];
        if (c >= '0' && c <= '9')
            ++digits;
        else if (!(c == '.' || (c == '-' && i == 0)))
            return false;
    }
    char* end = nullptr;
    const double v = std::strtod(s.c_str(), &end);
    if (digits == 0 || *end != '\0' || v < low || v > high)
        return false;
    out = v;
    return true;
}

// Shortest decimal form of `v` (no trailing zeros): "96", "2.5".
inline String DecimalText(double v) {
    std::string s = std::to_string(v);
    s.erase(s.find_last_not_of('0') + 1);
    if (s.back() == '.')
        s.pop_back();
    return Widen(s);
}

} // namespace wm::codec
