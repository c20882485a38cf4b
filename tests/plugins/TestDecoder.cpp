// Scripted test decoder. The input file is itself the script (UTF-8, one directive a line; see
// README.md); the decoder delivers the blocks it describes. Built twice: as TestDecoder.dll,
// and with WM_TEST_NO_DELETE_A_TAG as NoDeleteATag.dll, which lacks the "DeleteATag" export
// and claims ".nodel" instead.
#include "TestPluginSupport.h"
#include "TestTalk.h"
#include "sdk/wavemill_plugin.h"

#include <map>
#include <sstream>
#include <string_view>

using namespace wmtest;

namespace {

struct Block {
    uint32_t bytes = 0;
    bool end = false;
    std::u16string action; // empty: no action text
    uint32_t sleepMs = 0;
};

struct Decoder {
    std::map<std::string, uint32_t> calls;  // entry name -> calls so far
    std::map<std::string, uint32_t> failAt; // entry name -> call number that fails
    std::string crashKind, crashEntry;      // "crash" directive
    uint32_t crashCall = 0;
    WmWaveFormat format{};
    std::vector<Block> blocks;
    size_t nextBlock = 0;
    uint64_t offset = 0; // bytes delivered so far
    std::vector<uint8_t> buffer, tagData, secondData;
    std::u16string currentAction;
    bool open = false;
    bool refusedOpen = false; // the reason is given for a refused "Open" only
    // Its part in the exchanges comes from the environment, since "BeforeOpen" precedes the
    // script's "Open".
    ScriptedTalk talk;
    std::u16string talkLog = ToUtf16(EnvText("WAVEMILL_TEST_DECODER_LOG"));

    Decoder() {
        std::istringstream requests(EnvText("WAVEMILL_TEST_DECODER_TALK"));
        for (std::string request; std::getline(requests, request, ';');)
            talk.Add(request);
    }
    void Log(const std::string& line) const { AppendLine(talkLog, "dec " + line); }

