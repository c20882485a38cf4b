// The run's finish: closing the source and the plug-ins, moving the output into place, the tag
// writer, the after-conversion hand-over and the summary.
#include "converter/DecodedPeak.h"
#include "converter/TwWavemill.h"
#include "converter/UserStop.h"
#include "files/FileAccess.h"
#include "files/FileOps.h"
#include "files/PathText.h"
#include "plugins/MessageRelay.h"
#include "plugins/PluginReason.h"
#include "process/Log.h"
#include "process/RunClock.h"
#include "text/NumberText.h"

#include <windows.h>

#include <cmath>
#include <string>

namespace wm {

namespace {

// An ".IGNORE" output is never written: the encoder names and writes its own files.
bool IgnoredOutput(const String& outputFile) {
    return EqualsNoCase(ExtensionOf(outputFile), u".IGNORE");
}

} // namespace

void TwWavemill::Finish() {
    LogLine(u"============= CONVERSION END =============");
    elapsedMs_ = ElapsedMsSince(startCount_);
    Relay(u"EndEncoding");
    if (!opt_.silent) {
        // The last block's position is its start: a bar that ends short would look unfinished.
        if (!status_.Failed() && !QuitRequested())
            progress_.Complete();
        console_.Write(u"\r\n", true);
    }
    speed_ = static_cast<double>(openInfo_.msLength) / (elapsedMs_ ? elapsedMs_ : 1);
    if (parent_.QuitSet())
        status_.Fail("the parent asked the run to stop");
    if (UserStopRequested()) {
        LogError(u"Error: The conversion was stopped (Ctrl-C).", "TwWavemill::TwWavemill");
        status_.Fail("stopped at the console");
    }
    if (parent_.AfterConversionErrorSet())
        status_.Fail("the parent marked the run failed");
    // The decoder's close sees the verdict the encoder's end sees, so either may clean up.
    if (!source_->Close(Conversion()))
        status_.Fail("the decoder did not close");
    const bool encoderAsksForTags = EndEncoding();
    const bool measured = TagMeasuredLoudness();
    const bool tagging = (encoderAsksForTags || measured) && tagWriterOn_;
    ReportPluginInformation();
    if (console_.FileSizeDiagnostics())
        OutputSink::SizeCheck(sink_.UsesTemporary() ? u"(before overwrite final)" : u"",
                              sink_.FileToWrite());
    bool replaced = false;
    if (!sink_.Commit(status_.Failed() || QuitRequested(), parent_.QuitEvent(), &replaced))
        status_.Fail("the output could not be moved into place");
    rendered_.Release();
    if (tagging && replaced) {
        if (console_.FileSizeDiagnostics())
            OutputSink::SizeCheck(u"(before ID Tags Written)", opt_.outputFile);
        if (parentMode_)
            ParentLine(ParentKeyword::Action,
                       u"Writing ID Tags '" + FileNamePart(opt_.outputFile) + u"'");
        String why;
        if (!IDTagWriter(opt_.outputFile, opt_.tagSourceFile, tags_->Block(), programFolder_,
                         opt_.silent ? nullptr : &console_.Writer(), &why, measured)) {
            LogError(WithReason(u"Unable to tag file '" + opt_.outputFile + u"'", why));
            status_.Fail("the tags could not be written");
        }
    }
    AfterConversion();
}

// Ends the live effects and the encoder; true when the encoder asks for the tags afterwards.
bool TwWavemill::EndEncoding() {
    if (!dsps_->EndLive(Conversion()))
        status_.Fail("a live DSP effect did not end");
    uint32_t tagAfterwards = 0;
    if (!encoder_.EndConversion(&Conversion(), &tagAfterwards)) {
        LogError(WithReason(u"Error: Encoder '" + opt_.codec + u"' could not finish '" +
                                opt_.outputFile + u"'.",
                            encoder_.LastError()),
                 "TwWavemill::TwWavemill");
        status_.Fail("the encoder did not finish");
    }
    return tagAfterwards != 0;
}

// Puts the measured track gain into the tags and leaves the album's record; true when there
// are fresh values to write.
bool TwWavemill::TagMeasuredLoudness() {
    if (!scan_ || status_.Failed())
        return false;
    LoudnessRecord measured;
    if (!scan_->Result(measured)) {
        status_.Fail("the loudness scan failed");
        return false;
    }
    if (!std::isfinite(measured.lufs))
        Information(u"Information: ReplayGain: the track is silent or shorter than 0.4 s: it "
                    u"has no loudness, so no track gain is written (the peak is).");
    if (PeakIsUsed() && !EncoderIsLossless() && !EncoderDecodedPeak(measured.peak))
        MeasureDecodedPeak(measured.peak);
    tags_->PutMeasuredTrackGain(measured);
    if (!opt_.loudness.recordFile.empty() && !WriteLoudnessRecord(measured))
        status_.Fail("the loudness record could not be written");
    return !status_.Failed();
}

// Whether anything reads the track's peak: the output's tags or the album's record. An Opus
// file's tags hold R128 gains and no peak, so its album's peak goes nowhere either.
bool TwWavemill::PeakIsUsed() const {
    if (IgnoredOutput(opt_.outputFile) || EqualsNoCase(ExtensionOf(opt_.tagSourceFile), u".opus"))
        return false;
    return tagWriterOn_ || !opt_.loudness.recordFile.empty();
}

bool TwWavemill::EncoderIsLossless() {
    PluginValue pv{};
    pv.pointer1 = encoderCommandLine_.data();
    if (!encoder_.Get(WM_VALUE_LOSSLESS, &pv))
        return false;
    LogLine(u"The encoder answered \"Lossless\": the peak measured before it is the output's.");
    return true;
}

// An encoder that decodes its output while writing it saves the run a decode afterwards. The
// true peak needs the host's meter, so only the sample peak is asked for.
void TwWavemill::AskEncoderForDecodedPeak() {
    if (!opt_.loudness.measure || opt_.loudness.truePeak || !PeakIsUsed())
        return;
    PluginValue pv{};
    pv.value1 = 1;
    encoder_.Set(WM_VALUE_DECODED_PEAK, &pv);
}

bool TwWavemill::EncoderDecodedPeak(double& peak) {
    double decoded = 0;
    PluginValue pv{};
    pv.pointer1 = &decoded;
    if (opt_.loudness.truePeak || !encoder_.Get(WM_VALUE_DECODED_PEAK, &pv))
        return false;
    LogLine(u"The encoder answered \"DecodedPeak\": " + FloatToText(decoded, 6));
    peak = decoded;
    return true;
}

// A lossy codec overshoots the audio it was handed: the peak players meet is the decoded one.
// Without it the peak measured before the codec stays, and the user hears why.
void TwWavemill::MeasureDecodedPeak(double& peak) {
    double decoded = 0;
    String why;
    if (DecodedPeak(sink_.FileToWrite(), programFolder_, opt_.loudness.truePeak, *this, decoded,
                    why)) {
        peak = decoded;
        return;
    }
    Information(WithReason(u"Information: ReplayGain: the peak written is the one before the "
                           u"codec, as the output could not be decoded again",
                           why));
}

bool TwWavemill::WriteLoudnessRecord(const LoudnessRecord& measured) {
    const std::string text = wm::WriteLoudnessRecord(measured);
    FileAccess file;
    if (file.Create(opt_.loudness.recordFile) &&
        file.Write(text.data(), static_cast<uint32_t>(text.size())))
        return true;
    LogError(u"Error: ReplayGain: the loudness record '" + opt_.loudness.recordFile +
                 u"' could not be written.",
             "TwWavemill::TwWavemill");
    return false;
}

void TwWavemill::AfterConversion() {
    const StringList outputs =
        CollectOutputNames(conversion_, opt_.outputFile, parentMode_ ? this : nullptr);
    CheckOutputWritten(outputs);
    Relay(u"AfterConversion");
    if (!dsps_->AfterConversion(Conversion(), outputs))
        status_.Fail("a DSP effect failed after the conversion");
}

// An encoder that says it succeeded but wrote nothing must not make a run that says "done".
// Only the output the run named is checked: an encoder that reported its own files named them,
// an ".IGNORE" output is never written, and a device (NUL) takes the output without a file.
void TwWavemill::CheckOutputWritten(const StringList& outputs) {
    if (status_.Failed() || QuitRequested() || outputs.size() != 1 ||
        outputs.front() != opt_.outputFile || IgnoredOutput(opt_.outputFile))
        return;
    if (FileExists(opt_.outputFile))
        return;
    LogError(u"Error: Encoder '" + opt_.codec + u"' reported success but wrote no output file '" +
                 opt_.outputFile + u"'.",
             "TwWavemill::TwWavemill");
    status_.Fail("the encoder wrote no output");
}

// What the plug-ins have to say that is not an error, as information lines.
void TwWavemill::ReportPluginInformation() {
    for (const String& line : decoder_.Information())
        Information(u"Information: Decoder: " + line);
    for (DspEntry& entry : dsps_->Entries())
        for (const String& line : entry.binding->Information())
            Information(u"Information: DSP Effect '" + entry.name + u"': " + line);
    for (const String& line : encoder_.Information())
        Information(u"Information: Encoder '" + opt_.codec + u"': " + line);
}

String TwWavemill::Summary() const {
    String summary = u"Conversion completed in " + DurationText(elapsedMs_, 0);
    if (speed_ != 0) {
        summary += u" x";
        summary += speed_ >= 10 ? IntToText(static_cast<int64_t>(speed_)) : FloatToText(speed_, 1);
        summary += u" realtime encoding";
    }
    return summary;
}

void TwWavemill::Report() {
    String summary;
    if (elapsedMs_ != 0) {
        summary = Summary();
        LogLine(summary);
        if (console_.FileSizeDiagnostics())
            OutputSink::SizeCheck(u"(Wavemill exit)", opt_.outputFile);
    }
    // Every error line must have reached the run status before the verdict is printed.
    console_.Settle();
    if (!opt_.silent && !parentMode_)
        console_.Write(status_.Failed() ? String(u"Conversion Failed.") : summary, true);
    if (status_.Failed() && status_.FirstReason())
        LogLine(u"Run failed: " + Widen(status_.FirstReason()));
    // A failure no line explained would leave a script with a bare status 1: name its cause.
    // The console's own end relays it.
    if (status_.FailedUnsaid())
        LogError(u"Error: The conversion failed: " +
                 Widen(status_.FirstReason() ? status_.FirstReason() : "no reason was kept") +
                 u".");
}

} // namespace wm
