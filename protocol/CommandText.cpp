#include "protocol/CommandText.h"

#include "protocol/ConverterOptions.h"

namespace wm {

String OptionText(StringView name, StringView value) {
    String text = u" -" + String(name);
    if (!value.empty())
        text += u"=\"" + String(value) + u"\"";
    return text;
}

String CommandFileArgument(StringView commandFile) {
    return OptionText(option::kCommandFile, commandFile).substr(1);
}

} // namespace wm