    // Counts this call, crashes when the script says so, and says whether it wants the call
    // to fail.
    bool Fails(const std::string& entry) {
        auto it = failAt.find(entry);
        const uint32_t call = ++calls[entry];
        if (entry == crashEntry && call == crashCall)
            CrashOnDemand(crashKind);
        return call == (it == failAt.end() ? 0 : it->second);
    }
};

#ifdef WM_TEST_NO_DELETE_A_TAG
const char16_t* const kExtensions[] = {u".nodel"};
const char16_t* const kDescriptions[] = {u"Wavemill Test Without DeleteATag"};
#else
const char16_t* const kExtensions[] = {u".wmt", u".wmt.IGNORE"};
const char16_t* const kDescriptions[] = {u"Wavemill Test Script", u"Wavemill Test Script"};
#endif

void SetFormat(WmWaveFormat& f, uint32_t rate, uint16_t channels, uint16_t bits) {
    f = WmWaveFormat{};
    f.formatTag = WM_FORMAT_PCM;
    f.channels = channels;
    f.samplesPerSec = rate;
    f.bitsPerSample = bits;
    f.blockAlign = static_cast<uint16_t>(channels * bits / 8);
    f.avgBytesPerSec = rate * f.blockAlign;
}

uint64_t BytesToMs(uint64_t bytes, const WmWaveFormat& f) {
    return bytes * 1000 / (f.avgBytesPerSec ? f.avgBytesPerSec : 1);
}

// Reads the script; false when a named file cannot be read or a directive is unknown.
bool ParseScript(Decoder& d, const std::vector<uint8_t>& text) {
    SetFormat(d.format, 44100, 2, 16);
    std::istringstream lines(std::string(text.begin(), text.end()));
    std::string line, action;
    uint32_t sleepMs = 0;
    bool ok = true;
    while (std::getline(lines, line)) {
        std::istringstream words(line);
        std::string directive, rest;
        if (!(words >> directive) || directive[0] == '#')
            continue;
        if (directive == "format") {
            uint32_t rate = 0, channels = 0, bits = 0;
            words >> rate >> channels >> bits;
            SetFormat(d.format, rate, static_cast<uint16_t>(channels), static_cast<uint16_t>(bits));
        } else if (directive == "block" || directive == "empty" || directive == "end") {
            uint32_t bytes = 0, count = 1;
            if (directive != "empty")
                words >> bytes;
            if (directive != "end")
                words >> count;
            d.blocks.insert(d.blocks.end(), count,
                            {bytes, directive == "end", ToUtf16(action), sleepMs});
        } else if (directive == "fail") {
            std::string entry;
            uint32_t n = 1;
            words >> entry >> n;
            d.failAt[entry] = n;
        } else if (directive == "crash") {
            d.crashEntry = "DecodeBlock";
            d.crashCall = 1;
            words >> d.crashKind >> d.crashEntry >> d.crashCall;
        } else if (directive == "sleep") {
            words >> sleepMs;
        } else if (std::getline(words >> std::ws, rest); directive == "action") {
            action = rest;
        } else if (directive == "tagdata" || directive == "seconddata") {
            ok = ReadWholeFile(ToUtf16(rest), directive == "tagdata" ? d.tagData : d.secondData) &&
                 ok;
        } else {
            ok = false;
        }
    }
    if (d.blocks.empty() || !d.blocks.back().end)
        d.blocks.push_back({0, true, ToUtf16(action), sleepMs});
    return ok;
}

// The tag writer's instance never sees a script, so WAVEMILL_TEST_IDTAGS steers it: unset
// accepts, "refuse" refuses, anything else is a file that receives the tag block and then the
// UTF-16 name of the file to tag.
uint32_t WriteIdTags(const PluginValue* value) {
    char setting[1024] = {};
    DWORD n = ::GetEnvironmentVariableA("WAVEMILL_TEST_IDTAGS", setting, sizeof setting);
    if (n == 0 || n >= sizeof setting)
        return 1;
    if (_stricmp(setting, "refuse") == 0)
        return 0;
    const std::u16string dump = ToUtf16(setting);
    const auto* target = static_cast<const char16_t*>(value->pointer1);
    std::u16string name = target ? target : u"";
    return WriteToFile(dump, value->pointer4, value->value2, false) &&
           WriteToFile(dump, name.data(), name.size() * 2, true);
}

} // namespace

WM_PLUGIN_EXPORT void* Create(void* /*hostContext*/) {
    return CreateUnlessScripted<Decoder>("decoder");
}

WM_PLUGIN_EXPORT void Destroy(void* instance) {
    delete static_cast<Decoder*>(instance);
}

WM_PLUGIN_EXPORT uint32_t Get(void* instance, const WmChar* name, PluginValue* value) {
    const std::u16string_view n = name;
    auto* d = static_cast<Decoder*>(instance);
    if (n == WM_VALUE_COMMUNICATE)
        return d->talk.Ask(value, [d](const std::string& line) { d->Log(line); });
    const uint32_t index = value->value1;
#ifdef WM_TEST_ENDLESS_DECODES
    // A list that never ends: every index answers the same entry.
    if (n == u"Decodes") {
        value->pointer1 = const_cast<char16_t*>(u".loop");
        value->pointer2 = const_cast<char16_t*>(u"Endless List");
        return 1;
    }
#endif
    if (n == u"Decodes" && index < std::size(kExtensions)) {
        value->pointer1 = const_cast<char16_t*>(kExtensions[index]);
        value->pointer2 = const_cast<char16_t*>(kDescriptions[index]);
        return 1;
    }
    if (n == WM_VALUE_LAST_ERROR && d->refusedOpen) {
        value->pointer1 = const_cast<char16_t*>(u"no test script, or its script fails \"Open\"");
        return 1;
    }
    if (n == u"StreamingDecodes" && index == 0) {
        value->pointer1 = const_cast<char16_t*>(u".wmts");
        value->pointer2 = const_cast<char16_t*>(u"Wavemill Test Stream");
        return 1;
    }
    return 0;
}

