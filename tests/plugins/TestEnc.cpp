// Scripted test encoder (codec "TestEnc"). Its options arrive in the encoder command line as
// -name="value" (see README.md); it writes the raw PCM it receives to the output path so that
// tests can compare bytes. Built twice: as TestEnc.dll, and with WM_TEST_NO_REMOVE_CONFIG as
// NoRemoveConfig.dll, which lacks "ENC_RemoveConfigBit".
#include "TestPluginSupport.h"
#include "TestTalk.h"
#include "sdk/wavemill_plugin.h"

#include <map>
#include <sstream>
#include <string_view>

using namespace wmtest;

namespace {

struct Encoder {
    std::map<std::u16string, std::u16string> options;
    bool optionsRead = false;
    uint32_t encodeCalls = 0;
    std::u16string output;
    bool discard = false;      // -write=none: says it succeeds, writes nothing
    wm::UniqueHandle heldOpen; // -holdopen=1: the output stays open, without delete sharing
    ScriptedTalk talk;
    bool talkRead = false;
    std::vector<uint8_t> reportedNames; // tag block handed back at "ENC_EndConversion"

    std::u16string Option(const char16_t* name) const {
        auto it = options.find(name);
        return it == options.end() ? std::u16string() : it->second;
    }
    bool Flag(const char16_t* name) const { return Option(name) == u"1"; }
    void Log(const std::string& line) const { AppendLine(Option(u"log"), line); }
    // The requests of -ask, read once the options are known.
    ScriptedTalk& Talk() {
        if (!talkRead && optionsRead) {
            talkRead = true;
            std::istringstream requests(ToUtf8(Option(u"ask").c_str()));
            for (std::string request; std::getline(requests, request, ';');)
                talk.Add(request);
        }
        return talk;
    }
};

// Parses " -a=\"x y\" -b=z -c" into name/value pairs; the first command line seen wins.
void ReadOptions(Encoder& e, const char16_t* commandLine) {
    if (e.optionsRead || !commandLine)
        return;
    e.optionsRead = true;
    const std::u16string text = commandLine;
    size_t i = 0;
    while ((i = text.find(u'-', i)) != std::u16string::npos) {
        size_t start = ++i;
        while (i < text.size() && text[i] != u'=' && text[i] != u' ')
            ++i;
        std::u16string name = text.substr(start, i - start), value;
        if (i < text.size() && text[i] == u'=') {
            const bool quoted = ++i < text.size() && text[i] == u'"';
            size_t end = text.find(quoted ? u'"' : u' ', i + quoted);
            end = end == std::u16string::npos ? text.size() : end;
            value = text.substr(i + quoted, end - i - quoted);
            i = end + quoted;
        }
        e.options[name] = value;
    }
}

void AppendUint32(std::vector<uint8_t>& out, uint32_t v) {
    for (int i = 0; i < 4; ++i)
        out.push_back(static_cast<uint8_t>(v >> (8 * i)));
}

void AppendText(std::vector<uint8_t>& out, const std::u16string& text) {
    for (char16_t c : text + u'\0') {
        out.push_back(static_cast<uint8_t>(c));
        out.push_back(static_cast<uint8_t>(c >> 8));
    }
}

// A tag block with "FileName<i>" for each non-empty item of "a;b;;d" (an empty item leaves
// its index out), written by hand so that the host's own tag code is not its own oracle.
std::vector<uint8_t> FileNameTags(const std::u16string& list) {
    std::vector<std::pair<std::u16string, std::u16string>> tags;
    std::istringstream items(ToUtf8(list.c_str()));
    int index = 0;
    for (std::string item; std::getline(items, item, ';');)
        if (++index, !item.empty())
            tags.emplace_back(ToUtf16("FileName" + std::to_string(index)), ToUtf16(item));
    std::vector<uint8_t> block;
    AppendUint32(block, static_cast<uint32_t>(tags.size()));
    for (const auto& [name, value] : tags) {
        AppendUint32(block, static_cast<uint32_t>(4 + 2 * (name.size() + 1 + value.size() + 1)));
        AppendText(block, name);
        AppendText(block, value);
    }
    return block;
}

} // namespace

WM_PLUGIN_EXPORT void* ENC_Create(void* /*hostContext*/) {
    return CreateUnlessScripted<Encoder>("encoder");
}

WM_PLUGIN_EXPORT void ENC_Destroy(void* instance) {
    delete static_cast<Encoder*>(instance);
}

