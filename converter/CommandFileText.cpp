#include "converter/CommandFileText.h"

#include "endian/LittleEndian.h"

namespace wm {

String OptionTextOfCommandFile(const void* bytes, size_t size) {
    const auto* b = static_cast<const unsigned char*>(bytes);
    String text(size / 2, u'\0');
    for (size_t i = 0; i < text.size(); ++i)
        text[i] = Le16(b + 2 * i);
    return text;
}

} // namespace wm
