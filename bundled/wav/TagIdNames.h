// Tables of four-letter ids (INFO sub-chunks, ID3 text frames) and the tag names they stand for.
#pragma once

#include "text/String.h"

#include <span>
#include <string_view>

namespace wm::wav {

struct TagIdName {
    char id[5];
    const char16_t* name;
};

// The name `table` gives `id`, or null when it lists none.
const char16_t* FindIdName(std::span<const TagIdName> table, std::string_view id);

// The first id `table` lists for `name` (compared case-blind); failing that, `name` itself when
// it has the shape of an id of the family: four characters A-Z or 0-9, the first `lead`.
bool FindNameId(std::span<const TagIdName> table, StringView name, char16_t lead, char (&id)[5]);

} // namespace wm::wav
