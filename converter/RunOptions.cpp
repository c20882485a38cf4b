#include "converter/RunOptions.h"

#include "files/PathText.h"
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
    o.errorFile = store.Value(u"errorfile");
    o.codec = store.Value(u"convert_to");
    o.inputFile = store.Value(u"infile");
    o.standardInput = o.inputFile == u"-";
    o.outputFile = store.Value(u"outfile");
    o.tagSourceFile = store.Value(u"fntousefortagloaddec");
    if (o.tagSourceFile.empty())
        o.tagSourceFile = o.outputFile;
}

void ReadRunSettings(const OptionStore& store, bool parentMode, RunOptions& o) {
    o.writeTags = !store.Present(u"noidtag");
    o.silent = parentMode || store.Present(u"silent");
    o.quitEvent = store.Value(u"evtquit");
    o.afterConvErrorEvent = store.Value(u"evtafterconvseterror");
    o.watchdogEvent = store.Value(u"evtwatchdog");
    String batch = store.Value(u"batchid");
    o.batchId = batch.empty() ? 0 : static_cast<uint32_t>(TextToInt(batch));
    const String track = store.Value(u"track");
    o.hasTrack = store.Present(u"track");
    o.trackValid = !track.empty() && track.size() <= 2 &&
                   track.find_first_not_of(u"0123456789") == String::npos;
    o.track = o.trackValid ? static_cast<uint32_t>(TextToInt(track)) : 0;
    o.processor = store.Value(u"processor");
    o.bytesEncodedBlock = store.Value(u"shrbytesencoded");
    String temp = store.Value(u"tmpfolder");
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
    OptionsVerdict verdict = RequiredOptions(out, store.Present(u"help"), parentMode);
    if (verdict == OptionsVerdict::Convert)
        ReadRunSettings(store, parentMode, out);
    return verdict;
}

std::vector<DspRequest> ReadDspRequests(const OptionStore& store) {
    std::vector<DspRequest> dsps;
    String value;
    for (int n = 1; store.Find(u"dspeffect" + IntToText(n), &value); ++n) {
        ReplaceAll(value, u"{qt}", u"\"");
        size_t eq = value.find(u'=');
        if (eq != String::npos)
            dsps.push_back({value.substr(0, eq), value.substr(eq + 1)});
    }
    return dsps;
}

bool ReadLoudnessRequest(const OptionStore& store, LoudnessRequest& out, String& error) {
    const String scope = store.Value(u"replaygain");
    out.measure = store.Present(u"replaygain");
    out.truePeak = store.Present(u"truepeak");
    out.recordFile = store.Value(u"loudnessrecord");
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
