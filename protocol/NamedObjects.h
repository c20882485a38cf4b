// The kernel objects a parent shares with a converter: three named events and an 8-byte shared
// block of the bytes encoded, guarded by a named mutex. A parent names them, makes them first
// and hands the names over as options. Portable: the names, not the objects.
#pragma once

#include "text/String.h"

#include <cstdint>

namespace wm {

// The block holds one signed 64-bit count in the machine's byte order.
inline constexpr uint32_t kBytesEncodedBlockSize = sizeof(int64_t);

// The file mapping and the guard mutex of the shared block with this base name.
String SharedBlockMappingName(StringView baseName);
String SharedBlockGuardName(StringView baseName);

struct ParentObjectNames {
    String quitEvent;           // set: the run stops and fails
    String afterConvErrorEvent; // set: the finished run is marked failed
    String watchdogEvent;       // set every 50 ms while the run lives
    String bytesEncodedBlock;   // base name of the shared block
};

// One conversion's names from a prefix that no other conversion on the machine uses.
ParentObjectNames ParentObjectNamesFor(StringView uniquePrefix);

// The options that hand the names to the converter.
String ParentObjectOptions(const ParentObjectNames& names);

} // namespace wm
