// The CUESHEET metadata block of a FLAC file (what `metaflac --import-cuesheet-from` writes)
// as a cue sheet whose one FILE is the image itself. Portable.
#pragma once

#include "bundled/cue/CueSheet.h"

#include <functional>
#include <string>
#include <string_view>

namespace wm::cue {

// FLAC's metadata block type of a cue sheet.
constexpr uint8_t kFlacCueSheetBlock = 5;

// body: the block's bytes after its 4-byte header; rate: the stream's sample rate. Track
// offsets are in samples; the lead-out track is left out.
bool CueSheetFromFlacBlock(std::string_view body, uint32_t rate, StringView imageName,
                           CueSheet& sheet, CueError& error);

// Reads `length` bytes at `offset` of a file; returns how many it read.
using ReadAt = std::function<size_t(uint64_t offset, void* buffer, size_t length)>;

// What a FLAC image carries about its disc: the stream's rate, the CUESHEET block's body and
// the CUESHEET comment (either may be empty).
struct FlacDisc {
    uint32_t rate = 0;
    std::string cueBlock;
    String cueComment;
};

// False when the file is not FLAC. Reads the metadata blocks only.
bool ReadFlacDisc(const ReadAt& read, FlacDisc& disc);

// The sheet a FLAC image carries: its block, else its comment (whose FILE lines all mean the
// image). False with a reason when it carries none or a broken one.
bool SheetInFlac(const FlacDisc& disc, StringView imageName, CueSheet& sheet, CueError& error);

} // namespace wm::cue
