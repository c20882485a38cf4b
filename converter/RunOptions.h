// The options a run consumes, read from the option store. Portable: opening the named events,
// the error file and the shared block is the Windows side's job.
#pragma once

#include "options/OptionStore.h"
#include "text/String.h"

#include <cstdint>
#include <vector>

namespace wm {

struct DspRequest {
    String name;     // "DSPs\<name>.dll"
    String settings; // text after the first "=", "{qt}" already turned into quotes
};

// -replaygain: measure the audio handed to the encoder and tag the output with fresh values.
struct LoudnessRequest {
    bool measure = false;
    bool truePeak = false; // -truepeak: the peak tags hold the true peak, not the sample peak
    String recordFile;     // -loudnessrecord=<file>: where the batch finds the album's blocks
};

struct RunOptions {
    String errorFile;
    String codec, inputFile, outputFile, tagSourceFile;
    bool standardInput = false;
    bool writeTags = true;
    bool silent = false;
    String quitEvent, afterConvErrorEvent, watchdogEvent, bytesEncodedBlock;
    uint32_t batchId = 0;
    // -track: one track of a disc image (0: the audio before track 1); read through the cue
    // decoder.
    bool hasTrack = false;
    bool trackValid = false; // a number from 0 to 99
    uint32_t track = 0;
    String processor; // as typed; logged as it stands
    String tempFolder;
    std::vector<DspRequest> dsps;
    LoudnessRequest loudness;
};

enum class OptionsVerdict {
    Convert,
    ShowUsage,      // nothing given, or "help", from a console
    MissingAll,     // the same in parent mode: an error line
    MissingEncoder, // the three required options, reported in this order
    MissingInput,
    MissingOutput,
};

// The error line for a verdict other than Convert and ShowUsage.
StringView VerdictText(OptionsVerdict verdict);

OptionsVerdict ReadRunOptions(const OptionStore& store, bool parentMode, RunOptions& out);

// "dspeffect1", "dspeffect2", ... up to the first missing number; values without "=" add
// nothing but do not end the list.
std::vector<DspRequest> ReadDspRequests(const OptionStore& store);

// The loudness options; false with the error line when they do not make sense together.
bool ReadLoudnessRequest(const OptionStore& store, LoudnessRequest& out, String& error);

// Processor n (1-based) as an affinity mask: 1 for n <= 1, 0 when no such processor can exist.
uint64_t ProcessorMask(int64_t n);

} // namespace wm
