#include "protocol/CommandText.h"

#include "protocol/ConverterOptions.h"

namespace wm {

String OptionText(StringView name, StringView value) {
    String text = u" -" + String(name);
    if (!value.empty())
        text += u"=\"" + String(value) + u"\"";
    return text;
}

std::string CommandFileBytes(StringView optionText) {
    std::string bytes;
    bytes.reserve(optionText.size() * 2);
    for (char16_t unit : optionText) {
        bytes.push_back(static_cast<char>(unit & 0xFF));
        bytes.push_back(static_cast<char>(unit >> 8));
    }
    return bytes;
}

String CommandFileArgument(StringView commandFile) {
    return OptionText(option::kCommandFile, commandFile).substr(1);
}

} // namespace wm
