#include "bundled/flac_encoder/FlacOptions.h"

#include "contract/EncoderOptions.h"

#include <string>

namespace wm::bundled {

namespace {

// One metadata block holds at most 16 MiB - 1 bytes, the seek table's room included.
constexpr uint32_t kMaxPadding = (1u << 24) - 1 - 4096;

bool Number(const String& text, uint32_t low, uint32_t high, uint32_t& out) {
    if (text.empty() || text.size() > 9)
        return false;
    uint32_t v = 0;
    for (char16_t c : text) {
        if (c < u'0' || c > u'9')
            return false;
        v = v * 10 + (c - u'0');
    }
    out = v;
    return v >= low && v <= high;
}

} // namespace

bool ParseFlacOptions(StringView commandLine, FlacOptions& o, String& error) {
    return ForEachEncoderOption(commandLine, error, [&](const String& name, const String& value) {
        const String level = name.starts_with(u"compression-level-") ? name.substr(18) : name;
        bool ok = true;
        if (level.size() == 1 && level[0] >= u'0' && level[0] <= u'8')
            o.level = level[0] - u'0';
        else if (name == u"V" || EqualsNoCase(name, u"verify"))
            o.verify = true;
        else if (name == u"b" || EqualsNoCase(name, u"blocksize"))
            ok = Number(value, 16, 65535, o.blockSize);
        else if (EqualsNoCase(name, u"padding"))
            ok = Number(value, 0, kMaxPadding, o.padding);
        else if (EqualsNoCase(name, u"no-padding"))
            o.padding = 0;
        else if (EqualsNoCase(name, u"no-seektable"))
            o.seekTable = false;
        else
            return error = u"unknown FLAC option -" + name, false;
        if (!ok)
            return error = u"bad value '" + value + u"' for the FLAC option -" + name, false;
        return true;
    });
}

} // namespace wm::bundled
