#include "bundled/mp3_encoder/Mp3Options.h"

#include "contract/EncoderOptions.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <string>

namespace wm::bundled {

namespace {

// A decimal number (a fraction allowed when `fraction`) within [low, high].
bool Number(const String& text, double low, double high, bool fraction, double& out) {
    if (text.empty() || text.size() > 12)
        return false;
    std::string s = Narrow(text);
    for (char c : s)
        if (!((c >= '0' && c <= '9') || (fraction && c == '.')))
            return false;
    out = std::strtod(s.c_str(), nullptr);
    return out >= low && out <= high;
}

// Every bit rate some MPEG layer III version holds; which of them a stream may use depends on
// its sample rate, checked once LAME has chosen that.
constexpr int kBitRates[] = {8,  16,  24,  32,  40,  48,  56,  64,  80,
                             96, 112, 128, 144, 160, 192, 224, 256, 320};

bool BitRate(const String& value, lame_global_flags* lame) {
    double v = 0;
    if (!Number(value, 8, 320, false, v) ||
        std::find(std::begin(kBitRates), std::end(kBitRates), int(v)) == std::end(kBitRates))
        return false;
    return lame_set_brate(lame, int(v)) == 0 && lame_set_VBR_min_bitrate_kbps(lame, int(v)) == 0;
}

bool Mode(const String& value, lame_global_flags* lame) {
    if (value.size() != 1)
        return false;
    switch (value[0]) {
    case u's':
        return lame_set_mode(lame, STEREO) == 0;
    case u'j':
        return lame_set_force_ms(lame, 0) == 0 && lame_set_mode(lame, JOINT_STEREO) == 0;
    case u'f':
        return lame_set_force_ms(lame, 1) == 0 && lame_set_mode(lame, JOINT_STEREO) == 0;
    case u'd':
        return lame_set_mode(lame, DUAL_CHANNEL) == 0;
    case u'm':
        return lame_set_mode(lame, MONO) == 0;
    default:
        return false;
    }
}

} // namespace

bool ApplyMp3Options(StringView commandLine, lame_global_flags* lame, String& error) {
    return ForEachEncoderOption(commandLine, error, [&](const String& name, const String& value) {
        double v = 0;
        bool ok = true;
        if (name == u"b") {
            if (!BitRate(value, lame))
                return error = u"bad value '" + value +
                               u"' for the MP3 option -b: MP3 bit rates "
                               u"are 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, "
                               u"192, 224, 256 and 320 kbps",
                       false;
        } else if (name == u"V") {
            ok = Number(value, 0, 9.999, true, v) && lame_set_VBR(lame, vbr_default) == 0 &&
                 lame_set_VBR_quality(lame, float(v)) == 0;
        } else if (EqualsNoCase(name, u"abr")) {
            ok = Number(value, 8, 320, false, v) && lame_set_VBR(lame, vbr_abr) == 0 &&
                 lame_set_VBR_mean_bitrate_kbps(lame, int(v)) == 0;
        } else if (name == u"q") {
            ok = Number(value, 0, 9, false, v) && lame_set_quality(lame, int(v)) == 0;
        } else if (name == u"m") {
            ok = Mode(value, lame);
        } else if (EqualsNoCase(name, u"noreplaygain")) {
            ok = lame_set_findReplayGain(lame, 0) == 0;
        } else {
            return error = u"unknown MP3 option -" + name, false;
        }
        if (!ok)
            return error = u"bad value '" + value + u"' for the MP3 option -" + name, false;
        return true;
    });
}

} // namespace wm::bundled
