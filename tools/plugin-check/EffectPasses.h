// The two ways the host passes audio through an effect: live, block by block between
// "DSP_BeginConversion" and "DSP_EndConversion", and non-live, over a rendered file rewritten in
// place. Each pass checks what it hands back and returns it for comparisons.
#pragma once

#include "plugins/clTwDSP.h"
#include "tools/plugin-check/Checks.h"

namespace wm::check {

// One block of audio in the format it carries.
struct AudioPiece {
    std::vector<uint8_t> bytes;
    WmWaveFormat format{};
};
using Pieces = std::vector<AudioPiece>;

// The audio in blocks of varied whole-frame sizes, the last one empty, as a decoder delivers it.
Pieces CutIntoBlocks(const std::vector<uint8_t>& audio, const WmWaveFormat& format);
// The bytes of every piece, one after the other.
std::vector<uint8_t> Joined(const Pieces& pieces);

struct PassResult {
    bool complete = false;   // every block was taken (or the file rewritten)
    uint64_t handedBack = 0; // bytes in buffers of the effect's own
    double msGiven = 0, msHandedBack = 0;
    Pieces output; // what came back, a piece per block
};

// How a pass meets a refusal: a violation, or a format the effect may refuse with a reason.
enum class Refusal { Violation, Allowed };

// Begin with `settings` (sourceFormat: the source's format, as the host gives it), every block,
// end.
PassResult LivePass(clTwDSP& dsp, const String& settings, const WmWaveFormat& source,
                    const Pieces& input, Refusal refusal, Report& report);
// The rendered file (the audio in `format`) through "DSP_PassNonLive", read back.
PassResult NonLivePass(clTwDSP& dsp, const String& settings, const WmWaveFormat& format,
                       const std::vector<uint8_t>& audio, Refusal refusal, Report& report);
// One pass of the effect's own kind over generated audio.
PassResult PassOnce(clTwDSP& dsp, const String& settings, bool live, const WmWaveFormat& format,
                    const std::vector<uint8_t>& audio, Refusal refusal, Report& report);

// How long audio lasts by its format, in milliseconds; 0 for a format without a byte rate.
double DurationMs(uint64_t bytes, const WmWaveFormat& f);
// Effects keep the audio's duration: bytes that last longer or shorter by the format declared
// for them were described with the wrong format.
void CheckDuration(double given, double handedBack, Report& report);

// A block as the host hands it on, starting `at` bytes into the stream.
AudioBlockInfo BlockOf(std::vector<uint8_t>& bytes, uint64_t at, const WmWaveFormat& format);
// The format of the audio a pass handed back: the first block's with bytes, else `given`.
WmWaveFormat OutputFormat(const PassResult& result, const WmWaveFormat& given);

// A conversion record as the host fills it for an effect.
ConversionInfo EffectConversion(const WmWaveFormat& source);

// The same audio at every sample width must come back as the same audio.
void CheckWidths(clTwDSP& dsp, const CheckJob& job, bool live, Report& report);
// Two instances in one chain, each begun before the first block, must each act on their own.
void CheckTwoInChain(clTwDSP& dsp, const CheckJob& job, Report& report);

} // namespace wm::check
