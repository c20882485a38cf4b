#include "contract/EncoderOptions.h"

namespace wm {

HostOption ClassifyHostOption(StringView name) {
    if (EqualsNoCase(name, u"sourceisfloat") || EqualsNoCase(name, u"help"))
        return HostOption::Harmless;
    return StartsWithNoCase(name, u"dspeffect") ? HostOption::Effect : HostOption::NotOurs;
}

} // namespace wm
