#include "bundled/cue/CueCodePages.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <iconv.h>
#endif

#include <string>

namespace wm::cue {

#ifdef _WIN32

bool DecodeCodePage(uint32_t codePage, std::string_view bytes, String& text) {
    text.clear();
    if (bytes.empty())
        return true;
    const int size = static_cast<int>(bytes.size());
    const int length =
        MultiByteToWideChar(codePage, MB_ERR_INVALID_CHARS, bytes.data(), size, nullptr, 0);
    if (length <= 0)
        return false;
    text.resize(static_cast<size_t>(length));
    return MultiByteToWideChar(codePage, MB_ERR_INVALID_CHARS, bytes.data(), size,
                               reinterpret_cast<wchar_t*>(text.data()), length) == length;
}

#else

bool DecodeCodePage(uint32_t codePage, std::string_view bytes, String& text) {
    const std::string from = codePage == 932 ? "CP932" : "CP" + std::to_string(codePage);
    iconv_t converter = iconv_open("UTF-16LE", from.c_str());
    if (converter == reinterpret_cast<iconv_t>(-1))
        return false;
    std::string in(bytes);
    std::string out(in.size() * 4 + 4, '\0');
    char* inAt = in.data();
    char* outAt = out.data();
    size_t inLeft = in.size(), outLeft = out.size();
    const bool ok = iconv(converter, &inAt, &inLeft, &outAt, &outLeft) != static_cast<size_t>(-1);
    iconv_close(converter);
    text.clear();
    for (const char* p = out.data(); ok && p + 1 < outAt; p += 2)
        text += static_cast<char16_t>(static_cast<uint8_t>(p[0]) | static_cast<uint8_t>(p[1]) << 8);
    return ok;
}

#endif

} // namespace wm::cue
