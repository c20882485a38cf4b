// A DSP effect as the host drives it: "IsLive" asked of a scratch instance while the run's own
// instance is created, then either the live pass (begin, blocks, end) or the non-live pass over
// a rendered file, the after-conversion call, and leaks of the blocks it hands back.
#include "plugins/clTwDSP.h"
#include "tools/plugin-check/Checks.h"

#include <algorithm>
#include <cmath>

namespace wm::check {

namespace {

constexpr uint32_t kAudioMs = 2000;

uint32_t AskWithSettings(clTwDSP& dsp, const char16_t* name, const String& settings) {
    String text = settings;
    PluginValue value{};
    value.pointer1 = text.data();
    CallGuard guard("DSP_Get with the settings text");
    return dsp.Get(name, &value);
}

// How long audio lasts by its format, in milliseconds; 0 for a format without a byte rate.
double DurationMs(uint64_t bytes, const WmWaveFormat& f) {
    return f.avgBytesPerSec ? static_cast<double>(bytes) * 1000 / f.avgBytesPerSec : 0;
}

// Effects keep the audio's duration: bytes that last longer or shorter by the format declared
// for them were described with the wrong format.
void CheckDuration(double given, double handedBack, Report& report) {
    if (std::abs(handedBack - given) <= 20 + given / 50)
        return;
    report.Violation("duration", "the audio handed back lasts " +
                                     std::to_string(static_cast<int64_t>(handedBack)) +
                                     " ms by the format declared for it; the audio given lasted " +
                                     std::to_string(static_cast<int64_t>(given)) +
                                     " ms: declare the format of the bytes you hand back (rate, "
                                     "sample type, bits and channels)");
}

// One live block against the rules; returns the bytes handed back in a buffer of the effect's.
uint32_t CheckLiveBlock(const AudioBlockInfo& block, const void* given, Report& report) {
    if (std::string problem = FormatProblem(block.format); !problem.empty())
        report.Violation("live-format", "the block handed back has a wrong format: " + problem);
    if (!IsWholeFrames(block.length, block.format))
        report.Violation("live-frames", "handed back " + std::to_string(block.length) +
                                            " bytes, not whole " +
                                            std::to_string(FrameBytes(block.format)) +
                                            "-byte frames of the format it declares: the host "
                                            "fails the run on it");
    if (block.length && !block.data)
        report.Violation("live-null", "handed back a block with bytes but no data pointer");
    return block.data != given ? block.length : 0;
}

// A refusal of a format other than the plain one is the effect's right when it says why.
void Refused(const std::string& call, const WmWaveFormat& format, bool mayRefuse, clTwDSP& dsp,
             Report& report) {
    const std::string reason = Reason(dsp, report);
    if (!mayRefuse)
        report.Violation("refused", call + " failed on " + Describe(format) + reason);
    else if (reason.empty())
        report.Violation("refused-silently", call + " refused " + Describe(format) +
                                                 " without a reason in \"LastError\": the host's "
                                                 "error line would not say why");
    else
        report.Note(call + " refuses " + Describe(format) + reason);
}

struct LiveResult {
    uint64_t handedBack = 0; // bytes in buffers of the effect's own
    double msGiven = 0, msHandedBack = 0;
};

AudioBlockInfo BlockOf(std::vector<uint8_t>& input, uint64_t at, const WmWaveFormat& format) {
    AudioBlockInfo block{};
    block.data = input.empty() ? nullptr : input.data();
    block.length = static_cast<uint32_t>(input.size());
    block.format = format;
    block.bitRate = format.avgBytesPerSec * 8;
    block.msDuration = BytesToMs(input.size(), format);
    block.msPosition = ExpectedPositionMs(at, format);
    return block;
}

// Begin, every block (the last one empty, null, with the end flag), end.
LiveResult LivePass(clTwDSP& dsp, const CheckJob& job, const WmWaveFormat& format,
                    const std::vector<uint8_t>& audio, bool mayRefuse, Report& report) {
    LiveResult result;
    ConversionInfo conversion{};
    conversion.inputPath = u"input.wav";
    conversion.outputPath = u"output.wav";
    conversion.commandLine = u"";
    conversion.sourceFormat = &format;
    {
        CallGuard guard("DSP_BeginConversion");
        if (!dsp.BeginConversion(&conversion, job.settings.c_str())) {
            Refused("\"DSP_BeginConversion\"", format, mayRefuse, dsp, report);
            return result;
        }
    }
    std::vector<uint32_t> sizes =
        BlockSizes(static_cast<uint32_t>(audio.size()), format.blockAlign);
    sizes.push_back(0);
    std::vector<uint8_t> input;
    uint64_t at = 0;
    for (size_t i = 0; i < sizes.size(); ++i) {
        const auto slice = audio.begin() + static_cast<std::ptrdiff_t>(at);
        input.assign(slice, slice + sizes[i]);
        AudioBlockInfo block = BlockOf(input, at, format);
        block.endOfStream = i + 1 == sizes.size();
        const void* given = block.data;
        CallGuard guard(sizes[i] ? "DSP_PassAudioBlock"
                                 : "DSP_PassAudioBlock of the empty last block (null data)");
        if (!dsp.PassAudioBlock(&block)) {
            Refused("\"DSP_PassAudioBlock\" of " + std::to_string(sizes[i]) + " bytes", format,
                    mayRefuse, dsp, report);
            break;
        }
        if (!std::equal(input.begin(), input.end(), slice))
            report.Violation("writes-input", "wrote into the block it was given: that memory is "
                                             "the decoder's or the previous effect's; hand back a "
                                             "buffer of your own");
        result.handedBack += CheckLiveBlock(block, given, report);
        result.msHandedBack += DurationMs(block.length, block.format);
        at += sizes[i];
    }
    result.msGiven = DurationMs(at, format);
    CallGuard guard("DSP_EndConversion");
    if (!dsp.EndConversion(&conversion))
        report.Violation("live-end", "\"DSP_EndConversion\" failed" + Reason(dsp, report));
    return result;
}

void CheckRewrittenFile(const String& rendered, const WmWaveFormat& format, uint64_t given,
                        Report& report) {
    std::vector<uint8_t> result;
    if (!ReadFileBytes(rendered, result)) {
        if (FileExists(rendered))
            report.Violation("nonlive-open", "the rendered file is still open (locked) after "
                                             "\"DSP_PassNonLive\": close it before you return, "
                                             "or the host cannot read it back");
        else
            report.Violation("nonlive-file", "the rendered file is gone after "
                                             "\"DSP_PassNonLive\": rewrite it in place");
    } else if (!IsWholeFrames(result.size(), format)) {
        report.Violation("nonlive-frames", "the rewritten file holds " +
                                               std::to_string(result.size()) +
                                               " bytes, not whole " +
                                               std::to_string(FrameBytes(format)) + "-byte frames");
    } else if (!FileIsClosed(rendered)) {
        report.Violation("nonlive-open", "the rendered file is still open (locked) after "
                                         "\"DSP_PassNonLive\": close it before you return");
    } else {
        CheckDuration(DurationMs(given, format), DurationMs(result.size(), format), report);
    }
}

// The rendered file rewritten in place, in the format it was given.
void NonLivePass(clTwDSP& dsp, const CheckJob& job, const WmWaveFormat& format,
                 const std::vector<uint8_t>& audio, bool mayRefuse, Report& report) {
    // A folder per pass, so that a file an earlier pass left open cannot spoil the next one.
    static int pass = 0;
    const String rendered =
        NewWorkFolder(("effect-" + std::to_string(++pass)).c_str()) + u"rendered.tmp";
    WriteFileBytes(rendered, audio.data(), audio.size());
    {
        CallGuard guard("DSP_PassNonLive");
        if (!dsp.PassNonLive(rendered.c_str(), &format, job.settings.c_str(), nullptr)) {
            Refused("\"DSP_PassNonLive\"", format, mayRefuse, dsp, report);
            return;
        }
    }
    CheckRewrittenFile(rendered, format, audio.size(), report);
}

// Every format a decoder may deliver, in blocks of odd sizes: a format handled wrong shows as
// torn frames, a wrong duration or a crash.
void DriveFormats(clTwDSP& dsp, const CheckJob& job, bool live, Report& report) {
    const WmWaveFormat formats[] = {MakeFormat(1, 8000, 8),         MakeFormat(2, 44100, 16),
                                    MakeFormat(6, 96000, 24),       MakeFormat(8, 192000, 32),
                                    MakeFormat(2, 48000, 32, true), MakeFormat(3, 22050, 24),
                                    MakeFormat(8, 192000, 32, true)};
    for (const WmWaveFormat& format : formats) {
        ReportContext context(report, Describe(format) + " audio");
        const std::vector<uint8_t> audio = SineAudio(format, 1000);
        if (!live) {
            NonLivePass(dsp, job, format, audio, true, report);
            continue;
        }
        const LiveResult result = LivePass(dsp, job, format, audio, true, report);
        if (result.msGiven > 0)
            CheckDuration(result.msGiven, result.msHandedBack, report);
    }
}

void AfterConversion(clTwDSP& dsp, ConversionInfo conversion, Report& report) {
    const String output = NewWorkFolder("effect-after") + u"output.wav";
    conversion.outputPath = output.c_str();
    CallGuard guard("DSP_AfterConversion");
    if (!dsp.AfterConversion(&conversion))
        report.Violation("after", "\"DSP_AfterConversion\" failed" + Reason(dsp, report));
}

} // namespace

void CheckEffect(const CheckJob& job, Report& report) {
    clTwDSP scratch, dsp;
    if (!Bind(scratch, job.library, "DSP_Create", report))
        return;
    CheckUnknownValue(scratch, report);
    const bool live = AskWithSettings(scratch, WM_VALUE_IS_LIVE, job.settings) != 0;
    AskWithSettings(scratch, WM_VALUE_SEND_OVER_REPLAYGAIN_TAGS, job.settings);
    // The host keeps the scratch instance alive while it creates the run's own.
    if (!Bind(dsp, job.library, "DSP_Create", report))
        return;
    {
        CallGuard guard("DSP_Destroy");
        scratch.Unload();
    }
    report.Note(std::string(live ? "live" : "non-live") + " with the settings " +
                Quoted(job.settings));
    const std::vector<uint8_t> audio = SineAudio(kAudioMs);
    const WmWaveFormat format = CheckFormat();
    ConversionInfo conversion{};
    conversion.inputPath = u"input.wav";
    conversion.outputPath = u"output.wav";
    conversion.commandLine = u"";
    conversion.sourceFormat = &format;
    if (live) {
        LivePass(dsp, job, format, audio, false, report);
        uint64_t grown = 0;
        if (GrowsWithAudio(
                [&] { return LivePass(dsp, job, format, audio, false, report).handedBack; },
                &grown))
            report.Violation("leak", "memory grew by " + std::to_string(grown >> 10) +
                                         " KB over repeated live passes: the blocks handed back "
                                         "are not freed (reuse one buffer)");
        else
            report.Passed("live pass of " + std::to_string(audio.size()) + " bytes");
    } else {
        NonLivePass(dsp, job, format, audio, false, report);
    }
    DriveFormats(dsp, job, live, report);
    report.Passed("driven with 8 to 32-bit integer and float audio, 1 to 8 channels, 8 to 192 kHz");
    AfterConversion(dsp, conversion, report);
}

} // namespace wm::check
