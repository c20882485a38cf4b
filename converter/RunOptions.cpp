#include "converter/RunOptions.h"

#include "files/PathText.h"
#include "protocol/ConverterOptions.h"
#include "text/NumberText.h"

namespace wm {

namespace {

OptionsVerdict RequiredOptions(const RunOptions& o, bool help, bool parentMode) {
    if ((o.codec.empty() && o.inputFile.empty() && o.outputFile.empty()) || help)
        return parentMode ? OptionsVerdict::MissingAll : OptionsVerdict::ShowUsage;
    if (o.codec.empty())
        return OptionsVerdict::MissingEncoder;
    if (o.inputFile.empty())
        return OptionsVerdict::MissingInput;
    if (o.outputFile.empty())
        return OptionsVerdict::MissingOutput;
    return OptionsVerdict::Convert;
}

void ReadNames(const OptionStore& store, RunOptions& o) {
    o.errorFile = store.Value(option::kErrorFile);
    o.codec = store.Value(option::kConvertTo);
    o.inputFile = store.Value(option::kInFile);
    o.standardInput = o.inputFile == u"-";
    o.outputFile = store.Value(option::kOutFile);
    o.tagSourceFile = store.Value(option::kTagSourceFile);
    if (o.tagSourceFile.empty())
        o.tagSourceFile = o.outputFile;
}

void ReadRunSettings(const OptionStore& store, bool parentMode, RunOptions& o) {
    o.writeTags = !store.Present(option::kNoIdTag);
    o.silent = parentMode || store.Present(option::kSilent);
    o.quitEvent = store.Value(option::kQuitEvent);
    o.afterConvErrorEvent = store.Value(option::kAfterConvErrorEvent);
    o.watchdogEvent = store.Value(option::kWatchdogEvent);
    String batch = store.Value(option::kBatchId);
    o.batchId = batch.empty() ? 0 : static_cast<uint32_t>(TextToInt(batch));
    const String track = store.Value(option::kTrack);
    o.hasTrack = store.Present(option::kTrack);
    o.trackValid = !track.empty() && track.size() <= 2 &&
                   track.find_first_not_of(u"0123456789") == String::npos;
    o.track = o.trackValid ? static_cast<uint32_t>(TextToInt(track)) : 0;
    o.processor = store.Value(option::kProcessor);
    o.bytesEncodedBlock = store.Value(option::kBytesEncodedBlock);
    String temp = store.Value(option::kTempFolder);
    o.tempFolder = temp.empty() ? temp : EnsureTrailingSeparator(temp);
    o.dsps = ReadDspRequests(store);
}

} // namespace

StringView VerdictText(OptionsVerdict verdict) {
    switch (verdict) {
    case OptionsVerdict::MissingAll:
        return u"Error missing infile & outfile & convert_to.";
    case OptionsVerdict::MissingEncoder:
        return u"Error no encoder specified.";
    case OptionsVerdict::MissingInput:
        return u"Error no input file specified";
    case OptionsVerdict::MissingOutput:
        return u"Error no ouput file specified";
    default:
        return u"";
    }
}

OptionsVerdict ReadRunOptions(const OptionStore& store, bool parentMode, RunOptions& out) {
    ReadNames(store, out);
    OptionsVerdict verdict = RequiredOptions(out, store.Present(option::kHelp), parentMode);
    if (verdict == OptionsVerdict::Convert)
        ReadRunSettings(store, parentMode, out);
    return verdict;
}

std::vector<DspRequest> ReadDspRequests(const OptionStore& store) {
    std::vector<DspRequest> dsps;
    String value;
    for (int n = 1; store.Find(String(option::kDspEffect) + IntToText(n), &value); ++n) {
        ReplaceAll(value, u"{qt}", u"\"");
        size_t eq = value.find(u'=');
        if (eq != String::npos)
            dsps.push_back({value.substr(0, eq), value.substr(eq + 1)});
    }
    return dsps;
}

bool ReadLoudnessRequest(const OptionStore& store, LoudnessRequest& out, String& error) {
    const String scope = store.Value(option::kReplayGain);
    out.measure = store.Present(option::kReplayGain);
    out.truePeak = store.Present(option::kTruePeak);
    out.recordFile = store.Value(option::kLoudnessRecord);
    if (out.measure && !scope.empty() && !EqualsNoCase(scope, u"track")) {
        // One converter sees one track: an album is the batch's to measure.
        error = u"Error: -replaygain=" + scope +
                u" is not a Wavemill.exe setting: it measures one track (-replaygain or "
                u"-replaygain=track); album gain is WavemillBatch.exe's -replaygain=album.";
        return false;
    }
    if (!out.measure && (out.truePeak || !out.recordFile.empty())) {
        error = u"Error: -truepeak and -loudnessrecord need -replaygain.";
        return false;
    }
    return true;
}

uint64_t ProcessorMask(int64_t n) {
    if (n <= 1)
        return 1;
    return n - 1 < 64 ? uint64_t(1) << (n - 1) : 0;
}

} // namespace wm
