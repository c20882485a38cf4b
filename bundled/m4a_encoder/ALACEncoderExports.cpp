// The "ALAC" encoder (encoder\ALAC.dll): Apple Lossless in .m4a on libavcodec's ALAC encoder.
#include "bundled/m4a_encoder/M4aEncoder.h"
#include "bundled/m4a_encoder/M4aOptions.h"

#include <new>
#include <string>
#include <type_traits>

namespace wm::bundled {

namespace {

constexpr const char16_t* kHelp = u"(no options: ALAC stores the source's samples exactly)";

// libavcodec's ALAC encoder stores 16 or 24-bit samples (20-bit ones go into 24 unchanged).
String AlacRefusal(const WmWaveFormat& source, bool isFloat, const codec::PcmLayout& layout) {
    if (isFloat)
        return u"ALAC stores integer samples and the source is float: reduce it first, e.g. "
               u"-dspeffect1=\"BitDepth=bits=24\"";
    if (layout.validBits > 24)
        return u"ALAC stores up to 24 bits a sample and the source has " +
               Widen(std::to_string(layout.validBits)) +
               u": reduce it first, e.g. -dspeffect1=\"BitDepth=bits=24\"";
    if (source.channels == 0 || source.channels > 8)
        return u"ALAC holds 1 to 8 channels; the source has " +
               Widen(std::to_string(source.channels));
    return {};
}

const M4aCodec kAlac = {AV_CODEC_ID_ALAC,          u"ALAC",          kHelp,
                        codec::Fidelity::Lossless, ApplyAlacOptions, AlacRefusal};

struct AlacEncoder : M4aEncoder {
    AlacEncoder() : M4aEncoder(kAlac) {}
};

} // namespace

} // namespace wm::bundled

WM_ENCODER_EXPORTS(wm::bundled::AlacEncoder);
