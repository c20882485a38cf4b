// An encoder that decodes its own output for the peak ("DecodedPeak") saves the host a decode,
// and the host writes its answer into the tags unchecked: it must be the peak the output reads
// back with.
#include "tools/plugin-check/Checks.h"
#include "tools/plugin-check/Samples.h"

#include <cmath>
#include <string>

namespace wm::check {

namespace {
// Decoders differ on the edges (the encoder's delay trimmed or not, 16-bit or float samples):
// far below what a player's clipping guard notices, far above those differences.
constexpr double kPeakToleranceDb = 0.1;
// A read-back at full scale may have been clipped by the decoder: any larger answer is right.
constexpr double kFullScale = 32767.0 / 32768.0;

double PeakOf(const ReadBack& read) {
    double peak = 0;
    for (double v : SampleValues(read.audio, read.format))
        peak = std::fmax(peak, std::fabs(v));
    return peak;
}

std::string PeakText(double peak) {
    return std::to_string(peak) + " (" + DecibelText(20 * std::log10(peak)) + ")";
}
} // namespace

bool AskDecodedPeak(clTwEncoder& encoder) {
    PluginValue value{};
    value.value1 = 1;
    CallGuard guard("ENC_Set \"DecodedPeak\"");
    return encoder.Set(WM_VALUE_DECODED_PEAK, &value) != 0;
}

void CheckDecodedPeak(clTwEncoder& encoder, const ReadBack& read, Report& report) {
    double answered = 0;
    PluginValue value{};
    value.pointer1 = &answered;
    {
        CallGuard guard("ENC_Get \"DecodedPeak\"");
        if (!encoder.Get(WM_VALUE_DECODED_PEAK, &value)) {
            report.Note("took \"DecodedPeak\" but gave no peak: the host decodes the output "
                        "itself");
            return;
        }
    }
    if (!read.read)
        return; // the read-back rule has said why
    const double expected = PeakOf(read);
    const double apartDb = std::fabs(20 * std::log10(answered / expected));
    if (apartDb <= kPeakToleranceDb || (expected >= kFullScale && answered >= expected))
        report.Passed("the peak it answers, " + PeakText(answered) + ", is the one its output " +
                      "reads back with");
    else
        report.Violation(Rule::DecodedPeak,
                         "answers \"DecodedPeak\" " + PeakText(answered) + ", but its output " +
                             "reads back through " + Narrow(read.decoder) + " with a peak of " +
                             PeakText(expected) + ": the host writes the answer into the tags");
}

} // namespace wm::check
