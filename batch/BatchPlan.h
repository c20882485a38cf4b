// From the command line to the list of conversions: the inputs found, an output for each, the
// refusal of outputs that collide, and the outputs that are already up to date.
#pragma once

#include "batch/BatchArguments.h"
#include "batch/BatchReport.h"
#include "batch/Conversion.h"

#include <vector>

namespace wm {

struct BatchPlan {
    std::vector<PlannedConversion> conversions;
    std::vector<FileOutcome> skipped; // unreadable types, missing inputs, up-to-date outputs
    StringList collisions;            // refused: nothing may run
    size_t sourcesFound = 0;
};

// programFolder: where Wavemill.exe and its plug-in folders are; extension: the encoder's.
BatchPlan PlanBatch(const BatchOptions& options, const String& programFolder,
                    const String& extension);

// The path made absolute against the current folder.
String FullPath(const String& path);

} // namespace wm
