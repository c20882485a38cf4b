// Scripted test encoder (codec "TestEnc"). Its options arrive in the encoder command line as
// -name="value" (see README.md); it writes the raw PCM it receives to the output path so that
// tests can compare bytes, and logs every call. Built twice: as TestEnc.dll, and with
// WM_TEST_NO_REMOVE_CONFIG as NoRemoveConfig.dll, which lacks "ENC_RemoveConfigBit".
#include "TestPluginSupport.h"
#include "sdk/wavemill_plugin.h"

#include <cstdlib>
#include <map>

using namespace wmtest;

namespace {

struct Encoder {
    CallLog log;
    std::map<std::u16string, std::u16string> options;
    bool optionsRead = false;
    uint32_t encodeCalls = 0;
    std::u16string output;
    std::u16string action;
    std::vector<uint8_t> second; // replacement second block, kept until the next call

    std::u16string Option(const char16_t* name) const {
        auto it = options.find(name);
        return it == options.end() ? std::u16string() : it->second;
    }
    bool Flag(const char16_t* name) const { return Option(name) == u"1"; }
    bool FailsAt(const std::u16string& stage) const {
        const std::u16string fail = Option(u"fail");
        return fail == stage;
    }
};

// Parses " -a=\"x y\" -b=z -c" into name/value pairs; the first command line seen wins.
void ReadOptions(Encoder& e, const char16_t* commandLine) {
    if (e.optionsRead || !commandLine)
        return;
    e.optionsRead = true;
    std::u16string text = commandLine;
    size_t i = 0;
    while (i < text.size()) {
        while (i < text.size() && text[i] == u' ')
            ++i;
        if (i >= text.size() || text[i] != u'-') {
            ++i;
            continue;
        }
        size_t start = ++i;
        while (i < text.size() && text[i] != u'=' && text[i] != u' ')
            ++i;
        std::u16string name = text.substr(start, i - start), value;
        if (i < text.size() && text[i] == u'=') {
            ++i;
            if (i < text.size() && text[i] == u'"') {
                size_t close = text.find(u'"', i + 1);
                if (close == std::u16string::npos)
                    close = text.size();
                value = text.substr(i + 1, close - i - 1);
                i = close + 1;
            } else {
                size_t end = text.find(u' ', i);
                if (end == std::u16string::npos)
                    end = text.size();
                value = text.substr(i, end - i);
                i = end;
            }
        }
        e.options[name] = value;
    }
    e.log.SetPath(e.Option(u"log"));
}

uint32_t ParseNumber(const std::u16string& text) {
    return static_cast<uint32_t>(std::strtoul(ToUtf8(text.c_str()).c_str(), nullptr, 10));
}

} // namespace

WM_PLUGIN_EXPORT void* ENC_Create(void* /*hostContext*/) {
    return CreateLogged<Encoder>("encoder");
}

WM_PLUGIN_EXPORT void ENC_Destroy(void* instance) {
    DestroyLogged<Encoder>(instance);
}

WM_PLUGIN_EXPORT uint32_t ENC_Get(void* instance, const WmChar* name, PluginValue* value) {
    auto* e = static_cast<Encoder*>(instance);
    const std::string n = ToUtf8(name);
    if (n == "SendRawUnCompressed")
        ReadOptions(*e, static_cast<const char16_t*>(value->pointer2));
    e->log.Line("Get " + n + " " + std::to_string(value->value1));
    if (n == "Extension") {
        value->pointer1 = const_cast<char16_t*>(u".raw");
        return 1;
    }
    if (n == "SendRawUnCompressed")
        return e->Flag(u"raw");
    if (n == "SendOverReplayGainTags")
        return e->Flag(u"replaygain");
    if (n == "NeedHQAudio")
        return e->Flag(u"needhq");
    return 0;
}

WM_PLUGIN_EXPORT uint32_t ENC_Set(void* instance, const WmChar* name, PluginValue* value) {
    auto* e = static_cast<Encoder*>(instance);
    const std::string n = ToUtf8(name);
    if (n == "Priority" && value->pointer1)
        e->log.Line("Set Priority " + ToUtf8(static_cast<const char16_t*>(value->pointer1)));
    else
        e->log.Line("Set " + n + " " + std::to_string(value->value2));
    return n == "BatchID" || n == "Priority" || n == "CommunicateResult";
}

