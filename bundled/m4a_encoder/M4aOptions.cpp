#include "bundled/m4a_encoder/M4aOptions.h"

#include "contract/EncoderOptions.h"

#include <cstdlib>
#include <string>

namespace wm::bundled {

namespace {

// A decimal number (fractions allowed) within [low, high].
bool Number(const String& text, double low, double high, double& out) {
    if (text.empty() || text.size() > 12)
        return false;
    const std::string s = Narrow(text);
    for (char c : s)
        if (!((c >= '0' && c <= '9') || c == '.'))
            return false;
    out = std::strtod(s.c_str(), nullptr);
    return out >= low && out <= high;
}

} // namespace

bool ApplyAacOptions(StringView commandLine, AVCodecContext& codec, String& error) {
    return ForEachEncoderOption(commandLine, error, [&](const String& name, const String& value) {
        double v = 0;
        if (name == u"b" && Number(value, 8, 512 * ((codec.ch_layout.nb_channels + 1) / 2), v)) {
            codec.bit_rate = static_cast<int64_t>(v) * 1000;
        } else if (name == u"q" && Number(value, 0.1, 2, v)) {
            // As the native ffmpeg sets "-q:a": the quality scale in lambda units.
            codec.flags |= AV_CODEC_FLAG_QSCALE;
            codec.global_quality = static_cast<int>(v * FF_QP2LAMBDA + 0.5);
        } else if (name == u"b" || name == u"q") {
            return error =
                       u"bad value '" + value + u"' for the AAC option -" + name +
                       (name == u"b" ? u" (kbps, 8 to 512 for each two channels)" : u" (0.1 to 2)"),
                   false;
        } else {
            return error = u"unknown AAC option -" + name, false;
        }
        return true;
    });
}

bool ApplyAlacOptions(StringView commandLine, AVCodecContext&, String& error) {
    return ForEachEncoderOption(commandLine, error, [&](const String& name, const String&) {
        return error = u"unknown ALAC option -" + name + u" (ALAC takes no options)", false;
    });
}

} // namespace wm::bundled
