// The batch program's command line: its own options, the inputs, and the options it hands on to
// every conversion. Portable: the caller splits the process command line into arguments.
#pragma once

#include "batch/Collisions.h"
#include "batch/OutputNames.h"
#include "protocol/CommandText.h"
#include "text/String.h"

#include <cstdint>
#include <functional>
#include <optional>

namespace wm {

enum class ReportFormat { kCsv, kJsonLines };

// -replaygain: each converter measures its track; with album, the batch adds each album's gain.
enum class ReplayGainMode { kOff, kTrack, kAlbum };

struct BatchOptions {
    String codec;      // -convert_to
    String outFolder;  // -out (the current folder when not given)
    String pattern;    // -pattern; empty mirrors the input tree
    uint32_t jobs = 0; // -jobs; 0 = one per processor
    uint32_t hangSeconds = 60;
    bool overwrite = false;
    CollidePolicy collide = CollidePolicy::kSuffix;
    String include;        // -include: ";"-separated patterns of the files that take part
    String exclude;        // -exclude
    String copyFiles;      // -copyfiles: patterns of the files beside the music copied along
    bool copySame = false; // -copysame: a source in the target format is copied, not converted
    bool adapt = true;     // -noadapt: a source the encoder does not take fails with its reason
    String reportFile;
    ReportFormat reportFormat = ReportFormat::kCsv;
    String planFile;
    ReplayGainMode replayGain = ReplayGainMode::kOff;
    std::optional<double> albumLoudness; // -albumloudness=<LUFS>
    String jobSource;         // -file: one planned job, converted to -as with the batch's safety
    String jobOutput;         // -as
    String jobTrack;          // -track: the disc image's track a planned job converts
    bool hiddenTrack = false; // -hiddentrack: a disc image's audio before track 1 as a track
    bool help = false;
    StringList inputs;
    // Encoder options, -dspeffectN, -tag... as the converter's option text, each starting with
    // a space: ` -V="2"`, ` -noidtag`; ` -replaygain` when the converters measure.
    String passThrough;
};

// True when the text names an existing file or folder: an argument that does is an input even
// right after an option written without "=" (`-no-padding D:\Music`).
using PathExists = std::function<bool(const String&)>;

// False with a message for the user when the arguments cannot make a batch.
bool ParseBatchArguments(const StringList& args, const PathExists& exists, BatchOptions& out,
                         String& error);

// " -track=..." for one track of a disc image, empty for a whole file.
String TrackOption(const SourceFile& source);

} // namespace wm
