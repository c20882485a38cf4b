#include "contract/TagBlockRule.h"

#include "text/LittleEndian.h"

#include <cstdint>

namespace wm {

namespace {

// Skips one zero-terminated UTF-16 text inside [p, end); false when it does not end there.
bool SkipWideText(const uint8_t*& p, const uint8_t* end, size_t* units) {
    *units = 0;
    while (end - p >= 2) {
        const bool terminator = p[0] == 0 && p[1] == 0;
        p += 2;
        if (terminator)
            return true;
        ++*units;
    }
    return false;
}

std::string RecordProblem(const uint8_t* record, uint32_t length, uint32_t index) {
    const std::string entry = "entry " + std::to_string(index + 1);
    const uint8_t* end = record + length;
    const uint8_t* p = record + 4;
    size_t nameUnits = 0, valueUnits = 0;
    if (!SkipWideText(p, end, &nameUnits))
        return entry + "'s name has no 0 terminator inside its record";
    if (nameUnits == 0)
        return entry + " has an empty name";
    if (!SkipWideText(p, end, &valueUnits))
        return entry + "'s value has no 0 terminator inside its record (an empty value is one "
                       "0 character)";
    return {};
}

} // namespace

std::string TagBlockProblem(const void* data, size_t size) {
    if (!data || size < 4)
        return "a tag block needs at least its 4-byte entry count";
    const auto* block = static_cast<const uint8_t*>(data);
    const uint32_t count = Le32(block);
    size_t at = 4;
    for (uint32_t i = 0; i < count; ++i) {
        if (size - at < 4)
            return "the tag block ends before entry " + std::to_string(i + 1) + " of " +
                   std::to_string(count);
        const uint32_t length = Le32(block + at);
        const std::string entry = "entry " + std::to_string(i + 1) + "'s length ";
        if (length < 8)
            return entry + std::to_string(length) + " is below 8 (its 4 bytes, a name, a value)";
        if (length > size - at)
            return entry + std::to_string(length) + " runs past the tag block";
        if (std::string problem = RecordProblem(block + at, length, i); !problem.empty())
            return problem;
        at += length;
    }
    if (at != size)
        return "the tag block's size is " + std::to_string(size) + " bytes, its entries fill " +
               std::to_string(at);
    return {};
}

bool TagBlockIsWellFormed(const void* data, size_t size) {
    return TagBlockProblem(data, size).empty();
}

} // namespace wm
