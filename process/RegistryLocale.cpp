// The number format from the user's regional settings.
#include "process/Registry.h"
#include "text/NumberText.h"

namespace wm {

namespace {

LocaleNumberSettings LoadFromRegistry() {
    const char16_t* key = u"Control Panel\\International";
    auto read = [key](const char16_t* name) { return RegReadString(name, HKEY_CURRENT_USER, key); };
    return LocaleFromValues(read(u"iLZero"), read(u"iNegNumber"), read(u"sGrouping"),
                            read(u"sNegativeSign"), read(u"sPositiveSign"), read(u"sThousand"),
                            read(u"sDecimal"), read(u"sTime"));
}

} // namespace

void InstallRegistryLocaleLoader() {
    SetLocaleLoader(&LoadFromRegistry);
}

} // namespace wm
