#include "bundled/vorbis_encoder/VorbisOptions.h"

#include "bundled/codec/OptionNumber.h"
#include "contract/EncoderOptions.h"

namespace wm::bundled {

bool ParseVorbisOptions(StringView commandLine, VorbisOptions& o, String& error) {
    return ForEachEncoderOption(commandLine, error, [&](const String& name, const String& value) {
        bool ok = true;
        if (name == u"q" || EqualsNoCase(name, u"quality"))
            ok = codec::ReadNumber(value, -1, 10, o.quality);
        else if (name == u"b" || EqualsNoCase(name, u"bitrate"))
            ok = codec::ReadNumber(value, 1, 10000, o.bitrateKbps);
        else
            return error = u"unknown Vorbis option -" + name, false;
        if (!ok)
            return error = u"bad value '" + value + u"' for the Vorbis option -" + name, false;
        return true;
    });
}

} // namespace wm::bundled
