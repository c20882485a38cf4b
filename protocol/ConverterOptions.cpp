#include "protocol/ConverterOptions.h"

#include <array>

namespace wm {

namespace {

using enum Forwarded;

constexpr StringView kStandardInput = u"describe raw PCM on standard input (Hz, count, bits, ms, "
                                      u"float)";
constexpr StringView kParentEvents = u"a parent's named events: stop, fail after the conversion, "
                                     u"heartbeat";

// In the order -help shows them.
constexpr std::array kOptions = {
    ConverterOption{.name = option::kInFile,
                    .parentSet = true,
                    .usage = u"-infile=<file>",
                    .help = u"source file; - reads raw PCM from standard input"},
    ConverterOption{.name = option::kOutFile,
                    .parentSet = true,
                    .usage = u"-outfile=<file>",
                    .help = u"output file; an existing one is replaced only on success"},
    ConverterOption{.name = option::kConvertTo,
                    .usage = u"-convert_to=<codec>",
                    .help = u"one of the encoders below"},
    ConverterOption{.name = option::kSourceFreq, .usage = u"-sourcefreq", .help = kStandardInput},
    ConverterOption{
        .name = option::kSourceChannels, .usage = u"-sourcechannels", .help = kStandardInput},
    ConverterOption{.name = option::kSourceBits, .usage = u"-sourcebits", .help = kStandardInput},
    ConverterOption{
        .name = option::kSourceLength, .usage = u"-sourcelength", .help = kStandardInput},
    ConverterOption{.name = option::kSourceIsFloat,
                    .forwarded = Yes,
                    .usage = u"-sourceisfloat",
                    .help = kStandardInput},
    ConverterOption{.name = option::kIdTags,
                    .usage = u"-idtags=<file>",
                    .help = u"with standard input: the source's tag block"},
    ConverterOption{.name = option::kTag,
                    .usage = u"-tag=\"name=value\"",
                    .help = u"add or override one tag (repeatable)"},
    ConverterOption{.name = option::kNoIdTag, .usage = u"-noidtag", .help = u"write no tags"},
    ConverterOption{.name = option::kTagSourceFile,
                    .usage = u"-fntousefortagloaddec=<file>",
                    .help = u"the name whose type picks the tag writer (default: the output)"},
    ConverterOption{.name = option::kDspEffect,
                    .numbered = true,
                    .forwarded = Unused,
                    .usage = u"-dspeffect1=\"Name=settings\", -dspeffect2=...",
                    .help = u"effects from DSPs\\<Name>.dll, in that order"},
    ConverterOption{.name = option::kReplayGain,
                    .usage = u"-replaygain",
                    .help = u"measure the output's loudness, tag it with ReplayGain values"},
    ConverterOption{.name = option::kTruePeak,
                    .usage = u"-truepeak",
                    .help = u"with -replaygain: the peak tags hold the true peak"},
    ConverterOption{.name = option::kLoudnessRecord,
                    .parentSet = true,
                    .usage = u"-loudnessrecord=<file>",
                    .help = u"with -replaygain: keep the measured blocks for an album gain"},
    ConverterOption{.name = option::kTrack,
                    .parentSet = true,
                    .usage = u"-track=<n>",
                    .help = u"track n (0 to 99) of a disc image; -infile is its cue sheet"},
    ConverterOption{.name = option::kTempFolder,
                    .usage = u"-tmpfolder=<folder>",
                    .help = u"folder for temporary files"},
    ConverterOption{.name = option::kSilent,
                    .parentSet = true,
                    .usage = u"-silent",
                    .help = u"no banner, settings or progress"},
    ConverterOption{.name = option::kErrorFile,
                    .parentSet = true,
                    .usage = u"-errorfile=<file>",
                    .help = u"error lines go to this file"},
    ConverterOption{.name = option::kPriority,
                    .usage = u"-priority=low|idle|high",
                    .help = u"the run's priority"},
    ConverterOption{.name = option::kProcessor,
                    .usage = u"-processor=<n>",
                    .help = u"run on processor n (1-based)"},
    ConverterOption{.name = option::kBatchId,
                    .usage = u"-batchid=<n>",
                    .help = u"batch number passed to the plug-ins"},
    ConverterOption{.name = option::kCommandFile,
                    .parentSet = true,
                    .usage = u"-twcmd=<file>",
                    .help = u"options from a UTF-16 command file (parent programs)"},
    ConverterOption{.name = option::kQuitEvent,
                    .parentSet = true,
                    .usage = u"-evtquit=<name>",
                    .help = kParentEvents},
    ConverterOption{.name = option::kAfterConvErrorEvent,
                    .parentSet = true,
                    .usage = u"-evtafterconvseterror",
                    .help = kParentEvents},
    ConverterOption{.name = option::kWatchdogEvent,
                    .parentSet = true,
                    .usage = u"-evtwatchdog",
                    .help = kParentEvents},
    ConverterOption{.name = option::kBytesEncodedBlock,
                    .parentSet = true,
                    .usage = u"-shrbytesencoded=<name>",
                    .help = u"a parent's shared block for the bytes encoded"},
    ConverterOption{
        .name = option::kHelp, .forwarded = Yes, .usage = u"-help", .help = u"this text"},
    // The crash reporter's second copy of the program: not for a user.
    ConverterOption{.name = option::kCrashed},
};

} // namespace

std::span<const ConverterOption> ConverterOptions() {
    return kOptions;
}

size_t OptionNumber(StringView name, StringView stem) {
    if (name.size() <= stem.size() || !StartsWithNoCase(name, stem))
        return 0;
    const StringView digits = name.substr(stem.size());
    // Nine digits at most: the number cannot overflow, and no one writes more effects.
    if (digits.size() > 9 || digits[0] == u'0')
        return 0;
    size_t n = 0;
    for (char16_t d : digits) {
        if (d < u'0' || d > u'9')
            return 0;
        n = n * 10 + (d - u'0');
    }
    return n;
}

const ConverterOption* FindConverterOption(StringView name) {
    for (const ConverterOption& o : kOptions) {
        const bool match =
            o.numbered ? OptionNumber(name, o.name) != 0 : EqualsNoCase(name, o.name);
        if (match)
            return &o;
    }
    return nullptr;
}

bool ForwardedToEncoder(StringView name, size_t usedNumbered) {
    const ConverterOption* o = FindConverterOption(name);
    if (!o)
        return true;
    if (o->forwarded == Unused)
        return OptionNumber(name, o->name) > usedNumbered;
    return o->forwarded == Yes;
}

bool SetByParent(StringView name) {
    const ConverterOption* o = FindConverterOption(name);
    return o && o->parentSet;
}

} // namespace wm
