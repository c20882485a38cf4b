// The wide-string type every part of Wavemill uses: UTF-16, no Windows headers.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace wm {

using String = std::u16string;
using StringView = std::u16string_view;
using StringList = std::vector<String>;

// UTF-8 <-> UTF-16. Invalid input becomes U+FFFD; never throws.
String Widen(std::string_view utf8);
std::string Narrow(StringView utf16);

// Case-blind comparison as Windows does it for names and extensions
// (ASCII and Latin-1 letters fold; everything else compares as is).
char16_t FoldCase(char16_t c);
bool EqualsNoCase(StringView a, StringView b);
int CompareNoCase(StringView a, StringView b);
bool StartsWithNoCase(StringView text, StringView prefix);
bool EndsWithNoCase(StringView text, StringView suffix);
// Position of needle (0-based), or npos.
size_t FindNoCase(StringView text, StringView needle);

void ReplaceAll(String& text, StringView from, StringView to);

} // namespace wm
