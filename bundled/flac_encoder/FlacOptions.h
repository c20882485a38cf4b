// The FLAC encoder's own options, named after the reference tool's where the option syntax
// allows: -0 ... -8 (or -compression-level-N), -V / -verify, -b / -blocksize N, -padding N,
// -no-padding, -no-seektable.
#pragma once

#include "text/String.h"

#include <cstdint>

namespace wm::bundled {

struct FlacOptions {
    uint32_t level = 5;
    bool verify = false;
    uint32_t blockSize = 0; // 0: the level's own
    uint32_t padding = 8192;
    bool seekTable = true;
};

// False, with the reason, for an unknown option or a value out of range.
bool ParseFlacOptions(StringView commandLine, FlacOptions& options, String& error);

} // namespace wm::bundled
