#include "tags/ReplayGain.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>

namespace wm {

namespace {

constexpr double kAbsoluteGateLufs = -70.0;
constexpr double kRelativeGateLu = -10.0;
// The K-weighting's offset in BS.1770's loudness formula.
constexpr double kLoudnessOffset = -0.691;

void Replace(IDTagSet& set, StringView name, StringView value) {
    set.Remove(name);
    set.Add(name, value);
}

std::string ExactText(double value) {
    char text[40];
    std::snprintf(text, sizeof text, "%.17g", value);
    return text;
}

bool ReadNumber(std::string_view text, double& out) {
    const std::string copy(text);
    char* end = nullptr;
    out = std::strtod(copy.c_str(), &end);
    return !copy.empty() && end == copy.c_str() + copy.size();
}

} // namespace

double LoudnessOfEnergy(double energy) {
    return energy > 0 ? 10 * std::log10(energy) + kLoudnessOffset
                      : -std::numeric_limits<double>::infinity();
}

double EnergyOfLoudness(double lufs) {
    return std::pow(10.0, (lufs - kLoudnessOffset) / 10);
}

double GatedLoudness(const GatingBlocks& blocks) {
    const double absoluteGate = EnergyOfLoudness(kAbsoluteGateLufs);
    double sum = 0;
    size_t count = 0;
    for (double e : blocks)
        if (e >= absoluteGate) {
            sum += e;
            ++count;
        }
    if (count == 0)
        return -std::numeric_limits<double>::infinity();
    const double relativeGate =
        sum / static_cast<double>(count) * std::pow(10.0, kRelativeGateLu / 10);
    const double gate = std::max(absoluteGate, relativeGate);
    sum = 0;
    count = 0;
    for (double e : blocks)
        if (e >= gate) {
            sum += e;
            ++count;
        }
    return LoudnessOfEnergy(sum / static_cast<double>(count));
}

String GainText(double lufs) {
    char text[32];
    std::snprintf(text, sizeof text, "%+.2f dB", kReplayGainReferenceLufs - lufs);
    return Widen(text);
}

String PeakText(double peak) {
    char text[32];
    std::snprintf(text, sizeof text, "%.6f", peak);
    return Widen(text);
}

void PutReplayGain(IDTagSet& set, GainScope scope, double lufs, double peak) {
    const bool track = scope == GainScope::Track;
    const StringView gainName = track ? u"replaygain_track_gain" : u"replaygain_album_gain";
    const StringView peakName = track ? u"replaygain_track_peak" : u"replaygain_album_peak";
    if (std::isfinite(lufs))
        Replace(set, gainName, GainText(lufs));
    else
        set.Remove(gainName);
    Replace(set, peakName, PeakText(peak));
}

std::string WriteLoudnessRecord(const LoudnessRecord& record) {
    std::string text = "lufs=" + ExactText(record.lufs) + "\npeak=" + ExactText(record.peak) + "\n";
    for (double e : record.blocks)
        text += "block=" + ExactText(e) + "\n";
    return text;
}

std::optional<LoudnessRecord> ReadLoudnessRecord(std::string_view text) {
    LoudnessRecord record;
    bool haveLufs = false, havePeak = false;
    while (!text.empty()) {
        const size_t end = text.find('\n');
        if (end == std::string_view::npos)
            return std::nullopt; // cut short: the writer did not finish
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(end + 1);
        const size_t eq = line.find('=');
        double value = 0;
        if (eq == std::string_view::npos || !ReadNumber(line.substr(eq + 1), value))
            return std::nullopt;
        const std::string_view name = line.substr(0, eq);
        if (name == "lufs")
            haveLufs = true, record.lufs = value;
        else if (name == "peak")
            havePeak = true, record.peak = value;
        else if (name == "block")
            record.blocks.push_back(value);
        else
            return std::nullopt;
    }
    if (!haveLufs || !havePeak)
        return std::nullopt;
    return record;
}

} // namespace wm
