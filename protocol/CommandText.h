// How a parent writes the converter's options, on its command line or in the command file (the
// same text, UTF-16LE in the file), and how the converter writes the encoder's: ` -name="value"`.
// The converter's tokeniser has no escape: a double quote inside a value is written "{qt}" where
// the value is a tag or an effect. Portable.
#pragma once

#include "text/String.h"

#include <string>

namespace wm {

// ` -name="value"`, or ` -name` for an empty value.
String OptionText(StringView name, StringView value);

// The command file's bytes: the option text as UTF-16LE, without a byte-order mark.
std::string CommandFileBytes(StringView optionText);

// What a parent starts the converter with: `-twcmd="<file>"`; the file's options replace it.
String CommandFileArgument(StringView commandFile);

} // namespace wm
