// The sources of a batch: files given by name and the files found in folders (recursively) that
// an installed decoder reads; everything else is listed as skipped with the reason.
#pragma once

#include "batch/BatchReport.h"
#include "batch/OutputNames.h"
#include "text/String.h"

#include <vector>

namespace wm {

struct SourceScan {
    std::vector<SourceFile> sources;
    std::vector<FileOutcome> skipped;
};

// inputs: full paths; extensions: the types the decoders read (".flac"...). The output folder
// is never entered, so that outputs written inside an input folder are not taken as sources
// by the next run.
SourceScan ScanInputs(const StringList& inputs, const StringList& extensions,
                      const String& outFolder);

// The source's tags as its decoder reads them ("title", "artist"...), for naming patterns; of
// one track of a disc image when `track` is given. Empty values when no decoder opens it.
TagLookup ReadSourceTags(const String& path, const String& programFolder, const String& track);

} // namespace wm
