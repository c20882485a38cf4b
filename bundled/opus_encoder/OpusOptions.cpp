#include "bundled/opus_encoder/OpusOptions.h"

#include "bundled/codec/OptionNumber.h"
#include "contract/EncoderOptions.h"

#include <algorithm>
#include <iterator>

namespace wm::bundled {

namespace {

bool FrameSize(const String& value, double& ms) {
    static const double kSizes[] = {2.5, 5, 10, 20, 40, 60};
    double v = 0;
    if (!codec::ReadNumber(value, 2.5, 60, v) ||
        std::find(std::begin(kSizes), std::end(kSizes), v) == std::end(kSizes))
        return false;
    ms = v;
    return true;
}

} // namespace

bool ParseOpusOptions(StringView commandLine, OpusOptions& o, String& error) {
    return ForEachEncoderOption(commandLine, error, [&](const String& name, const String& value) {
        double v = 0;
        bool ok = true;
        if (EqualsNoCase(name, u"bitrate"))
            ok = codec::ReadNumber(value, 0.5, 1e6, v) && (o.bitrateKbps = v, true);
        else if (EqualsNoCase(name, u"vbr"))
            o.mode = OpusRateMode::Vbr;
        else if (EqualsNoCase(name, u"cvbr"))
            o.mode = OpusRateMode::ConstrainedVbr;
        else if (EqualsNoCase(name, u"hard-cbr"))
            o.mode = OpusRateMode::HardCbr;
        else if (EqualsNoCase(name, u"comp"))
            ok = codec::ReadNumber(value, 0, 10, v) && v == static_cast<int>(v) &&
                 (o.complexity = static_cast<int>(v), true);
        else if (EqualsNoCase(name, u"framesize"))
            ok = FrameSize(value, o.frameMs);
        else if (EqualsNoCase(name, u"music"))
            o.signal = OpusSignal::Music;
        else if (EqualsNoCase(name, u"speech"))
            o.signal = OpusSignal::Speech;
        else
            return error = u"unknown Opus option -" + name, false;
        if (!ok)
            return error = u"bad value '" + value + u"' for the Opus option -" + name, false;
        return true;
    });
}

} // namespace wm::bundled
