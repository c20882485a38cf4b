#include "contract/EncoderOptions.h"

namespace wm {

bool IsHostOptionForEveryEncoder(StringView name) {
    return EqualsNoCase(name, u"sourceisfloat") || EqualsNoCase(name, u"help") ||
           StartsWithNoCase(name, u"dspeffect");
}

} // namespace wm
