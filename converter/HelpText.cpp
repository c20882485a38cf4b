#include "converter/HelpText.h"

#include "files/PathText.h"
#include "plugins/PluginFolder.h"
#include "plugins/clTwCodecHandler.h"
#include "process/Log.h"

#include <algorithm>

namespace wm {

namespace {

void SplitLines(StringView text, StringList& into, StringView indent) {
    while (!text.empty()) {
        const size_t end = text.find_first_of(u"\r\n");
        const StringView line = text.substr(0, end);
        if (!line.empty())
            into.push_back(String(indent) + String(line));
        if (end == StringView::npos)
            break;
        text.remove_prefix(end + 1);
    }
}

// A loaded plug-in's "Help" answer, or empty when it has none.
template <class Binding> String HelpAnswer(bool loaded, Binding& plugin) {
    String help;
    PluginValue value{};
    if (loaded && plugin.Get(WM_VALUE_HELP, &value) && value.pointer1)
        help = static_cast<const char16_t*>(value.pointer1);
    plugin.Unload();
    return help;
}

String EncoderHelp(const String& codec, const String& programFolder) {
    clTwEncoder encoder;
    return HelpAnswer(
        clTwCodecHandler().LoadEncoder(codec, encoder, LogHostContext(), programFolder), encoder);
}

String EffectHelp(const String& effect, const String& programFolder) {
    clTwDSP dsp;
    return HelpAnswer(clTwCodecHandler().LoadDSP(effect, dsp, LogHostContext(), programFolder),
                      dsp);
}

// "Normalize", "Volume", ... from the effects folder, sorted as a listing is read.
StringList InstalledEffects(const String& programFolder) {
    StringList effects;
    for (const String& library : PluginLibraries(PluginFolder(programFolder, u"DSPs"))) {
        const String file = FileNamePart(library);
        effects.push_back(file.substr(0, file.size() - ExtensionOf(file).size()));
    }
    std::sort(effects.begin(), effects.end(),
              [](const String& a, const String& b) { return CompareNoCase(a, b) < 0; });
    return effects;
}

} // namespace

StringList InstalledCodecs(const String& programFolder) {
    StringList codecs;
    for (const String& file : clTwCodecHandler().ListEncoders(programFolder)) {
        const String ext = ExtensionOf(file);
        codecs.push_back(file.substr(0, file.size() - ext.size()));
    }
    return codecs;
}

StringList InstalledHelpLines(const String& programFolder) {
    StringList lines{u"", u"Encoders (-convert_to=):"};
    for (const String& codec : InstalledCodecs(programFolder)) {
        lines.push_back(u"  " + codec);
        SplitLines(EncoderHelp(codec, programFolder), lines, u"      ");
    }
    lines.push_back(u"");
    lines.push_back(u"Effects (-dspeffect1=\"Name=settings\"):");
    for (const String& effect : InstalledEffects(programFolder)) {
        lines.push_back(u"  " + effect);
        SplitLines(EffectHelp(effect, programFolder), lines, u"      ");
    }
    StringList extensions, descriptions;
    clTwCodecHandler().ListDecoders(false, &extensions, &descriptions, nullptr, programFolder);
    lines.push_back(u"");
    lines.push_back(u"Input types:");
    for (size_t i = 0; i < extensions.size(); ++i)
        lines.push_back(u"  *" + extensions[i] + u"  " + descriptions[i]);
    return lines;
}

} // namespace wm
