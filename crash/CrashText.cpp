#include "crash/CrashText.h"

#include <cstdio>

namespace wm {

namespace {

struct KnownException {
    uint32_t code;
    const char16_t* text;
};

constexpr KnownException kKnown[] = {
    {0xC00000FD, u"stack overflow"},
    {0xC000001D, u"illegal instruction"},
    {0xC0000096, u"privileged instruction"},
    {0xC0000094, u"integer division by zero"},
    {0xC0000095, u"integer overflow"},
    {0xC000008C, u"array bounds exceeded"},
    {0xC0000006, u"in-page error (the file behind the memory could not be read)"},
    {0xC0000409, u"stack buffer overrun"},
    {0xC0000374, u"heap corruption"},
    {0x80000003, u"breakpoint"},
    // What abort() becomes in this program: std::terminate after an exception nobody caught.
    {0x40000015, u"abort (an exception was thrown and not caught, or abort() was called)"},
};

String Hex(uint64_t value, int digits) {
    char text[24];
    std::snprintf(text, sizeof text, "0x%0*llX", digits, static_cast<unsigned long long>(value));
    return Widen(text);
}

String AccessViolationText(const CrashFacts& facts) {
    if (!facts.hasAccess)
        return u"access violation";
    const char16_t* verb = facts.accessKind == 1   ? u"writing"
                           : facts.accessKind == 8 ? u"executing"
                                                   : u"reading";
    return String(u"access violation ") + verb + u" address " + Hex(facts.address, 16);
}

} // namespace

String ExceptionText(const CrashFacts& facts) {
    if (facts.code == 0xC0000005)
        return AccessViolationText(facts);
    for (const KnownException& known : kKnown)
        if (known.code == facts.code)
            return known.text;
    return u"exception " + Hex(facts.code, 8);
}

String CrashLine(const CrashFacts& facts) {
    String line = u"Error: ";
    if (!facts.pluginFile.empty()) {
        line += u"The plug-in '" + facts.pluginFile + u"' crashed";
        if (!facts.entryPoint.empty())
            line += u" in " + facts.entryPoint;
    } else {
        line += u"Wavemill crashed";
        if (!facts.faultModule.empty())
            line += u" in '" + facts.faultModule + u"'";
    }
    line += u": " + ExceptionText(facts) + u".";
    line += facts.dumpPath.empty() ? String(u" No crash dump could be written.")
                                   : u" Crash dump: " + facts.dumpPath;
    return line;
}

} // namespace wm
