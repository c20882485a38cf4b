#include "contract/TagBlockRule.h"

#include "endian/LittleEndian.h"

namespace wm {

namespace {

struct TagBlockFaultEntry {
    TagBlockFault fault;
    const char* name;
};

constexpr TagBlockFaultEntry kTagBlockFaults[] = {
    {TagBlockFault::None, "sound"},
    {TagBlockFault::NoCount, "no-count"},
    {TagBlockFault::EndsEarly, "ends-early"},
    {TagBlockFault::RecordTooShort, "record-too-short"},
    {TagBlockFault::RecordPastEnd, "record-past-end"},
    {TagBlockFault::NameUnterminated, "name-unterminated"},
    {TagBlockFault::NameEmpty, "name-empty"},
    {TagBlockFault::ValueUnterminated, "value-unterminated"},
    {TagBlockFault::SizeMismatch, "size-mismatch"},
};

// The first fault and where it is: the entry (1-based), its record length, the entry count,
// and how many bytes the records filled.
struct Finding {
    TagBlockFault fault = TagBlockFault::None;
    uint32_t entry = 0, length = 0, count = 0;
    size_t filled = 0;
};

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

TagBlockFault RecordFault(const uint8_t* record, uint32_t length) {
    const uint8_t* end = record + length;
    const uint8_t* p = record + 4;
    size_t nameUnits = 0, valueUnits = 0;
    if (!SkipWideText(p, end, &nameUnits))
        return TagBlockFault::NameUnterminated;
    if (nameUnits == 0)
        return TagBlockFault::NameEmpty;
    if (!SkipWideText(p, end, &valueUnits))
        return TagBlockFault::ValueUnterminated;
    return TagBlockFault::None;
}

Finding Examine(const void* data, size_t size) {
    Finding found;
    const auto fault = [&found](TagBlockFault kind) {
        found.fault = kind;
        return found;
    };
    if (!data || size < 4)
        return fault(TagBlockFault::NoCount);
    const auto* block = static_cast<const uint8_t*>(data);
    found.count = Le32(block);
    size_t at = 4;
    for (uint32_t i = 0; i < found.count; ++i) {
        found.entry = i + 1;
        if (size - at < 4)
            return fault(TagBlockFault::EndsEarly);
        found.length = Le32(block + at);
        if (found.length < 8)
            return fault(TagBlockFault::RecordTooShort);
        if (found.length > size - at)
            return fault(TagBlockFault::RecordPastEnd);
        if (const TagBlockFault inRecord = RecordFault(block + at, found.length);
            inRecord != TagBlockFault::None)
            return fault(inRecord);
        at += found.length;
    }
    found.filled = at;
    return at == size ? found : fault(TagBlockFault::SizeMismatch);
}

} // namespace

TagBlockFault FindTagBlockFault(const void* data, size_t size) {
    return Examine(data, size).fault;
}

const char* TagBlockFaultName(TagBlockFault fault) {
    for (const TagBlockFaultEntry& entry : kTagBlockFaults)
        if (entry.fault == fault)
            return entry.name;
    return "unknown";
}

std::string TagBlockProblem(const void* data, size_t size) {
    const Finding found = Examine(data, size);
    const std::string entry = "entry " + std::to_string(found.entry);
    switch (found.fault) {
    case TagBlockFault::None:
        return {};
    case TagBlockFault::NoCount:
        return "a tag block needs at least its 4-byte entry count";
    case TagBlockFault::EndsEarly:
        return "the tag block ends before " + entry + " of " + std::to_string(found.count);
    case TagBlockFault::RecordTooShort:
        return entry + "'s length " + std::to_string(found.length) +
               " is below 8 (its 4 bytes, a name, a value)";
    case TagBlockFault::RecordPastEnd:
        return entry + "'s length " + std::to_string(found.length) + " runs past the tag block";
    case TagBlockFault::NameUnterminated:
        return entry + "'s name has no 0 terminator inside its record";
    case TagBlockFault::NameEmpty:
        return entry + " has an empty name";
    case TagBlockFault::ValueUnterminated:
        return entry + "'s value has no 0 terminator inside its record (an empty value is one "
                       "0 character)";
    case TagBlockFault::SizeMismatch:
        return "the tag block's size is " + std::to_string(size) + " bytes, its entries fill " +
               std::to_string(found.filled);
    }
    return {};
}

bool TagBlockIsWellFormed(const void* data, size_t size) {
    return FindTagBlockFault(data, size) == TagBlockFault::None;
}

} // namespace wm