WM_PLUGIN_EXPORT uint32_t ENC_ShowConfigBit(void* instance, void*, void*) {
    static_cast<Encoder*>(instance)->log.Line("ShowConfigBit");
    return 0;
}

#ifndef WM_TEST_NO_REMOVE_CONFIG
WM_PLUGIN_EXPORT uint32_t ENC_RemoveConfigBit(void* instance, void*) {
    static_cast<Encoder*>(instance)->log.Line("RemoveConfigBit");
    return 0;
}
#endif

WM_PLUGIN_EXPORT uint32_t ENC_BeginConversion(void* instance, ConversionInfo* conversion) {
    auto* e = static_cast<Encoder*>(instance);
    ReadOptions(*e, conversion->commandLine);
    e->log.Line("BeginConversion");
    e->log.Detail("cmd=" + ToUtf8(conversion->commandLine));
    e->log.Detail("input=" + ToUtf8(conversion->inputPath));
    e->log.Detail("output=" + ToUtf8(conversion->outputPath));
    e->log.Detail("tagSize=" + std::to_string(conversion->tagSize) +
                  " runError=" + std::to_string(conversion->runError));
    if (!e->Option(u"tagdump").empty())
        WriteToFile(e->Option(u"tagdump"), conversion->tagData,
                    conversion->tagData ? conversion->tagSize : 0, false);
    if (e->FailsAt(u"Begin") || !conversion->outputPath)
        return 0;
    e->output = conversion->outputPath;
    e->action = e->Option(u"action");
    if (e->Flag(u"raw")) {
        // Taken over: the whole conversion happens here, from the source file as it stands.
        std::vector<uint8_t> source;
        if (!conversion->inputPath || !ReadWholeFile(conversion->inputPath, source))
            return 0;
        return WriteToFile(e->output, source.data(), source.size(), false);
    }
    return WriteToFile(e->output, nullptr, 0, false);
}

WM_PLUGIN_EXPORT uint32_t ENC_EncodeBlock(void* instance, AudioBlockInfo* block) {
    auto* e = static_cast<Encoder*>(instance);
    ++e->encodeCalls;
    e->log.Line("EncodeBlock " + std::to_string(block->length));
    e->log.Detail("action=" + (block->actionText ? ToUtf8(block->actionText) : "null") + " ms=" +
                  std::to_string(block->msPosition) + " end=" + std::to_string(block->endOfStream));
    const uint32_t sleepMs = ParseNumber(e->Option(u"sleep"));
    if (sleepMs)
        ::Sleep(sleepMs);
    if (e->FailsAt(u"EncodeBlock:" + ToUtf16(std::to_string(e->encodeCalls))) ||
        (e->encodeCalls == 1 && e->FailsAt(u"EncodeBlock")))
        return 0;
    if (!e->action.empty())
        block->actionText = e->action.c_str();
    if (block->length && block->data)
        return WriteToFile(e->output, block->data, block->length, true);
    return 1;
}

WM_PLUGIN_EXPORT uint32_t ENC_EndConversion(void* instance, ConversionInfo* conversion,
                                            uint32_t* tagAfterwards) {
    auto* e = static_cast<Encoder*>(instance);
    e->log.Line("EndConversion flag=" +
                (tagAfterwards ? std::to_string(*tagAfterwards) : std::string("null")));
    e->log.Detail("runError=" + std::to_string(conversion ? conversion->runError : 0));
    if (conversion && !e->Option(u"setsecond").empty() &&
        ReadWholeFile(e->Option(u"setsecond"), e->second)) {
        conversion->secondData = e->second.data();
        conversion->secondSize = static_cast<uint32_t>(e->second.size());
    }
    if (tagAfterwards && e->Flag(u"tagafter"))
        *tagAfterwards = 1;
    return e->FailsAt(u"End") ? 0 : 1;
}
