// The end of a batch: what became of each file, the report lines, the summary and the exit
// status; and the plan's command lines. Portable.
#pragma once

#include "batch/BatchArguments.h"
#include "text/String.h"

#include <cstdint>
#include <vector>

namespace wm {

enum class FileStatus { kConverted, kCopied, kSkipped, kFailed };

struct FileOutcome {
    String input;
    String output;
    FileStatus status = FileStatus::kFailed;
    String reason;        // why it failed or was skipped; empty when converted
    int64_t audioMs = -1; // -1 when unknown
    double seconds = 0;   // wall time of its conversion
    uint64_t bytes = 0;   // size of the output
    StringList notes;     // what the user should know of a conversion that went through
};

FileOutcome Outcome(StringView input, StringView output, FileStatus status, StringView reason = {});

// The reason or note in the names the user knows: the batch's temporary output named as the
// output itself.
String InUserNames(StringView text, StringView temporaryOutput, StringView output);

// The report's first line (CSV only; JSON lines have none), then one line per file. Both end
// without a line break.
String ReportHeader(ReportFormat format);
String ReportLine(const FileOutcome& outcome, ReportFormat format);

// "Converted 38, skipped 1, failed 1." (with ", copied n" after the first count when any was)
// followed by one line per failure with its reason; when
// nothing was converted because every output was up to date, it says so.
StringList SummaryLines(const std::vector<FileOutcome>& outcomes);

// 0 when nothing failed, 1 when any conversion failed.
int BatchExitStatus(const std::vector<FileOutcome>& outcomes);

// One conversion as a Windows command line for -plan: the batch itself for one job, so that the
// job keeps the batch's safety (a temporary name moved on success, an up-to-date output kept,
// the output folder's record): "batch" -convert_to="..." -out="..." -file="..." -as="..." and
// the options handed on.
String PlanLine(StringView batchProgram, StringView codec, StringView outFolder, StringView input,
                StringView output, StringView passThrough);

} // namespace wm
