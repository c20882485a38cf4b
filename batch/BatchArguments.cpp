#include "batch/BatchArguments.h"

#include "protocol/ConverterOptions.h"
#include "text/NumberText.h"

#include <array>

namespace wm {

namespace {

// The batch's own options that always take a value.
constexpr std::array<StringView, 15> kValued = {
    u"convert_to", u"out",     u"pattern", u"jobs",      u"hang",
    u"report",     u"plan",    u"collide", u"file",      u"as",
    u"track",      u"include", u"exclude", u"copyfiles", u"albumloudness"};

bool IsIn(StringView name, const auto& list) {
    for (StringView item : list)
        if (EqualsNoCase(item, name))
            return true;
    return false;
}

bool IsFlag(StringView name) {
    return EqualsNoCase(name, u"overwrite") || EqualsNoCase(name, u"copysame") ||
           EqualsNoCase(name, u"noadapt") || EqualsNoCase(name, u"hiddentrack") ||
           EqualsNoCase(name, u"help") || EqualsNoCase(name, u"?");
}

bool PositiveNumber(StringView text, uint32_t& out) {
    if (text.empty() || text.find_first_not_of(u"0123456789") != StringView::npos)
        return false;
    const int64_t n = TextToInt(text);
    if (n <= 0 || n > 100000)
        return false;
    out = static_cast<uint32_t>(n);
    return true;
}

// A loudness a player could want: -70 to 0 LUFS, as a plain decimal number.
bool Loudness(StringView text, double& out) {
    if (text.empty() || text.find_first_not_of(u"-+.0123456789") != StringView::npos)
        return false;
    out = TextToFloat(text);
    return out >= -70 && out <= 0;
}

bool TakeBatchOption(StringView name, const String& value, BatchOptions& o, String& error) {
    if (EqualsNoCase(name, u"convert_to"))
        o.codec = value;
    else if (EqualsNoCase(name, u"out"))
        o.outFolder = value;
    else if (EqualsNoCase(name, u"pattern"))
        o.pattern = value;
    else if (EqualsNoCase(name, u"plan"))
        o.planFile = value;
    else if (EqualsNoCase(name, u"include"))
        o.include = value;
    else if (EqualsNoCase(name, u"exclude"))
        o.exclude = value;
    else if (EqualsNoCase(name, u"copyfiles"))
        o.copyFiles = value;
    else if (EqualsNoCase(name, u"file"))
        o.jobSource = value;
    else if (EqualsNoCase(name, u"as"))
        o.jobOutput = value;
    else if (EqualsNoCase(name, u"track"))
        o.jobTrack = value;
    else if (EqualsNoCase(name, u"report")) {
        o.reportFile = value;
        o.reportFormat = EndsWithNoCase(value, u".json") || EndsWithNoCase(value, u".jsonl")
                             ? ReportFormat::kJsonLines
                             : ReportFormat::kCsv;
    } else if (EqualsNoCase(name, u"jobs") && !PositiveNumber(value, o.jobs))
        error = u"-jobs takes a number of conversions at once (1 or more), not '" + value + u"'.";
    else if (EqualsNoCase(name, u"hang") && !PositiveNumber(value, o.hangSeconds))
        error = u"-hang takes a number of seconds (1 or more), not '" + value + u"'.";
    else if (EqualsNoCase(name, u"collide") && !ParseCollidePolicy(value, o.collide))
        error = u"-collide takes suffix or skip, not '" + value + u"'.";
    else if (EqualsNoCase(name, u"albumloudness")) {
        double lufs = 0;
        if (Loudness(value, lufs))
            o.albumLoudness = lufs;
        else
            error = u"-albumloudness takes a loudness in LUFS (-70 to 0), not '" + value + u"'.";
    }
    return error.empty();
}

bool TakeReplayGain(const String& value, BatchOptions& o, String& error) {
    if (value.empty() || EqualsNoCase(value, u"track"))
        o.replayGain = ReplayGainMode::kTrack;
    else if (EqualsNoCase(value, u"album"))
        o.replayGain = ReplayGainMode::kAlbum;
    else
        error = u"-replaygain takes track or album, not '" + value + u"'.";
    const String measure = OptionText(option::kReplayGain, u"");
    if (error.empty() && o.passThrough.find(measure) == String::npos)
        o.passThrough += measure;
    return error.empty();
}

bool CheckComplete(const BatchOptions& o, String& error) {
    if (o.help)
        return true;
    if (o.codec.empty())
        error = u"No codec: give -convert_to=<codec> (an encoder in encoder\\).";
    else if (o.jobSource.empty() != o.jobOutput.empty())
        error = u"A planned job takes both -file=<source> and -as=<output>.";
    else if (!o.jobTrack.empty() && o.jobSource.empty())
        error = u"-track is set by the batch for each track of a disc image; only a planned job "
                u"(-file) names one.";
    else if (!o.jobSource.empty() && (!o.inputs.empty() || !o.planFile.empty()))
        error = u"A planned job (-file, -as) converts one file: no other input and no -plan.";
    else if (o.inputs.empty() && o.jobSource.empty())
        error = u"No input: name the files and folders to convert.";
    else if ((o.replayGain == ReplayGainMode::kAlbum || o.albumLoudness) && !o.planFile.empty())
        error = u"-replaygain=album and -albumloudness need the batch to see every track end; "
                u"-plan runs nothing.";
    return error.empty();
}

// One option with its value (empty for a flag): the batch's own, or one for every conversion.
bool TakeOption(const String& name, const String& value, BatchOptions& o, String& error) {
    if (EqualsNoCase(name, u"overwrite"))
        o.overwrite = true;
    else if (EqualsNoCase(name, u"copysame"))
        o.copySame = true;
    else if (EqualsNoCase(name, u"noadapt"))
        o.adapt = false;
    else if (EqualsNoCase(name, u"hiddentrack"))
        o.hiddenTrack = true;
    else if (EqualsNoCase(name, u"replaygain"))
        return TakeReplayGain(value, o, error);
    else if (IsFlag(name))
        o.help = true;
    else if (IsIn(name, kValued)) {
        if (value.empty()) {
            error = u"-" + name + u" needs a value.";
            return false;
        }
        return TakeBatchOption(name, value, o, error);
    } else
        o.passThrough += OptionText(name, value);
    return true;
}

} // namespace

String TrackOption(const SourceFile& source) {
    return source.track.empty() ? String() : OptionText(option::kTrack, source.track);
}

bool ParseBatchArguments(const StringList& args, const PathExists& exists, BatchOptions& o,
                         String& error) {
    o = BatchOptions{};
    error.clear();
    for (size_t i = 0; i < args.size(); ++i) {
        const String& arg = args[i];
        if (arg.size() < 2 || arg[0] != u'-') {
            if (!arg.empty())
                o.inputs.push_back(arg);
            continue;
        }
        const size_t nameStart = arg[1] == u'-' ? 2 : 1;
        const size_t eq = arg.find(u'=');
        const String name =
            arg.substr(nameStart, eq == String::npos ? String::npos : eq - nameStart);
        String value = eq == String::npos ? String() : arg.substr(eq + 1);
        // "-V 2": the next argument is the value unless it is an option or an existing path.
        const bool nextIsValue = eq == String::npos && !IsFlag(name) && i + 1 < args.size() &&
                                 !args[i + 1].empty() && args[i + 1][0] != u'-' &&
                                 (IsIn(name, kValued) || !exists(args[i + 1]));
        if (nextIsValue)
            value = args[++i];
        // A parent's option would break the protocol; -track is the batch's own as well (one
        // track of a planned job).
        if (SetByParent(name) && !IsIn(name, kValued)) {
            error = u"-" + name + u" is set by the batch for each conversion.";
            return false;
        }
        if (!TakeOption(name, value, o, error))
            return false;
    }
    return CheckComplete(o, error);
}

} // namespace wm
