// Scripted test encoder (codec "TestEnc"). Its options arrive in the encoder command line as
// -name="value" (see README.md); it writes the raw PCM it receives to the output path so that
// tests can compare bytes. Built twice: as TestEnc.dll, and with WM_TEST_NO_REMOVE_CONFIG as
// NoRemoveConfig.dll, which lacks "ENC_RemoveConfigBit".
#include "TestPluginSupport.h"
#include "sdk/wavemill_plugin.h"

#include <map>
#include <string_view>

using namespace wmtest;

namespace {

struct Encoder {
    std::map<std::u16string, std::u16string> options;
    bool optionsRead = false;
    uint32_t encodeCalls = 0;
    std::u16string output;

    std::u16string Option(const char16_t* name) const {
        auto it = options.find(name);
        return it == options.end() ? std::u16string() : it->second;
    }
    bool Flag(const char16_t* name) const { return Option(name) == u"1"; }
    void Log(const std::string& line) const {
        if (!Option(u"log").empty())
            WriteToFile(Option(u"log"), (line + "\n").data(), line.size() + 1, true);
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
    if (n == u"SendRawUnCompressed")
        ReadOptions(*e, static_cast<const char16_t*>(value->pointer2));
    if (n == u"Extension") {
        value->pointer1 = const_cast<char16_t*>(u".raw");
        return 1;
    }
    return n == u"SendOverReplayGainTags" && e->Flag(u"replaygain");
}

WM_PLUGIN_EXPORT uint32_t ENC_Set(void* /*instance*/, const WmChar* name, PluginValue* /*value*/) {
    const std::u16string_view n = name;
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
    if (!e->Option(u"tagdump").empty())
        WriteToFile(e->Option(u"tagdump"), conversion->tagData,
                    conversion->tagData ? conversion->tagSize : 0, false);
    if (e->Option(u"fail") == u"Begin" || !conversion->outputPath)
        return 0;
    e->output = conversion->outputPath;
    return WriteToFile(e->output, nullptr, 0, false);
}

WM_PLUGIN_EXPORT uint32_t ENC_EncodeBlock(void* instance, AudioBlockInfo* block) {
    auto* e = static_cast<Encoder*>(instance);
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

WM_PLUGIN_EXPORT uint32_t ENC_EndConversion(void* instance, ConversionInfo* /*conversion*/,
                                            uint32_t* tagAfterwards) {
    auto* e = static_cast<Encoder*>(instance);
    e->Log("EndConversion");
    if (tagAfterwards && e->Flag(u"tagafter"))
        *tagAfterwards = 1;
    return e->Option(u"fail") == u"End" ? 0 : 1;
}
