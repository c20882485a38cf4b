#include "bundled/wav/TagIdNames.h"

#include <cstring>

namespace wm::wav {

namespace {

bool IsIdChar(char16_t c) {
    return (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9');
}

} // namespace

const char16_t* FindIdName(std::span<const TagIdName> table, std::string_view id) {
    for (const TagIdName& entry : table)
        if (id == entry.id)
            return entry.name;
    return nullptr;
}

bool FindNameId(std::span<const TagIdName> table, StringView name, char16_t lead, char (&id)[5]) {
    for (const TagIdName& entry : table) {
        if (EqualsNoCase(name, entry.name)) {
            std::memcpy(id, entry.id, 5);
            return true;
        }
    }
    if (name.size() != 4 || name[0] != lead)
        return false;
    for (char16_t c : name)
        if (!IsIdChar(c))
            return false;
    for (int i = 0; i < 4; ++i)
        id[i] = static_cast<char>(name[i]);
    id[4] = 0;
    return true;
}

} // namespace wm::wav
