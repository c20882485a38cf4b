// A cue sheet read from its text: the disc's fields, the FILE lines and the tracks with their
// INDEX times. Every refusal names the line it is about. Portable: no Windows headers.
#pragma once

#include "text/String.h"

#include <cstdint>
#include <utility>
#include <vector>

namespace wm::cue {

// CD frames: 75 to the second.
constexpr uint32_t kFramesPerSecond = 75;

struct CueRemark {
    String name; // "DATE", "GENRE", "DISCNUMBER", "REPLAYGAIN_ALBUM_GAIN"...: upper case
    String value;
};

struct CueTrack {
    uint32_t number = 0;
    size_t file = 0; // index into CueSheet::files
    uint32_t line = 0;
    String title;
    String performer;
    String isrc;
    std::vector<CueRemark> remarks;
    bool hasIndex0 = false;
    uint64_t index0 = 0; // frames from the start of its file
    bool hasIndex1 = false;
    uint64_t index1 = 0;
    uint32_t index1Line = 0;
};

struct CueFile {
    String name; // as written
    uint32_t line = 0;
};

struct CueSheet {
    String title;
    String performer;
    std::vector<CueRemark> remarks;
    std::vector<CueFile> files;
    std::vector<CueTrack> tracks;
};

struct CueError {
    uint32_t line = 0; // 0: about the sheet as a whole
    String reason;
};

// Parses decoded text (any line ends). False with the first problem found.
bool ParseCueText(StringView text, CueSheet& sheet, CueError& error);

// The remark of that name (upper case), or null.
const CueRemark* FindRemark(const std::vector<CueRemark>& remarks, StringView name);

// "mm:ss:ff" as written in a sheet.
String FramesText(uint64_t frames);

} // namespace wm::cue
