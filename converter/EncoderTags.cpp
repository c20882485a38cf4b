// The output's ID tags: the set the encoder receives.
#include "converter/EncoderTags.h"

#include "files/FileAccess.h"
#include "files/PathText.h"
#include "process/Registry.h"
#include "protocol/ConverterOptions.h"
#include "tags/TagText.h"

#include <algorithm>

namespace wm {

namespace {

// A version file's first line; UTF-16LE with a byte-order mark, else UTF-8.
String ReadVersionText(const String& path) {
    FileAccess file;
    if (!file.OpenRead(path))
        return {};
    char buffer[4096];
    bool failed = false;
    uint32_t got = file.Read(buffer, sizeof buffer, 0, &failed);
    String text;
    if (got >= 2 && static_cast<unsigned char>(buffer[0]) == 0xFF &&
        static_cast<unsigned char>(buffer[1]) == 0xFE)
        text.assign(reinterpret_cast<const char16_t*>(buffer + 2), (got - 2) / 2);
    else if (got >= 3 && std::string_view(buffer, 3) == "\xEF\xBB\xBF")
        text = Widen(std::string_view(buffer + 3, got - 3));
    else
        text = Widen(std::string_view(buffer, got));
    size_t end = text.find_first_of(u"\r\n");
    if (end != String::npos)
        text.resize(end);
    return text;
}

String Trimmed(StringView s) {
    size_t b = s.find_first_not_of(u" \t\r\n");
    if (b == StringView::npos)
        return {};
    size_t e = s.find_last_not_of(u" \t\r\n");
    return String(s.substr(b, e - b + 1));
}

// "Release 1.2 (libfoo 3.4)" gives "libfoo 3.4"; a text not starting with Release is kept whole.
String EncoderVersionValue(String t) {
    if (!StartsWithNoCase(t, u"Release"))
        return t;
    size_t space = t.size() > 8 ? t.find(u' ', 8) : String::npos;
    t = space == String::npos ? String() : Trimmed(StringView(t).substr(space + 1));
    if (!t.empty() && (t.front() == u'(' || t.front() == u'['))
        t.erase(0, 1);
    if (!t.empty() && (t.back() == u')' || t.back() == u']'))
        t.pop_back();
    return t;
}

void Replace(IDTagSet& set, StringView name, StringView value) {
    set.Remove(name);
    set.Add(name, value);
}

} // namespace

void EncoderTags::UpdateEncoderTags(const void* tagBlock, uint32_t tagSize, const void* infoBlock,
                                    uint32_t infoSize, ReplayGainTags replayGain,
                                    const String& encoderSettings) {
    AddUserTags();
    if (tagBlock && tagSize) {
        IDTagSet decoded;
        decoded.Deserialize(tagBlock, tagSize);
        set_.Merge(decoded, false);
    }
    if (RegReadDword(u"VrxNoUpdateEncoderTags") == 0)
        RewriteOwnTags(infoBlock, infoSize, encoderSettings);
    if (RegReadDword(u"VrxNoTagDropSpaces") == 0)
        for (size_t i = 0; i < set_.Count(); ++i)
            DropTagSpaces(set_.At(i).Value);
    DropTags(replayGain);
    block_ = set_.Serialize();
}

void EncoderTags::PutMeasuredTrackGain(const LoudnessRecord& measured) {
    PutReplayGain(set_, GainScope::Track, measured.lufs, measured.peak);
    block_ = set_.Serialize();
}

void EncoderTags::AddUserTags() {
    const OptionStore& options = source_.options;
    for (size_t i = 0; i < options.Count(); ++i) {
        if (!EqualsNoCase(options.NameAt(i), option::kTag))
            continue;
        String v = options.ValueAt(i);
        ReplaceAll(v, u"{qt}", u"\"");
        size_t eq = v.find(u'=');
        if (eq == String::npos || eq == 0)
            continue;
        set_.Add(StringView(v).substr(0, eq), StringView(v).substr(eq + 1));
        userTagNames_.push_back(v.substr(0, eq));
    }
}

void EncoderTags::RewriteOwnTags(const void* infoBlock, uint32_t infoSize,
                                 const String& encoderSettings) {
    set_.Remove(u"Encoding Tool");
    RewriteSource(infoBlock, infoSize);
    const String& folder = source_.programFolder;
    if (set_.Find(u"Encoded By")) {
        String version = ReadVersionText(folder + u"Versions\\Vrx.txt");
        Replace(set_, u"Encoded By",
                version.empty() ? String(u"Tonewerk") : u"Tonewerk " + version);
    }
    if (set_.Find(u"Encoder")) {
        String t = EncoderVersionValue(
            ReadVersionText(folder + u"Versions\\Compression\\" + source_.codec + u".txt"));
        if (!t.empty())
            Replace(set_, u"Encoder", t);
    }
    RewriteEncoderSettings(encoderSettings);
}

// "Source" gains the quality the decoder reports: "CD >> Lossless [flac]".
void EncoderTags::RewriteSource(const void* infoBlock, uint32_t infoSize) {
    if (!set_.Find(u"Source") || !infoBlock || !infoSize)
        return;
    IDTagSet info;
    info.Deserialize(infoBlock, infoSize);
    const String quality = info.GetValue(u"Audio Quality");
    const String source = set_.GetValue(u"Source");
    if (quality.empty() || quality == source)
        return;
    String value = source + u" >> " + quality;
    const String ext = source_.inputFile == u"-" ? String() : ExtensionOf(source_.inputFile);
    if (!ext.empty() && !EqualsNoCase(ext, u".iGnore"))
        value += u" [" + ext.substr(1) + u"]";
    Replace(set_, u"Source", value);
}

void EncoderTags::RewriteEncoderSettings(const String& encoderSettings) {
    String e = Trimmed(encoderSettings);
    if (!set_.Find(u"Encoder Settings") || e.empty())
        return;
    if (e.find(u"-cli_cmd=") != String::npos) {
        OptionStore parsed;
        parsed.Fill(e);
        String cli = parsed.Value(u"cli_cmd");
        if (!cli.empty()) {
            ReplaceAll(cli, u"{qt}", u"\"");
            e = cli;
        }
    }
    Replace(set_, u"Encoder Settings", e);
}

bool EncoderTags::GivenByTheUser(StringView name) const {
    return std::any_of(userTagNames_.begin(), userTagNames_.end(),
                       [name](const String& given) { return EqualsNoCase(given, name); });
}

void EncoderTags::DropTags(ReplayGainTags replayGain) {
    if (RegReadDword(u"VrxNoDropRPGainTags") == 0 && replayGain != ReplayGainTags::Keep)
        for (const char16_t* name :
             {u"replaygain_track_gain", u"replaygain_track_peak", u"replaygain_album_gain",
              u"replaygain_album_peak", u"iTunNORM"})
            if (replayGain == ReplayGainTags::Drop || !GivenByTheUser(name))
                set_.Take(name);
    set_.Take(u"ITUNSMPB");
}

} // namespace wm
