// The sources of a batch: files given by name and the files found in folders (recursively) that
// an installed decoder reads; everything else is listed as skipped with the reason.
#pragma once

#include "batch/Adaptation.h"
#include "batch/BatchReport.h"
#include "batch/OutputNames.h"
#include "batch/PathFilter.h"
#include "plugins/clTwDecoder.h"
#include "text/String.h"

#include <functional>
#include <vector>

namespace wm {

struct SourceScan {
    std::vector<SourceFile> sources;
    std::vector<FileOutcome> skipped;
    std::vector<SourceFile> others; // the files no decoder reads, for -copyfiles
};

// True for a file the batch wrote itself (its record names it): never a source.
using OwnOutput = std::function<bool(const String& path)>;

// inputs: full paths; extensions: the types the decoders read (".flac"...). A folder keeps its
// own name below the output folder ("Album A\01.flac"), as a copy would, unless it is the output
// folder itself (outputs next to their sources). An output folder inside an input folder is never
// entered, and the batch's own outputs and record are not sources. A file the filter does not
// keep is left out silently.
SourceScan ScanInputs(const StringList& inputs, const StringList& extensions,
                      const String& outFolder, const OwnOutput& ownOutput,
                      const PathFilter& filter);

// What the source's decoder reads of it: its tags ("title", "artist"...) for naming patterns and
// its format for adapting it to the encoder; of one track of a disc image when `track` is given.
// Empty values and a zero format when no decoder opens it.
struct SourceFacts {
    TagLookup tags;
    SourceShape shape;
};

// Reads the facts of source after source. A decoder library stays loaded from one source to the
// next of its type: loading one costs a few milliseconds under Wine, which a library of files
// paid before its first conversion started.
class SourceFactsReader {
  public:
    explicit SourceFactsReader(String programFolder) : programFolder_(std::move(programFolder)) {}
    SourceFacts Read(const String& path, const String& track);

  private:
    String programFolder_;
    clTwDecoder decoder_;
};

} // namespace wm
