// Numbers, byte sizes and durations as text, in the user's number format.
#pragma once

#include "text/String.h"

#include <cstdint>

namespace wm {

// The user's number format. Held process-wide, loaded once on first use.
struct LocaleNumberSettings {
    bool leadingZero = true;
    int negativePattern = 1; // 0 "(n)", 1 "-n", 2 "- n", 3 "n-", 4 "n -"
    bool indianGrouping = false;
    String negativeSign = u"-";
    String positiveSign;
    String thousand;
    String decimal = u".";
    String time = u":";
};

// Supplies the settings on first use (the Windows build reads them from the registry).
// Without a loader the defaults apply. Installing a loader makes the next use load again.
using LocaleLoader = LocaleNumberSettings (*)();
void SetLocaleLoader(LocaleLoader loader);
const LocaleNumberSettings& CurrentLocale();
// Forgets the loaded settings so the next use loads them again. References returned
// earlier by CurrentLocale must not be used across this call.
void ReloadLocaleForTests();

// Builds settings from the raw texts of "iLZero", "iNegNumber", "sGrouping", "sNegativeSign",
// "sPositiveSign", "sThousand", "sDecimal" and "sTime" (empty = missing).
LocaleNumberSettings LocaleFromValues(StringView iLZero, StringView iNegNumber,
                                      StringView sGrouping, StringView sNegativeSign,
                                      StringView sPositiveSign, StringView sThousand,
                                      StringView sDecimal, StringView sTime);

// Plain decimal, no grouping.
String IntToText(int64_t value);
// Leading-number parses: optional blanks and sign, then digits; anything else gives 0.
int64_t TextToInt(StringView text);
double TextToFloat(StringView text);
// True for a non-zero number or "true" in any case.
bool TextToBool(StringView text);

// Fixed-point with the given number of decimals, then localised.
String FloatToText(double value, int decimals);
// Localises plain number text ("-", digits, "." and decimals): grouping, decimal separator,
// negative pattern, positive sign.
String LocaliseNumber(StringView plain);
String LocaliseNumber(StringView plain, const LocaleNumberSettings& settings);
String FormatGrouped(int64_t value);

// "1 byte", "1023 bytes", "2 KB", "1.50 MB" ...; kilobytesOnly never goes above KB or below it.
String ByteSizeText(uint64_t bytes, bool kilobytesOnly = false);

// Duration styles: 0 words with milliseconds, 1 short clock, 2 hh:mm:ss, 3 hh:mm:ss.mmm,
// 4 words without milliseconds. Other styles give empty text.
String DurationText(uint64_t ms, int style);

// Registry multi-string form: each item NUL-terminated, then a final NUL. Empty items travel
// as "[Empty]" because an empty piece would end the list early.
std::u16string PackMultiString(const StringList& items);
StringList UnpackMultiString(StringView packed);

} // namespace wm
