// A DSP effect as the host drives it: "IsLive" asked of a scratch instance while the run's own
// instance is created, then either the live pass (begin, blocks, end) or the non-live pass over
// a rendered file, the after-conversion call, and leaks of the blocks it hands back.
#include "plugins/clTwDSP.h"
#include "sdk/check/Checks.h"

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

// One live block against the rules; returns the bytes handed back.
uint32_t CheckLiveBlock(const AudioBlockInfo& block, const void* given, Report& report) {
    if (std::string problem = FormatProblem(block.format); !problem.empty())
        report.Violation("live-format", "the block handed back has a wrong format: " + problem);
    const uint32_t frame = block.format.blockAlign ? block.format.blockAlign : 1;
    if (block.length % frame)
        report.Violation("live-frames", "handed back " + std::to_string(block.length) +
                                            " bytes, not whole " + std::to_string(frame) +
                                            "-byte frames: the host fails the run on it");
    if (block.length && !block.data)
        report.Violation("live-null", "handed back a block with bytes but no data pointer");
    return block.data != given ? block.length : 0;
}

// Begin, every block (the last one empty with the end flag), end; the bytes handed back.
uint64_t LivePass(clTwDSP& dsp, const CheckJob& job, ConversionInfo& conversion,
                  const std::vector<uint8_t>& audio, Report& report) {
    {
        CallGuard guard("DSP_BeginConversion");
        if (!dsp.BeginConversion(&conversion, job.settings.c_str())) {
            report.Violation("live-begin", "\"DSP_BeginConversion\" failed" + Reason(dsp, report));
            return 0;
        }
    }
    std::vector<uint32_t> sizes = BlockSizes(static_cast<uint32_t>(audio.size()), 4);
    sizes.push_back(0);
    std::vector<uint8_t> input;
    uint64_t at = 0, handedBack = 0;
    for (size_t i = 0; i < sizes.size(); ++i) {
        input.assign(audio.begin() + static_cast<std::ptrdiff_t>(at),
                     audio.begin() + static_cast<std::ptrdiff_t>(at + sizes[i]));
        AudioBlockInfo block{};
        block.data = sizes[i] ? input.data() : nullptr;
        block.length = sizes[i];
        block.format = *conversion.sourceFormat;
        block.bitRate = block.format.avgBytesPerSec * 8;
        block.msDuration = BytesToMs(sizes[i], block.format);
        block.msPosition = BytesToMs(at, block.format);
        block.endOfStream = i + 1 == sizes.size();
        const void* given = block.data;
        CallGuard guard("DSP_PassAudioBlock");
        if (!dsp.PassAudioBlock(&block)) {
            report.Violation("live-pass", "\"DSP_PassAudioBlock\" refused a block of " +
                                              std::to_string(sizes[i]) + " bytes" +
                                              Reason(dsp, report));
            break;
        }
        handedBack += CheckLiveBlock(block, given, report);
        at += sizes[i];
    }
    CallGuard guard("DSP_EndConversion");
    if (!dsp.EndConversion(&conversion))
        report.Violation("live-end", "\"DSP_EndConversion\" failed" + Reason(dsp, report));
    return handedBack;
}

void NonLivePass(clTwDSP& dsp, const CheckJob& job, const std::vector<uint8_t>& audio,
                 Report& report) {
    const String rendered = NewWorkFolder("effect") + u"rendered.tmp";
    WriteFileBytes(rendered, audio.data(), audio.size());
    const WmWaveFormat format = CheckFormat();
    {
        CallGuard guard("DSP_PassNonLive");
        if (!dsp.PassNonLive(rendered.c_str(), &format, job.settings.c_str(), nullptr)) {
            report.Violation("nonlive-pass", "\"DSP_PassNonLive\" failed" + Reason(dsp, report));
            return;
        }
    }
    std::vector<uint8_t> result;
    if (!ReadFileBytes(rendered, result))
        report.Violation("nonlive-file", "the rendered file is gone after \"DSP_PassNonLive\": "
                                         "rewrite it in place");
    else if (result.size() % format.blockAlign)
        report.Violation("nonlive-frames", "the rewritten file holds " +
                                               std::to_string(result.size()) +
                                               " bytes, not whole 4-byte frames");
    else if (!FileIsClosed(rendered))
        report.Violation("nonlive-open", "the rendered file is still open after "
                                         "\"DSP_PassNonLive\"");
    else
        report.Passed("non-live pass rewrote " + std::to_string(result.size()) + " bytes");
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
    String input = u"input.wav", output = u"output.wav";
    ConversionInfo conversion{};
    conversion.inputPath = input.c_str();
    conversion.outputPath = output.c_str();
    conversion.commandLine = u"";
    conversion.sourceFormat = &format;
    if (!live) {
        NonLivePass(dsp, job, audio, report);
        AfterConversion(dsp, conversion, report);
        return;
    }
    LivePass(dsp, job, conversion, audio, report);
    uint64_t grown = 0;
    if (GrowsWithAudio([&] { return LivePass(dsp, job, conversion, audio, report); }, &grown))
        report.Violation("leak", "memory grew by " + std::to_string(grown >> 10) +
                                     " KB over repeated live passes: the blocks handed back are "
                                     "not freed (reuse one buffer)");
    else
        report.Passed("live pass of " + std::to_string(audio.size()) + " bytes");
    AfterConversion(dsp, conversion, report);
}

} // namespace wm::check
