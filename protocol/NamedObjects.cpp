#include "protocol/NamedObjects.h"

#include "protocol/CommandText.h"
#include "protocol/ConverterOptions.h"

namespace wm {

String SharedBlockMappingName(StringView baseName) {
    return u"NSharedData_" + String(baseName);
}

String SharedBlockGuardName(StringView baseName) {
    return u"SMutex_" + String(baseName);
}

ParentObjectNames ParentObjectNamesFor(StringView uniquePrefix) {
    const String prefix(uniquePrefix);
    return {prefix + u"quit", prefix + u"fail", prefix + u"beat", prefix + u"bytes"};
}

String ParentObjectOptions(const ParentObjectNames& names) {
    return OptionText(option::kQuitEvent, names.quitEvent) +
           OptionText(option::kAfterConvErrorEvent, names.afterConvErrorEvent) +
           OptionText(option::kWatchdogEvent, names.watchdogEvent) +
           OptionText(option::kBytesEncodedBlock, names.bytesEncodedBlock);
}

} // namespace wm
