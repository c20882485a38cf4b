// The output's ID tags: the set the encoder receives, and the tag writer that puts the tags
// into the finished file through the decoder plug-in of the output's type.
#include "converter/Log.h"
#include "converter/TwWavemill.h"
#include "files/FileAccess.h"
#include "files/FileOps.h"
#include "files/PathText.h"
#include "plugins/clTwCodecHandler.h"
#include "process/Registry.h"
#include "process/WinString.h"
#include "tags/TagText.h"

#include <windows.h>

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

void TwWavemill::UpdateEncoderTags(const void* tagBlock, uint32_t tagSize, const void* infoBlock,
                                   uint32_t infoSize, bool keepReplayGain,
                                   const String& encoderSettings) {
    for (size_t i = 0; i < options_.Count(); ++i) {
        if (!EqualsNoCase(options_.NameAt(i), u"tag"))
            continue;
        String v = options_.ValueAt(i);
        ReplaceAll(v, u"{qt}", u"\"");
        size_t eq = v.find(u'=');
        if (eq == String::npos || eq == 0)
            continue;
        tagSet_.Add(StringView(v).substr(0, eq), StringView(v).substr(eq + 1));
    }
    if (tagBlock && tagSize) {
        IDTagSet decoded;
        decoded.Deserialize(tagBlock, tagSize);
        tagSet_.Merge(decoded, false);
    }
    if (RegReadDword(u"VrxNoUpdateEncoderTags") == 0) {
        tagSet_.Remove(u"Encoding Tool");
        if (tagSet_.Find(u"Source") && infoBlock && infoSize) {
            IDTagSet info;
            info.Deserialize(infoBlock, infoSize);
            String quality = info.GetValue(u"Audio Quality");
            String source = tagSet_.GetValue(u"Source");
            if (!quality.empty() && quality != source) {
                String value = source + u" >> " + quality;
                String ext = stdInput_ ? String() : ExtensionOf(inputFile_);
                if (!ext.empty() && !EqualsNoCase(ext, u".iGnore"))
                    value += u" [" + ext.substr(1) + u"]";
                Replace(tagSet_, u"Source", value);
            }
        }
        if (tagSet_.Find(u"Encoded By")) {
            String version = ReadVersionText(programFolder_ + u"Versions\\Vrx.txt");
            Replace(tagSet_, u"Encoded By",
                    version.empty() ? String(u"Tonewerk") : u"Tonewerk " + version);
        }
        if (tagSet_.Find(u"Encoder")) {
            String t = EncoderVersionValue(
                ReadVersionText(programFolder_ + u"Versions\\Compression\\" + codec_ + u".txt"));
            if (!t.empty())
                Replace(tagSet_, u"Encoder", t);
        }
        if (tagSet_.Find(u"Encoder Settings")) {
            String e = Trimmed(encoderSettings);
            if (!e.empty()) {
                if (e.find(u"-cli_cmd=") != String::npos) {
                    OptionStore parsed;
                    parsed.Fill(e);
                    String cli = parsed.Value(u"cli_cmd");
                    if (!cli.empty()) {
                        ReplaceAll(cli, u"{qt}", u"\"");
                        e = cli;
                    }
                }
                Replace(tagSet_, u"Encoder Settings", e);
            }
        }
    }
    if (RegReadDword(u"VrxNoTagDropSpaces") == 0)
        for (size_t i = 0; i < tagSet_.Count(); ++i)
            DropTagSpaces(tagSet_.At(i).Value);
    if (RegReadDword(u"VrxNoDropRPGainTags") == 0 && !keepReplayGain)
        for (const char16_t* name :
             {u"replaygain_track_gain", u"replaygain_track_peak", u"replaygain_album_gain",
              u"replaygain_album_peak", u"iTunNORM"})
            tagSet_.Take(name);
    tagSet_.Take(u"ITUNSMPB");
    tagBlock_ = tagSet_.Serialize();
    conversion_.tagData = tagBlock_.data();
    conversion_.tagSize = static_cast<uint32_t>(tagBlock_.size());
}

bool TwWavemill::IDTagWriter(const String& outputFileName, const void* tagBlock, uint32_t tagSize) {
    if (!tagBlock || tagSize == 0)
        return true;
    if (EqualsNoCase(ExtensionOf(tagSourceFile_), u".iGnore"))
        return true;
    constexpr const char* kContext = "TwWavemill::IDTagWriter";
    LogLine(u"->->", kContext);
    if (!silent_)
        console_.Write(u"Writing ID Tags: ");
    clTwDecoder writer;
    clTwCodecHandler handler;
    bool ok = true;
    if (handler.FindDecoder(tagSourceFile_, writer, LogHostContext(), programFolder_, false)) {
        if (FileExists(outputFileName)) {
            // The encoder or a virus scanner may still hold the file for a moment.
            for (int i = 0; i < 30; ++i) {
                FileAccess probe;
                if (probe.OpenRead(outputFileName))
                    break;
                Sleep(100);
            }
        }
        for (int attempt = 1;; ++attempt) {
            PluginValue pv{};
            pv.value2 = tagSize;
            pv.pointer1 = const_cast<char16_t*>(outputFileName.c_str());
            pv.pointer4 = const_cast<void*>(tagBlock);
            if (writer.Set(WM_VALUE_ID_TAGS, &pv))
                break;
            if (attempt == 10) {
                ok = false;
                break;
            }
            Sleep(750);
        }
    }
    if (ok) {
        if (!silent_)
            console_.Write(u"Done", true);
        LogLine(u"<-<-", kContext);
    }
    writer.Unload();
    return ok;
}

} // namespace wm
