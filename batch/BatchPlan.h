// From the command line to the list of conversions: the inputs found, an output for each,
// collisions settled by the user's policy, and the outputs that are already up to date.
#pragma once

#include "batch/BatchArguments.h"
#include "batch/BatchReport.h"
#include "batch/Conversion.h"
#include "batch/OutputRecord.h"

#include <map>
#include <vector>

namespace wm {

// A file copied as it is: a source already in the target format (-copysame), or a file beside
// the music (-copyfiles).
struct PlannedCopy {
    String source;
    String output;
};

struct BatchPlan {
    std::vector<PlannedConversion> conversions;
    std::vector<PlannedCopy> copies;
    std::vector<FileOutcome> skipped; // unreadable types, missing inputs, up-to-date outputs
    std::map<String, String> renamed; // source -> how its output was named to settle a collision
    std::map<String, StringList> adapted; // source -> how it was adapted to the encoder
    size_t sourcesFound = 0;
};

// programFolder: where Wavemill.exe and its plug-in folders are; extension: the encoder's;
// record: what the output folder's outputs were made from (LoadRecord).
BatchPlan PlanBatch(const BatchOptions& options, const String& programFolder,
                    const String& extension, const OutputRecord& record);

// One source with its output decided: skipped when not found, kept when up to date, else a
// conversion (a planned job's source, converted on its own).
void PlanOneSource(const BatchOptions& options, const SourceFile& source, const String& output,
                   const String& programFolder, const OutputRecord& record, BatchPlan& plan);

// The output folder's record as a file holds it; empty when there is none yet.
OutputRecord LoadRecord(const String& outFolder);

// Adds a converted output to its folder's record; false when the record cannot be written.
bool AppendToRecord(const String& outFolder, const OutputRecord& record, const RecordEntry& entry);

// The path made absolute against the current folder.
String FullPath(const String& path);

} // namespace wm
