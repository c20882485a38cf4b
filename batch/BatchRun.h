// Runs the planned conversions, `jobs` at a time, until all have ended or the user stopped the
// batch: the first Ctrl-C or Ctrl-Break asks every running converter to stop and starts no more,
// a second one ends them. A failure after which the destination takes no more (full, read-only)
// starts no more either; the running ones finish.
#pragma once

#include "batch/BatchReport.h"
#include "batch/Conversion.h"
#include "batch/ProgressView.h"

#include <functional>
#include <vector>

namespace wm {

struct BatchResult {
    std::vector<FileOutcome> outcomes; // in the order the conversions ended
    size_t notStarted = 0;             // left when the batch was stopped
    bool stopped = false;
    String halted; // why no more were started when the destination took no more; else empty
};

// Called as each conversion ends, before its line is shown, with its number (1 for the plan's
// first) and what became of it: the caller records a converted output, may add to the outcome's
// reason and tags an album whose last track this was.
using FileEnded = std::function<void(uint32_t number, FileOutcome& outcome)>;

BatchResult RunBatch(const std::vector<PlannedConversion>& plan, const ConversionSetup& setup,
                     uint32_t jobs, ProgressView& view, const FileEnded& ended);

} // namespace wm
