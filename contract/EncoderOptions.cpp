#include "contract/EncoderOptions.h"

#include "protocol/ConverterOptions.h"

namespace wm {

// Taken from the converter's option table: what it hands every encoder is harmless, and any name
// on a numbered option's stem is an effect, also one the converter could not read ("-dspeffect01").
HostOption ClassifyHostOption(StringView name) {
    for (const ConverterOption& o : ConverterOptions()) {
        if (o.numbered && StartsWithNoCase(name, o.name))
            return HostOption::Effect;
        if (!o.numbered && o.forwarded == Forwarded::Yes && EqualsNoCase(name, o.name))
            return HostOption::Harmless;
    }
    return HostOption::NotOurs;
}

bool TakeHostOption(StringView name, String& refusal) {
    const HostOption host = ClassifyHostOption(name);
    if (host == HostOption::Effect)
        refusal = u"-" + String(name) + u": " + kEffectOptionReason;
    return host != HostOption::NotOurs;
}

} // namespace wm