WM_PLUGIN_EXPORT uint32_t ENC_Get(void* instance, const WmChar* name, PluginValue* value) {
    auto* e = static_cast<Encoder*>(instance);
    const std::u16string_view n = name;
    if (n == u"SendRawUnCompressed") {
        ReadOptions(*e, static_cast<const char16_t*>(value->pointer2));
        return e->Flag(u"raw");
    }
    if (n == WM_VALUE_COMMUNICATE)
        return e->Talk().Ask(value, [e](const std::string& line) { e->Log("enc " + line); });
    if (n == u"Extension") {
        value->pointer1 = const_cast<char16_t*>(u".raw");
        return 1;
    }
    if (n == WM_VALUE_LOSSLESS) {
        ReadOptions(*e, static_cast<const char16_t*>(value->pointer1));
        return e->Flag(u"lossless");
    }
    return n == u"SendOverReplayGainTags" && e->Flag(u"sendreplaygain");
}

WM_PLUGIN_EXPORT uint32_t ENC_Set(void* instance, const WmChar* name, PluginValue* value) {
    const std::u16string_view n = name;
    auto* e = static_cast<Encoder*>(instance);
    if (n == WM_VALUE_COMMUNICATE_RESULT)
        e->Talk().Result(value, [e](const std::string& line) { e->Log("enc " + line); });
    return n == u"BatchID" || n == u"Priority" || n == u"CommunicateResult";
}

WM_PLUGIN_EXPORT uint32_t ENC_ShowConfigBit(void*, void*, void*) {
    return 0;
}

#ifndef WM_TEST_NO_REMOVE_CONFIG
WM_PLUGIN_EXPORT uint32_t ENC_RemoveConfigBit(void*, void*) {
    return 0;
}
#endif

WM_PLUGIN_EXPORT uint32_t ENC_BeginConversion(void* instance, ConversionInfo* conversion) {
    auto* e = static_cast<Encoder*>(instance);
    ReadOptions(*e, conversion->commandLine);
    e->Log("BeginConversion output=" + ToUtf8(conversion->outputPath));
    if (const WmWaveFormat* f = conversion->sourceFormat)
        e->Log("SourceFormat " + std::to_string(f->samplesPerSec) + " " +
               std::to_string(f->channels) + " " + std::to_string(f->bitsPerSample));
    if (!e->Option(u"tagdump").empty())
        WriteToFile(e->Option(u"tagdump"), conversion->tagData,
                    conversion->tagData ? conversion->tagSize : 0, false);
    if (e->Option(u"fail") == u"Begin" || !conversion->outputPath)
        return 0;
    if (e->Option(u"write") == u"none")
        return e->discard = true;
    e->output = conversion->outputPath;
    if (!WriteToFile(e->output, nullptr, 0, false))
        return 0;
    if (e->Flag(u"holdopen"))
        e->heldOpen.reset(::CreateFileW(W(e->output), GENERIC_READ,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                        FILE_ATTRIBUTE_NORMAL, nullptr));
    return 1;
}

WM_PLUGIN_EXPORT uint32_t ENC_EncodeBlock(void* instance, AudioBlockInfo* block) {
    auto* e = static_cast<Encoder*>(instance);
    if (e->discard)
        return 1;
    if (e->output.empty())
        return 0; // not begun, or already ended
    if (e->encodeCalls == 0)
        CrashOnDemand(ToUtf8(e->Option(u"crash").c_str()));
    const std::u16string fail = e->Option(u"fail"),
                         calls = u":" + ToUtf16(std::to_string(++e->encodeCalls));
    if (fail == u"EncodeBlock" + calls || (fail == u"EncodeBlock" && e->encodeCalls == 1))
        return 0;
    if (!e->Option(u"action").empty())
        block->actionText = e->options[u"action"].c_str();
    return block->length && block->data ? WriteToFile(e->output, block->data, block->length, true)
                                        : 1;
}

WM_PLUGIN_EXPORT uint32_t ENC_EndConversion(void* instance, ConversionInfo* conversion,
                                            uint32_t* tagAfterwards) {
    auto* e = static_cast<Encoder*>(instance);
    e->Log("EndConversion runError=" + std::to_string(conversion ? conversion->runError : 9));
    e->output.clear();
    if (conversion && e->options.count(u"filenames")) {
        e->reportedNames = FileNameTags(e->Option(u"filenames"));
        conversion->secondData = e->reportedNames.data();
        conversion->secondSize = static_cast<uint32_t>(e->reportedNames.size());
    }
    if (tagAfterwards && e->Flag(u"tagafter"))
        *tagAfterwards = 1;
    return e->Option(u"fail") == u"End" ? 0 : 1;
}
