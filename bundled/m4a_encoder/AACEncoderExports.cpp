// The "AAC" encoder (encoder\AAC.dll): AAC-LC in .m4a on libavcodec's own AAC encoder.
#include "bundled/m4a_encoder/M4aEncoder.h"
#include "bundled/m4a_encoder/M4aOptions.h"

#include <algorithm>
#include <iterator>
#include <new>
#include <string>
#include <type_traits>

namespace wm::bundled {

namespace {

constexpr const char16_t* kHelp =
    u"-b <kbps>          constant bit rate (default: 128 a channel pair, 69 a single one)\r\n"
    u"-q <0.1..2>        variable bit rate on FFmpeg's quality scale";

// The rates of the MPEG-4 audio table; the AAC encoder's channel layouts are mono to 5.1 and
// 7.1 (no 6.1).
const uint32_t kRates[] = {96000, 88200, 64000, 48000, 44100, 32000, 24000,
                           22050, 16000, 12000, 11025, 8000,  7350};

String AacRefusal(const WmWaveFormat& source, bool, const codec::PcmLayout&) {
    if (std::find(std::begin(kRates), std::end(kRates), source.samplesPerSec) == std::end(kRates))
        return u"AAC does not hold " + Widen(std::to_string(source.samplesPerSec)) +
               u" Hz (it holds 7350, 8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, "
               u"48000, 64000, 88200 and 96000 Hz): resample first, e.g. "
               u"-dspeffect1=\"Resample=rate=48000\"";
    if (source.channels == 0 || source.channels > 8 || source.channels == 7)
        return u"AAC holds 1 to 6 or 8 channels; the source has " +
               Widen(std::to_string(source.channels));
    return {};
}

const M4aCodec kAac = {AV_CODEC_ID_AAC,        u"AAC",          kHelp,
                       codec::Fidelity::Lossy, ApplyAacOptions, AacRefusal};

struct AacEncoder : M4aEncoder {
    AacEncoder() : M4aEncoder(kAac) {}
};

} // namespace

} // namespace wm::bundled

WM_ENCODER_EXPORTS(wm::bundled::AacEncoder);