WM_PLUGIN_EXPORT uint32_t Set(void* instance, const WmChar* name, PluginValue* value) {
    const std::u16string_view n = name;
    auto* d = static_cast<Decoder*>(instance);
    if (n == u"IDTags")
        return WriteIdTags(value);
    if (n == WM_VALUE_COMMUNICATE_RESULT)
        d->talk.Result(value, [d](const std::string& line) { d->Log(line); });
    return n == u"BatchID" || n == u"Decode As" || n == u"CommunicateResult";
}

WM_PLUGIN_EXPORT uint32_t Open(void* instance, DecodeOpenInfo* info) {
    auto* d = static_cast<Decoder*>(instance);
    // A second open of the same instance starts the script afresh; call counts go on.
    d->blocks.clear();
    d->nextBlock = 0;
    d->offset = 0;
    d->tagData.clear();
    d->secondData.clear();
    std::vector<uint8_t> script;
    d->refusedOpen = !info->path || !ReadWholeFile(info->path, script) ||
                     !ParseScript(*d, script) || d->Fails("Open");
    if (d->refusedOpen)
        return 0;
    info->format = d->format;
    info->bitRate = d->format.avgBytesPerSec * 8;
    info->byteLength = 0;
    for (const Block& b : d->blocks)
        info->byteLength += b.bytes;
    info->msLength = BytesToMs(info->byteLength, d->format);
    d->open = true;
    if (!d->tagData.empty()) {
        info->tagData = d->tagData.data();
        info->tagSize = static_cast<uint32_t>(d->tagData.size());
    }
    if (!d->secondData.empty()) {
        info->secondData = d->secondData.data();
        info->secondSize = static_cast<uint32_t>(d->secondData.size());
    }
    return 1;
}

WM_PLUGIN_EXPORT uint32_t DecodeBlock(void* instance, AudioBlockInfo* block) {
    auto* d = static_cast<Decoder*>(instance);
    if (!d->open || d->Fails("DecodeBlock"))
        return 0;
    // After the end the stream stays at its end.
    Block b = d->nextBlock < d->blocks.size() ? d->blocks[d->nextBlock++] : Block{0, true, {}, 0};
    if (b.sleepMs)
        ::Sleep(b.sleepMs);
    // The test signal: the byte at stream offset k is k mod 251 (a prime, so the pattern never
    // lines up with block or frame sizes).
    d->buffer.resize(b.bytes);
    for (uint32_t i = 0; i < b.bytes; ++i)
        d->buffer[i] = static_cast<uint8_t>((d->offset + i) % 251);
    block->data = b.bytes ? d->buffer.data() : nullptr;
    block->length = b.bytes;
    block->format = d->format;
    block->bitRate = d->format.avgBytesPerSec * 8;
    block->msDuration = BytesToMs(b.bytes, d->format);
    block->msPosition = BytesToMs(d->offset, d->format);
    block->endOfStream = b.end;
    d->currentAction = b.action;
    block->actionText = d->currentAction.empty() ? nullptr : d->currentAction.c_str();
    d->offset += b.bytes;
    return 1;
}

WM_PLUGIN_EXPORT uint32_t Close(void* instance, ConversionInfo* conversion) {
    auto* d = static_cast<Decoder*>(instance);
    d->open = false;
    // Tests compare what the decoder's close and the encoder's end see of a failed run.
    char log[1024] = {};
    DWORD n = ::GetEnvironmentVariableA("WAVEMILL_TEST_CLOSE_LOG", log, sizeof log);
    if (n > 0 && n < sizeof log && conversion) {
        const std::string line = "Close runError=" + std::to_string(conversion->runError) + "\n";
        WriteToFile(ToUtf16(log), line.data(), line.size(), true);
    }
    return d->Fails("Close") ? 0 : 1;
}

WM_PLUGIN_EXPORT uint32_t SetPosition(void* /*instance*/, uint64_t /*position*/) {
    return 1;
}

#ifndef WM_TEST_NO_DELETE_A_TAG
WM_PLUGIN_EXPORT uint32_t DeleteATag(void* /*instance*/, void* /*argument1*/, void* /*argument2*/) {
    return 1;
}
#endif
