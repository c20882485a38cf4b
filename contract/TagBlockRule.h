// What a tag block a plug-in hands over must be for the host to take it whole: the entry
// count, then that many records, each with a non-empty name and a value that both end (with
// their 0 terminator) inside the record, and nothing after the last record.
#pragma once

#include <cstddef>
#include <string>

namespace wm {

// Plain words on the first fault; empty when the block is sound.
std::string TagBlockProblem(const void* data, size_t size);
bool TagBlockIsWellFormed(const void* data, size_t size);

} // namespace wm
