// The overall progress of a batch, in audio: a source's length is known once its converter has
// opened it; until then it is estimated from its size at the rate (audio per byte) measured on
// sources of its type, and the time left is the audio left at the speed measured so far.
// Portable.
#pragma once

#include "text/String.h"

#include <cstdint>
#include <map>
#include <vector>

namespace wm {

struct RunningShare {
    uint64_t sourceBytes = 0;
    int64_t lengthMs = -1; // -1 until the converter reported it
    int percent = 0;
    String name; // the source's file name, shown on its line; its extension is its type
};

// Audio and bytes of the sources of one type whose lengths are known.
struct MeasuredType {
    uint64_t audioMs = 0;
    uint64_t bytes = 0;
};

struct BatchProgressState {
    size_t filesTotal = 0;
    size_t filesDone = 0;       // converted or failed
    uint64_t bytesTotal = 0;    // sizes of the sources to convert
    uint64_t bytesFinished = 0; // of the finished ones
    uint64_t audioMsFinished = 0;
    std::vector<RunningShare> running;
    std::map<String, uint64_t> bytesWaiting; // not started yet, by type (".flac", case-folded)
    std::map<String, MeasuredType> measured; // finished with a known length, by type
};

// The key of a source's type in the maps above.
String SourceType(StringView name);

struct ProgressFigures {
    double fraction = 0;       // 0..1 of the audio (of the source bytes until a rate is known)
    uint64_t audioMsDone = 0;  // audio converted so far, the running part included
    int64_t audioMsTotal = -1; // all of it, estimated; -1 while it cannot be told
    double speed = 0;          // audio time per wall time; 0 before anything was done
    int64_t msLeft = -1;       // -1 while it cannot be told
};

ProgressFigures ComputeProgress(const BatchProgressState& state, uint64_t elapsedMs);

// "Files 3/40  Audio 0:12:05 of 0:40:00  12.5x  Left 0:01:10  (31%)": one line for the whole
// batch.
String OverallLine(const BatchProgressState& state, const ProgressFigures& figures);
// "  42%  name" for each running conversion.
StringList RunningLines(const BatchProgressState& state);

} // namespace wm
