// What a tag block a plug-in hands over must be for the host to take it whole: the entry
// count, then that many records, each with a non-empty name and a value that both end (with
// their 0 terminator) inside the record, and nothing after the last record.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace wm {

// What can be wrong with a tag block; the first fault found is the one reported.
enum class TagBlockFault : uint8_t {
    None,
    NoCount,           // fewer than the 4 bytes of the entry count
    EndsEarly,         // fewer records than the count says
    RecordTooShort,    // a record length below 8
    RecordPastEnd,     // a record length that runs past the block
    NameUnterminated,  // a name without its 0 terminator inside the record
    NameEmpty,         // a name of no characters
    ValueUnterminated, // a value without its 0 terminator inside the record
    SizeMismatch,      // bytes after the last record
};
TagBlockFault FindTagBlockFault(const void* data, size_t size);
// The fault's short name ("value-unterminated"), from one table with every fault.
const char* TagBlockFaultName(TagBlockFault fault);
// Plain words on the first fault, naming the entry; empty when the block is sound.
std::string TagBlockProblem(const void* data, size_t size);
bool TagBlockIsWellFormed(const void* data, size_t size);

} // namespace wm
