// -albumloudness: one gain for a whole album, so that its tracks keep their levels relative to
// each other, held under the true-peak ceiling that the Normalize effect keeps. Portable.
#pragma once

#include "text/String.h"

#include <cstddef>

namespace wm {

constexpr double kAlbumCeilingDbtp = -1.0;

// The gain (dB) that brings an album measured at `albumLufs`, whose true peak is `truePeak`
// (linear), to `targetLufs`, lowered where the peak would pass the ceiling. 0 for silence.
double AlbumLevelGain(double albumLufs, double truePeak, double targetLufs);

// The effects among the batch's pass-through options (-dspeffectN), as the measuring pass runs
// them, and how many there are.
struct EffectOptions {
    String text;
    size_t count = 0;
};
EffectOptions EffectsOf(StringView passThrough);

// The Volume effect that levels an album, numbered after the user's effects.
String LevelEffectOption(size_t userEffects, double gainDb);

} // namespace wm
