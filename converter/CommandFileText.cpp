#include "converter/CommandFileText.h"

namespace wm {

String OptionTextOfCommandFile(const void* bytes, size_t size) {
    const auto* b = static_cast<const unsigned char*>(bytes);
    String text(size / 2, u'\0');
    for (size_t i = 0; i < text.size(); ++i)
        text[i] = static_cast<char16_t>(b[2 * i] | (b[2 * i + 1] << 8));
    return text;
}

} // namespace wm
