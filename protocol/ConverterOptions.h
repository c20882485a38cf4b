// The converter's options as data: every name it reads, what reaches the encoder's command line,
// which a parent sets for each conversion, and what -help says of each. The converter's reader,
// its encoder command line, the batch and -help all take them from here, so an option cannot be
// known to one of them and missed by another. Portable.
#pragma once

#include "text/String.h"

#include <cstddef>
#include <span>

namespace wm {

// The names, for the code that reads or writes one option.
namespace option {
inline constexpr StringView kInFile = u"infile";
inline constexpr StringView kOutFile = u"outfile";
inline constexpr StringView kConvertTo = u"convert_to";
inline constexpr StringView kSourceFreq = u"sourcefreq";
inline constexpr StringView kSourceChannels = u"sourcechannels";
inline constexpr StringView kSourceBits = u"sourcebits";
inline constexpr StringView kSourceLength = u"sourcelength";
inline constexpr StringView kSourceIsFloat = u"sourceisfloat";
inline constexpr StringView kIdTags = u"idtags";
inline constexpr StringView kTag = u"tag";
inline constexpr StringView kNoIdTag = u"noidtag";
inline constexpr StringView kTagSourceFile = u"fntousefortagloaddec";
inline constexpr StringView kDspEffect = u"dspeffect"; // numbered: dspeffect1, dspeffect2...
inline constexpr StringView kReplayGain = u"replaygain";
inline constexpr StringView kTruePeak = u"truepeak";
inline constexpr StringView kLoudnessRecord = u"loudnessrecord";
inline constexpr StringView kTrack = u"track";
inline constexpr StringView kTempFolder = u"tmpfolder";
inline constexpr StringView kSilent = u"silent";
inline constexpr StringView kErrorFile = u"errorfile";
inline constexpr StringView kPriority = u"priority";
inline constexpr StringView kProcessor = u"processor";
inline constexpr StringView kBatchId = u"batchid";
inline constexpr StringView kCommandFile = u"twcmd";
inline constexpr StringView kQuitEvent = u"evtquit";
inline constexpr StringView kAfterConvErrorEvent = u"evtafterconvseterror";
inline constexpr StringView kWatchdogEvent = u"evtwatchdog";
inline constexpr StringView kBytesEncodedBlock = u"shrbytesencoded";
inline constexpr StringView kHelp = u"help";
inline constexpr StringView kCrashed = u"crashed";
} // namespace option

// What the encoder's command line gets of an option the converter reads.
enum class Forwarded {
    No,     // consumed: the converter's alone
    Yes,    // read by the converter and handed on too (an encoder ignores it)
    Unused, // numbered: those the converter could not use (after a gap, or without "=")
};

struct ConverterOption {
    StringView name;                     // for a numbered option the stem: "dspeffect"
    bool numbered = false;               // written name + 1, 2, 3...
    Forwarded forwarded = Forwarded::No; // what reaches the encoder
    bool parentSet = false; // a parent writes it for each conversion: a user may not give it
    StringView usage = {};  // as -help writes it: "-infile=<file>"; empty: not shown
    StringView help = {};   // what it does; options in a row with the same text share one line
};

std::span<const ConverterOption> ConverterOptions();

// The table's entry for a name as written ("DSPEffect3" finds "dspeffect"), or null.
const ConverterOption* FindConverterOption(StringView name);

// The number of a numbered option's name ("dspeffect12" with stem "dspeffect": 12); 0 when the
// name is not the stem followed by a number from 1 without a leading zero.
size_t OptionNumber(StringView name, StringView stem);

// True when the encoder's command line gets this option; `usedNumbered` is how many numbered
// options (effects) the converter made something of.
bool ForwardedToEncoder(StringView name, size_t usedNumbered);

// True for an option a parent sets for each conversion.
bool SetByParent(StringView name);

} // namespace wm
