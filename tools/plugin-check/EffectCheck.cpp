// A DSP effect as the host drives it: "IsLive" asked of a scratch instance while the run's own
// instance is created, then either the live pass (begin, blocks, end) or the non-live pass over
// a rendered file, leaks of the blocks it hands back, every format a decoder may deliver, a
// made-up setting, and the after-conversion call.
#include "tools/plugin-check/EffectPasses.h"

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

void CheckPlainPass(clTwDSP& dsp, const CheckJob& job, bool live, Report& report) {
    const std::vector<uint8_t> audio = SineAudio(kAudioMs);
    const WmWaveFormat format = CheckFormat();
    PassOnce(dsp, job.settings, live, format, audio, Refusal::Violation, report);
    if (!live)
        return;
    uint64_t grown = 0;
    if (GrowsWithAudio(
            [&] {
                return PassOnce(dsp, job.settings, true, format, audio, Refusal::Violation, report)
                    .handedBack;
            },
            &grown))
        report.Violation(Rule::Leak, "memory grew by " + std::to_string(grown >> 10) +
                                         " KB over repeated live passes: the blocks handed back "
                                         "are not freed (reuse one buffer)");
    else
        report.Passed("live pass of " + std::to_string(audio.size()) + " bytes");
}

// Every format a decoder may deliver, in blocks of odd sizes: a format handled wrong shows as
// torn frames, a wrong duration or a crash.
void DriveFormats(clTwDSP& dsp, const CheckJob& job, bool live, Report& report) {
    const WmWaveFormat formats[] = {
        MakeFormat(1, 8000, 8),          MakeFormat(2, 44100, 16),       MakeFormat(6, 96000, 24),
        MakeFormat(8, 192000, 32),       MakeFormat(2, 48000, 32, true), MakeFormat(3, 22050, 24),
        MakeFormat(8, 192000, 32, true), MakeFormat(2, 96000, 64, true)};
    for (const WmWaveFormat& format : formats) {
        ReportContext context(report, Describe(format) + " audio");
        const PassResult result = PassOnce(dsp, job.settings, live, format, SineAudio(format, 1000),
                                           Refusal::Allowed, report);
        if (live && result.msGiven > 0)
            CheckDuration(result.msGiven, result.msHandedBack, report);
    }
    report.Passed("driven with 8 to 32-bit integer and 32 and 64-bit float audio, 1 to 8 channels, "
                  "8 to 192 kHz");
}

// A made-up setting must be refused with a reason, or a user's misspelt setting is ignored
// without a word.
void CheckMadeUpSetting(clTwDSP& dsp, const CheckJob& job, bool live, Report& report) {
    const String madeUp =
        job.settings + (job.settings.empty() ? u"" : u" ") + u"plugin-check-made-up=1";
    ReportContext context(report, "the settings " + Quoted(madeUp));
    const WmWaveFormat format = CheckFormat();
    const std::vector<uint8_t> audio = SineAudio(100);
    ConversionInfo conversion = EffectConversion(format);
    bool took = false;
    if (live) {
        CallGuard guard("DSP_BeginConversion");
        took = dsp.BeginConversion(&conversion, madeUp.c_str()) != 0;
    } else {
        const String rendered = NewWorkFolder("effect-settings") + u"rendered.tmp";
        WriteFileBytes(rendered, audio.data(), audio.size());
        CallGuard guard("DSP_PassNonLive");
        took = dsp.PassNonLive(rendered.c_str(), &format, madeUp.c_str(), nullptr) != 0;
    }
    if (took) {
        report.Violation(Rule::SettingsIgnored,
                         std::string(live ? "\"DSP_BeginConversion\"" : "\"DSP_PassNonLive\"") +
                             " took them: refuse a setting you do not know, with a reason in "
                             "\"LastError\", or a user's misspelt setting is ignored without a "
                             "word");
    } else if (Reason(dsp, report).empty()) {
        report.Violation(Rule::SettingsReason,
                         "refused without a reason in \"LastError\": the host's error line would "
                         "not name the setting");
    }
    if (took && live) {
        CallGuard guard("DSP_EndConversion");
        dsp.EndConversion(&conversion);
    }
}

void AfterConversion(clTwDSP& dsp, Report& report) {
    const WmWaveFormat format = CheckFormat();
    ConversionInfo conversion = EffectConversion(format);
    const String output = NewWorkFolder("effect-after") + u"output.wav";
    conversion.outputPath = output.c_str();
    CallGuard guard("DSP_AfterConversion");
    if (!dsp.AfterConversion(&conversion))
        report.Violation(Rule::After, "\"DSP_AfterConversion\" failed" + Reason(dsp, report));
}

} // namespace

void CheckEffect(const CheckJob& job, Report& report) {
    Guarded<clTwDSP> scratch, dsp;
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
    CheckPlainPass(dsp, job, live, report);
    DriveFormats(dsp, job, live, report);
    CheckWidths(dsp, job, live, report);
    if (live)
        CheckTwoInChain(dsp, job, report);
    CheckMadeUpSetting(dsp, job, live, report);
    AfterConversion(dsp, report);
}

} // namespace wm::check
