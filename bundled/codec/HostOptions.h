// Options of the converter's own that its rules leave on an encoder's command line: -sourceisfloat
// and -help are harmless there; a -dspeffectN is an effect the converter could not take (no "="
// in it, or a number after a gap), which the user should hear about rather than lose.
#pragma once

#include "text/String.h"

namespace wm::codec {

enum class HostOption { NotOurs, Harmless, Effect };

inline HostOption ClassifyHostOption(StringView name) {
    if (EqualsNoCase(name, u"sourceisfloat") || EqualsNoCase(name, u"help"))
        return HostOption::Harmless;
    return StartsWithNoCase(name, u"dspeffect") ? HostOption::Effect : HostOption::NotOurs;
}

// Why a -dspeffectN reached the encoder.
inline constexpr const char16_t* kEffectOptionReason =
    u"not an encoder option: an effect is written Name=settings, and the numbers must not skip "
    u"one";

} // namespace wm::codec
