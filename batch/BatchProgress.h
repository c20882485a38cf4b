// The overall progress of a batch. The sources' lengths are known only once each converter has
// opened its source, so the work is weighed by the sources' sizes in bytes, and the audio time
// shown is what was converted. Portable.
#pragma once

#include "text/String.h"

#include <cstdint>
#include <vector>

namespace wm {

struct RunningShare {
    uint64_t sourceBytes = 0;
    int64_t lengthMs = -1; // -1 until the converter reported it
    int percent = 0;
    String name; // shown on its line
};

struct BatchProgressState {
    size_t filesTotal = 0;
    size_t filesDone = 0;       // converted or failed
    uint64_t bytesTotal = 0;    // sizes of the sources to convert
    uint64_t bytesFinished = 0; // of the finished ones
    uint64_t audioMsFinished = 0;
    std::vector<RunningShare> running;
};

struct ProgressFigures {
    double fraction = 0;      // 0..1 of the work, by source bytes
    uint64_t audioMsDone = 0; // audio converted so far, the running part included
    double speed = 0;         // audio time per wall time; 0 before anything was done
    int64_t msLeft = -1;      // -1 while it cannot be told
};

ProgressFigures ComputeProgress(const BatchProgressState& state, uint64_t elapsedMs);

// "Files 3/40  Audio 0:12:05  12.5x  Left 0:01:10  (31%)": one line for the whole batch.
String OverallLine(const BatchProgressState& state, const ProgressFigures& figures);
// "  42%  name" for each running conversion.
StringList RunningLines(const BatchProgressState& state);

} // namespace wm
