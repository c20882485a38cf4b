#include "contract/EncoderOptions.h"

namespace wm {

HostOption ClassifyHostOption(StringView name) {
    if (EqualsNoCase(name, u"sourceisfloat") || EqualsNoCase(name, u"help"))
        return HostOption::Harmless;
    return StartsWithNoCase(name, u"dspeffect") ? HostOption::Effect : HostOption::NotOurs;
}

bool TakeHostOption(StringView name, String& refusal) {
    const HostOption host = ClassifyHostOption(name);
    if (host == HostOption::Effect)
        refusal = u"-" + String(name) + u": " + kEffectOptionReason;
    return host != HostOption::NotOurs;
}

} // namespace wm
