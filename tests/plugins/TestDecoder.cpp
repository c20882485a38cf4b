// Scripted test decoder. The input file is itself the script (UTF-8, one directive a line; see
// README.md); the decoder delivers the blocks it describes and logs every call it receives.
// Built twice: as TestDecoder.dll, and with WM_TEST_NO_DELETE_A_TAG as NoDeleteATag.dll, which
// lacks the "DeleteATag" export and claims ".nodel" instead.
#include "TestPluginSupport.h"
#include "sdk/wavemill_plugin.h"

#include <cstdlib>
#include <cstring>
#include <map>
#include <sstream>

using namespace wmtest;

namespace {

struct Block {
    enum Kind { Data, Empty, End } kind = Data;
    uint32_t bytes = 0;
    std::u16string action; // empty: no action text
    uint32_t sleepMs = 0;
};

struct Decoder {
    CallLog log;
    std::map<std::string, uint32_t> calls;  // entry name -> calls so far
    std::map<std::string, uint32_t> failAt; // entry name -> call number that fails
    std::u16string path;
    WmWaveFormat format{};
    uint64_t msLength = 0;
    bool msLengthGiven = false;
    std::vector<Block> blocks;
    size_t nextBlock = 0;
    uint64_t offset = 0; // bytes delivered so far
    std::vector<uint8_t> buffer;
    std::vector<uint8_t> tagData, secondData;
    std::u16string currentAction;

    // Counts this call and says whether the script wants it to fail.
    bool Fails(const std::string& entry) {
        uint32_t n = ++calls[entry];
        auto it = failAt.find(entry);
        return it != failAt.end() && it->second == n;
    }
};

#ifdef WM_TEST_NO_DELETE_A_TAG
const char16_t* const kExtensions[] = {u".nodel"};
const char16_t* const kDescriptions[] = {u"Wavemill Test Without DeleteATag"};
#else
const char16_t* const kExtensions[] = {u".wmt", u".wmt.IGNORE"};
const char16_t* const kDescriptions[] = {u"Wavemill Test Script", u"Wavemill Test Script"};
#endif
const char16_t* const kStreamingExtension = u".wmts";
const char16_t* const kStreamingDescription = u"Wavemill Test Stream";

void SetFormat(WmWaveFormat& f, uint32_t rate, uint16_t channels, uint16_t bits, bool isFloat) {
    f = WmWaveFormat{};
    f.formatTag = isFloat ? WM_FORMAT_IEEE_FLOAT : WM_FORMAT_PCM;
    f.channels = channels;
    f.samplesPerSec = rate;
    f.bitsPerSample = bits;
    f.blockAlign = static_cast<uint16_t>(channels * bits / 8);
    f.avgBytesPerSec = rate * f.blockAlign;
}

uint64_t BytesToMs(uint64_t bytes, const WmWaveFormat& f) {
    return bytes * 1000 / (f.avgBytesPerSec ? f.avgBytesPerSec : 1);
}

// Reads the script; false when the file cannot be read or holds an unknown directive.
bool ParseScript(Decoder& d, const std::vector<uint8_t>& text) {
    SetFormat(d.format, 44100, 2, 16, false);
    std::istringstream lines(std::string(text.begin(), text.end()));
    std::string line, action;
    uint32_t sleepMs = 0;
    bool ok = true;
    while (std::getline(lines, line)) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        std::istringstream words(line);
        std::string directive;
        if (!(words >> directive) || directive[0] == '#')
            continue;
        if (directive == "format") {
            uint32_t rate = 0, channels = 0, bits = 0;
            std::string kind;
            words >> rate >> channels >> bits >> kind;
            SetFormat(d.format, rate, static_cast<uint16_t>(channels), static_cast<uint16_t>(bits),
                      kind == "float");
        } else if (directive == "mslen") {
            words >> d.msLength;
            d.msLengthGiven = true;
        } else if (directive == "block" || directive == "empty") {
            uint32_t bytes = 0, count = 1;
            if (directive == "block")
                words >> bytes;
            words >> count;
            Block b{directive == "block" ? Block::Data : Block::Empty, bytes, ToUtf16(action),
                    sleepMs};
            d.blocks.insert(d.blocks.end(), count, b);
        } else if (directive == "end") {
            uint32_t bytes = 0;
            words >> bytes;
            d.blocks.push_back({Block::End, bytes, ToUtf16(action), sleepMs});
        } else if (directive == "fail") {
            std::string entry;
            uint32_t n = 1;
            words >> entry >> n;
            d.failAt[entry] = n;
        } else if (directive == "action") {
            std::getline(words >> std::ws, action);
        } else if (directive == "sleep") {
            words >> sleepMs;
        } else if (directive == "log") {
            std::string path;
            std::getline(words >> std::ws, path);
            d.log.SetPath(ToUtf16(path));
        } else if (directive == "tagdata" || directive == "seconddata") {
            std::string path;
            std::getline(words >> std::ws, path);
            ok = ReadWholeFile(ToUtf16(path), directive == "tagdata" ? d.tagData : d.secondData) &&
                 ok;
        } else {
            ok = false;
        }
    }
    if (d.blocks.empty() || d.blocks.back().kind != Block::End)
        d.blocks.push_back({Block::End, 0, ToUtf16(action), sleepMs});
    return ok;
}

uint64_t ScriptedBytes(const Decoder& d) {
    uint64_t total = 0;
    for (const Block& b : d.blocks)
        total += b.kind == Block::Empty ? 0 : b.bytes;
    return total;
}

} // namespace

