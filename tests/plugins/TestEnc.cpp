// Scripted test encoder (codec "TestEnc"). Its options arrive in the encoder command line as
// -name="value" (see README.md); it writes the raw PCM it receives to the output path so that
// tests can compare bytes. Built twice: as TestEnc.dll, and with WM_TEST_NO_REMOVE_CONFIG as
// NoRemoveConfig.dll, which lacks "ENC_RemoveConfigBit".
#include "TestPluginSupport.h"
#include "sdk/wavemill_plugin.h"

#include <map>
#include <string_view>
#include <vector>

using namespace wmtest;

namespace {

struct Encoder {
    std::map<std::u16string, std::u16string> options;
    bool optionsRead = false;
    uint32_t encodeCalls = 0;
    std::u16string output;
    PluginValue request{};         // the value asked of the decoder through the host
    std::vector<uint8_t> reported; // "FileName1", ... handed back in the second block

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

// "Communicate" with -talk=<log>: the first exchange of every stage asks the decoder, through
// the host, for its first "Decodes" entry; questions and results are logged.
uint32_t Talk(Encoder& e, PluginValue* value) {
    const std::u16string log = e.Option(u"talk");
    if (log.empty())
        return 0;
    const std::string line = "stage=" + ToUtf8(static_cast<const char16_t*>(value->pointer1)) +
                             " n=" + std::to_string(value->value1) +
                             " ok=" + std::to_string(value->value2) + "\n";
    WriteToFile(log, line.data(), line.size(), true);
    if (value->value1 != 0)
        return 0;
    e.request = PluginValue{};
    value->pointer1 = const_cast<char16_t*>(u"Decoder");
    value->pointer2 = const_cast<char16_t*>(u"GET");
    value->pointer3 = const_cast<char16_t*>(u"Decodes");
    value->pointer4 = &e.request;
    return 1;
}

void LogResult(const Encoder& e, const PluginValue* value) {
    const std::u16string log = e.Option(u"talk");
    const std::string line = "result=" + std::to_string(value->value2) +
                             " answer=" + ToUtf8(static_cast<const char16_t*>(e.request.pointer1)) +
                             "\n";
    if (!log.empty())
        WriteToFile(log, line.data(), line.size(), true);
}

void Put32(std::vector<uint8_t>& out, uint32_t v) {
    for (int i = 0; i < 4; ++i)
        out.push_back(static_cast<uint8_t>(v >> (8 * i)));
}

void PutText(std::vector<uint8_t>& out, const std::u16string& text) {
    for (char16_t c : text + u'\0') {
        out.push_back(static_cast<uint8_t>(c));
        out.push_back(static_cast<uint8_t>(c >> 8));
    }
}

// -report="a;b": a tag block naming the files as "FileName1", "FileName2", ...
std::vector<uint8_t> ReportBlock(const std::u16string& names) {
    std::vector<uint8_t> block;
    uint32_t count = 0;
    Put32(block, 0);
    for (size_t start = 0; start < names.size(); ++count) {
        size_t end = names.find(u';', start);
        end = end == std::u16string::npos ? names.size() : end;
        const std::u16string name = u"FileName" + ToUtf16(std::to_string(count + 1));
        const std::u16string value = names.substr(start, end - start);
        Put32(block, static_cast<uint32_t>(4 + 2 * (name.size() + 1) + 2 * (value.size() + 1)));
        PutText(block, name);
        PutText(block, value);
        start = end + 1;
    }
    for (int i = 0; i < 4; ++i)
        block[i] = static_cast<uint8_t>(count >> (8 * i));
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
    if (n == u"Communicate")
        return Talk(*e, value);
    if (n == u"Extension") {
        value->pointer1 = const_cast<char16_t*>(u".raw");
        return 1;
    }
    return n == u"SendOverReplayGainTags" && e->Flag(u"replaygain");
}

WM_PLUGIN_EXPORT uint32_t ENC_Set(void* instance, const WmChar* name, PluginValue* value) {
    const std::u16string_view n = name;
    if (n == u"CommunicateResult")
        LogResult(*static_cast<Encoder*>(instance), value);
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
    if (e->output.empty())
        return 0; // not begun, or already ended
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
    if (conversion && !e->Option(u"report").empty()) {
        e->reported = ReportBlock(e->Option(u"report"));
        conversion->secondData = e->reported.data();
        conversion->secondSize = static_cast<uint32_t>(e->reported.size());
    }
    if (tagAfterwards && e->Flag(u"tagafter"))
        *tagAfterwards = 1;
    return e->Option(u"fail") == u"End" ? 0 : 1;
}
