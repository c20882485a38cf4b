// A source adapted per file to what the target encoder takes: too many channels down-mixed, a
// rate the encoder lacks resampled to one it has, float samples made integer for an encoder of
// integers, each with a bundled effect added after the user's. Portable.
#pragma once

#include "text/String.h"

#include <cstdint>
#include <vector>

namespace wm {

// The source's format as its decoder opens it.
struct SourceShape {
    uint32_t rate = 0;
    uint16_t channels = 0;
    uint16_t bits = 0;
    bool isFloat = false;
};

// What an encoder takes; empty means any.
struct TargetLimits {
    std::vector<uint16_t> channels; // the channel counts it holds, ascending
    std::vector<uint32_t> rates;    // the rates it holds, ascending
    bool integerOnly = false;
};

// The bundled encoders' limits by codec name (case-blind); none for another codec.
TargetLimits LimitsOf(StringView codec);

struct Adaptation {
    StringList effects; // "Channels=channels=2"..., in the order they run
    StringList notes;   // "down-mixed 6 to 2 channels"..., for the report
};

// Nothing when the source fits. The channels are the most the encoder holds up to the source's;
// the rate is the lowest the encoder has at or above the source's
// (the highest when none is), the depth 24 bits for float samples.
Adaptation AdaptTo(const SourceShape& source, const TargetLimits& limits);

// The effects as converter options numbered after the last -dspeffectN the options hold.
String AdaptingEffectOptions(const StringList& effects, StringView passThrough);

} // namespace wm
