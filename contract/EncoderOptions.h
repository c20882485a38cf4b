// The converter's own options that reach every encoder's command line: the host does not take
// them out (`-sourceisfloat`, `-help`, and `-dspeffectN` beyond the effects it loaded, after a
// gap in the numbers). An encoder ignores the harmless ones and explains a -dspeffectN, which is
// an effect the user meant and should hear about rather than lose.
#pragma once

#include "options/OptionStore.h"
#include "text/String.h"

namespace wm {

enum class HostOption { NotOurs, Harmless, Effect };

HostOption ClassifyHostOption(StringView name);

inline bool IsHostOptionForEveryEncoder(StringView name) {
    return ClassifyHostOption(name) != HostOption::NotOurs;
}

// For an encoder's option loop: true when `name` is one of the host's own, with `refusal` set for
// a -dspeffectN ("-dspeffect2: not an encoder option: ...") and left empty for a harmless one.
bool TakeHostOption(StringView name, String& refusal);

// An encoder's option loop: the host's options taken (a refusal ends it, in `error`), each of
// the encoder's own handed to `take(name, value)`, which returns false, `error` set, to end it.
template <class Take> bool ForEachEncoderOption(StringView commandLine, String& error, Take take) {
    OptionStore store;
    store.Fill(commandLine);
    for (size_t i = 0; i < store.Count(); ++i) {
        const String& name = store.NameAt(i);
        if (String refusal; TakeHostOption(name, refusal)) {
            if (!refusal.empty())
                return error = refusal, false;
            continue;
        }
        if (!take(name, store.ValueAt(i)))
            return false;
    }
    return true;
}

// Why a -dspeffectN reached the encoder.
inline constexpr const char16_t* kEffectOptionReason =
    u"not an encoder option: an effect is written Name=settings, and the numbers must not skip "
    u"one";

} // namespace wm
