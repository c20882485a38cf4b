// ReplayGain 2.0 values from EBU R128 loudness: the gating that gives a track's or an album's
// integrated loudness from its 400 ms blocks, the gain to the -18 LUFS reference, the text
// players read, and the record a measured conversion leaves for the batch's album gain.
#pragma once

#include "tags/IDTagSet.h"
#include "text/String.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace wm {

constexpr double kReplayGainReferenceLufs = -18.0;

// Mean-square energies (channel weights applied) of the 400 ms gating blocks, one every 100 ms.
using GatingBlocks = std::vector<double>;

// Integrated loudness of the blocks: absolute gate at -70 LUFS, relative gate 10 LU below the
// mean of the blocks above it. -infinity when no block passes (silence, or less than one block).
double GatedLoudness(const GatingBlocks& blocks);

double LoudnessOfEnergy(double energy);
double EnergyOfLoudness(double lufs);

// "-6.52 dB", "+3.10 dB": the gain that brings `lufs` to the reference.
String GainText(double lufs);
// "0.988525": a linear peak, full scale 1.
String PeakText(double peak);

enum class GainScope { Track, Album };

// Puts fresh values of one scope into the set, replacing any it held. Without a loudness (a
// silent or too short track) the gain is removed rather than written: no gain levels silence.
void PutReplayGain(IDTagSet& set, GainScope scope, double lufs, double peak);

// What a measured conversion leaves for its album: the track's loudness and peak and its blocks.
struct LoudnessRecord {
    double lufs = 0;
    double peak = 0;
    GatingBlocks blocks;
};

// "lufs=...", "peak=..." and one "block=..." line per block, exact to the last bit.
std::string WriteLoudnessRecord(const LoudnessRecord& record);
// Nothing for text that is not a whole record.
std::optional<LoudnessRecord> ReadLoudnessRecord(std::string_view text);

} // namespace wm
