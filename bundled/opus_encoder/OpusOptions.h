// The Opus encoder's own options, named after the reference tool's: -bitrate N (kbps),
// -vbr / -cvbr / -hard-cbr, -comp N, -framesize N (ms), -music / -speech.
#pragma once

#include "text/String.h"

#include <cstdint>

namespace wm::bundled {

enum class OpusRateMode { Vbr, ConstrainedVbr, HardCbr };
enum class OpusSignal { Auto, Music, Speech };

struct OpusOptions {
    double bitrateKbps = 0; // 0: the reference tool's default for the channel count
    OpusRateMode mode = OpusRateMode::Vbr;
    int complexity = 10;
    double frameMs = 20;
    OpusSignal signal = OpusSignal::Auto;
};

// False, with the reason, for an unknown option or a value out of range. The bit rate's range
// depends on the channels (6 to 256 kbps a channel) and is checked by the encoder.
bool ParseOpusOptions(StringView commandLine, OpusOptions& options, String& error);

} // namespace wm::bundled