WM_PLUGIN_EXPORT void* Create(void* /*hostContext*/) {
    return CreateLogged<Decoder>("decoder");
}

WM_PLUGIN_EXPORT void Destroy(void* instance) {
    DestroyLogged<Decoder>(instance);
}

WM_PLUGIN_EXPORT uint32_t Get(void* instance, const WmChar* name, PluginValue* value) {
    auto* d = static_cast<Decoder*>(instance);
    const std::string n = ToUtf8(name);
    d->log.Line("Get " + n + " " + std::to_string(value->value1));
    const uint32_t index = value->value1;
    if (n == "Decodes" && index < std::size(kExtensions)) {
        value->pointer1 = const_cast<char16_t*>(kExtensions[index]);
        value->pointer2 = const_cast<char16_t*>(kDescriptions[index]);
        return 1;
    }
    if (n == "StreamingDecodes" && index == 0) {
        value->pointer1 = const_cast<char16_t*>(kStreamingExtension);
        value->pointer2 = const_cast<char16_t*>(kStreamingDescription);
        return 1;
    }
    return 0;
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
    std::u16string dump;
    for (const char* c = setting; *c; ++c)
        dump.push_back(static_cast<char16_t>(static_cast<unsigned char>(*c)));
    const auto* target = static_cast<const char16_t*>(value->pointer1);
    std::u16string name = target ? target : u"";
    return WriteToFile(dump, value->pointer4, value->value2, false) &&
           WriteToFile(dump, name.data(), name.size() * 2, true);
}

WM_PLUGIN_EXPORT uint32_t Set(void* instance, const WmChar* name, PluginValue* value) {
    auto* d = static_cast<Decoder*>(instance);
    const std::string n = ToUtf8(name);
    if (n == "Decode As")
        d->log.Line("Set Decode As " + ToUtf8(static_cast<const char16_t*>(value->pointer1)));
    else
        d->log.Line("Set " + n + " " + std::to_string(value->value2));
    if (n == "IDTags")
        return WriteIdTags(value);
    return n == "BatchID" || n == "Decode As" || n == "CommunicateResult";
}

WM_PLUGIN_EXPORT uint32_t Open(void* instance, DecodeOpenInfo* info) {
    auto* d = static_cast<Decoder*>(instance);
    const bool clean = AllZero(info, 12, sizeof *info);
    d->path = info->path ? info->path : u"";
    std::vector<uint8_t> script;
    const bool parsed = ReadWholeFile(d->path, script) && ParseScript(*d, script);
    d->log.Line("Open mode=" + std::to_string(info->openMode));
    d->log.Detail("clean=" + std::to_string(clean));
    d->log.Detail("path=" + ToUtf8(d->path.c_str()));
    if (!parsed)
        d->log.Detail("script unreadable or wrong");
    if (!parsed || d->Fails("Open"))
        return 0;
    info->format = d->format;
    info->bitRate = d->format.avgBytesPerSec * 8;
    info->byteLength = ScriptedBytes(*d);
    info->msLength = d->msLengthGiven ? d->msLength : BytesToMs(info->byteLength, d->format);
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
    d->log.Line("DecodeBlock");
    d->log.Detail("clean=" + std::to_string(AllZero(block, 0, sizeof *block)));
    if (d->Fails("DecodeBlock"))
        return 0;
    // After the end the stream stays at its end.
    Block b =
        d->nextBlock < d->blocks.size() ? d->blocks[d->nextBlock++] : Block{Block::End, 0, {}, 0};
    if (b.sleepMs)
        ::Sleep(b.sleepMs);
    const uint32_t bytes = b.kind == Block::Empty ? 0 : b.bytes;
    d->buffer.resize(bytes);
    for (uint32_t i = 0; i < bytes; ++i)
        d->buffer[i] = PatternByte(d->offset + i);
    block->data = bytes ? d->buffer.data() : nullptr;
    block->length = bytes;
    block->format = d->format;
    block->bitRate = d->format.avgBytesPerSec * 8;
    block->msDuration = BytesToMs(bytes, d->format);
    block->msPosition = BytesToMs(d->offset, d->format);
    block->endOfStream = b.kind == Block::End;
    d->currentAction = b.action;
    block->actionText = d->currentAction.empty() ? nullptr : d->currentAction.c_str();
    d->offset += bytes;
    d->log.Detail("bytes=" + std::to_string(bytes) + " end=" + std::to_string(block->endOfStream));
    return 1;
}

WM_PLUGIN_EXPORT uint32_t Close(void* instance, ConversionInfo* conversion) {
    auto* d = static_cast<Decoder*>(instance);
    d->log.Line("Close");
    if (conversion) {
        d->log.Detail("runError=" + std::to_string(conversion->runError));
        d->log.Detail("output=" + ToUtf8(conversion->outputPath));
    }
    return d->Fails("Close") ? 0 : 1;
}

WM_PLUGIN_EXPORT uint32_t SetPosition(void* instance, uint64_t position) {
    static_cast<Decoder*>(instance)->log.Line("SetPosition " + std::to_string(position));
    return 1;
}

#ifndef WM_TEST_NO_DELETE_A_TAG
WM_PLUGIN_EXPORT uint32_t DeleteATag(void* instance, void* /*argument1*/, void* /*argument2*/) {
    static_cast<Decoder*>(instance)->log.Line("DeleteATag");
    return 1;
}
#endif
