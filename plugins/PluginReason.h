// Error lines that carry the plug-in's own reason: "Error: Unable to open 'a.wav' for
// decoding: not a RIFF WAVE file."
#pragma once

#include "text/String.h"

namespace wm {

inline String WithReason(StringView line, StringView reason) {
    if (reason.empty())
        return String(line);
    String out(line);
    if (!out.empty() && out.back() == u'.')
        out.pop_back();
    out += u": ";
    out += reason;
    if (out.back() != u'.')
        out += u'.';
    return out;
}

} // namespace wm
