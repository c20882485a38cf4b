// An effect's output set beside another of its outputs that must be the same audio: the same
// sound at another sample width, and two instances in one chain against one instance twice.
#include "tools/plugin-check/EffectPasses.h"

namespace wm::check {

namespace {

// Widths agree far better than this even after 8-bit quantisation; audio read as the wrong
// width is noise.
constexpr double kMinWidthAgreementDb = 25;

struct Width {
    uint16_t bits;
    bool isFloat;
};

// Two instances begun together, each block through the first and then, as handed back, through
// the second, as the host chains effects; empty when either refused.
Pieces PassThroughChain(Guarded<clTwDSP> (&chain)[2], const CheckJob& job,
                        const WmWaveFormat& format, const Pieces& input, Report& report) {
    ConversionInfo conversion = EffectConversion(format);
    for (clTwDSP& dsp : chain) {
        CallGuard guard("DSP_BeginConversion");
        if (!dsp.BeginConversion(&conversion, job.settings.c_str())) {
            report.Violation(Rule::TwoInChain,
                             "a second instance cannot begin while the first one is in the "
                             "chain" +
                                 Reason(dsp, report));
            return {};
        }
    }
    Pieces output;
    uint64_t at = 0;
    for (size_t i = 0; i < input.size(); at += input[i].bytes.size(), ++i) {
        std::vector<uint8_t> bytes = input[i].bytes;
        AudioBlockInfo block = BlockOf(bytes, at, input[i].format);
        block.endOfStream = i + 1 == input.size();
        for (clTwDSP& dsp : chain) {
            CallGuard guard("DSP_PassAudioBlock");
            if (!dsp.PassAudioBlock(&block))
                return {};
        }
        const auto* data = static_cast<const uint8_t*>(block.data);
        output.push_back(
            {data ? std::vector<uint8_t>(data, data + block.length) : std::vector<uint8_t>(),
             block.format});
    }
    for (clTwDSP& dsp : chain) {
        CallGuard guard("DSP_EndConversion");
        dsp.EndConversion(&conversion);
    }
    return output;
}

} // namespace

void CheckWidths(clTwDSP& dsp, const CheckJob& job, bool live, Report& report) {
    static const Width kWidths[] = {{16, false}, {8, false}, {24, false},
                                    {32, false}, {32, true}, {64, true}};
    std::vector<double> reference;
    std::string referenceLabel;
    for (const Width& width : kWidths) {
        const WmWaveFormat format = MakeFormat(2, 44100, width.bits, width.isFloat);
        ReportContext context(report, Describe(format) + " audio");
        const PassResult result = PassOnce(dsp, job.settings, live, format, SineAudio(format, 500),
                                           Refusal::Allowed, report);
        const std::vector<double> values =
            SampleValues(Joined(result.output), OutputFormat(result, format));
        if (!result.complete || values.empty())
            continue;
        if (reference.empty()) {
            reference = values;
            referenceLabel = Describe(format);
        } else if (values.size() == reference.size()) {
            // Garbage may hold NaNs, which compare false: only a ratio that is good enough passes.
            const double db = SignalToDifferenceDb(reference, values);
            if (!(db >= kMinWidthAgreementDb))
                report.Violation(Rule::WidthGarbage,
                                 "the output is not the output of the same audio as " +
                                     referenceLabel + " (signal to difference " + DecibelText(db) +
                                     "): read and write every sample width as its own");
        }
    }
}

void CheckTwoInChain(clTwDSP& dsp, const CheckJob& job, Report& report) {
    const WmWaveFormat format = CheckFormat();
    const Pieces input = CutIntoBlocks(SineAudio(1000), format);
    // One instance passing the audio twice gives what two in a chain must give.
    const PassResult once = LivePass(dsp, job.settings, format, input, Refusal::Violation, report);
    if (!once.complete)
        return;
    const PassResult twice =
        LivePass(dsp, job.settings, format, once.output, Refusal::Violation, report);
    Guarded<clTwDSP> chain[2];
    if (!twice.complete || !Bind(chain[0], job.library, "DSP_Create", report) ||
        !Bind(chain[1], job.library, "DSP_Create", report))
        return;
    const Pieces chained = PassThroughChain(chain, job, format, input, report);
    if (chained.empty())
        return;
    if (Joined(chained) != Joined(twice.output))
        report.Violation(Rule::TwoInChain,
                         "two instances in one chain give other audio than one instance passing "
                         "the audio twice: keep all state (a delay line, a filter's memory) in "
                         "the instance, none in globals");
    else
        report.Passed("two instances in one chain each act on their own");
}

} // namespace wm::check
