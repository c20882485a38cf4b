// Tag sets and byte lists the tag and contract tests share. Portable: no Windows headers.
#pragma once

#include "tags/IDTagSet.h"

#include <cstdint>
#include <initializer_list>
#include <vector>

namespace wm::test {

// A set with what a tag block must carry through: text beyond the BMP, an empty value, a
// control character and a picture with zero bytes in it.
inline IDTagSet SampleTags() {
    IDTagSet set;
    set.Add(u"title", u"Caf\u00E9 \U0001F3B5");
    set.Add(u"empty", u"");
    set.Add(u"artist", u"A\rB");
    const uint8_t picture[] = {0xFF, 0xD8, 0x00, 0x01, 0xFF};
    set.AddData(u"_albumart_1_Front Album Cover", picture, sizeof picture);
    return set;
}

// Bytes written as a list of small numbers.
inline std::vector<uint8_t> ByteList(std::initializer_list<int> list) {
    std::vector<uint8_t> v;
    for (int b : list)
        v.push_back(static_cast<uint8_t>(b));
    return v;
}

} // namespace wm::test
