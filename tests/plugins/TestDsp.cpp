// Scripted test DSP effect, steered by its settings text (space-separated key=value words, see
// README.md): live or not, failing at a chosen entry point, changing the rate or the sample
// width, handing back torn frames, waiting, and logging every call so that a test can check
// the order in which the host makes them. Built twice: as TestDsp.dll, and with
// WM_TEST_NO_AFTER_CONVERSION as NoAfterConversion.dll, which lacks "DSP_AfterConversion".
#include "TestPluginSupport.h"
#include "sdk/wavemill_plugin.h"

#include <map>
#include <string_view>

using namespace wmtest;

namespace {

struct Settings {
    std::map<std::string, std::string> words;

    std::string Get(const std::string& key) const {
        auto it = words.find(key);
        return it == words.end() ? std::string() : it->second;
    }
    uint32_t Number(const std::string& key) const {
        return static_cast<uint32_t>(std::strtoul(Get(key).c_str(), nullptr, 10));
    }
};

// "a=1 log=\"C:\\x y.log\" b" -> a:1, log:C:\x y.log, b:"".
Settings Parse(const char16_t* text) {
    Settings s;
    const std::string t = ToUtf8(text);
    size_t i = 0;
    while (i < t.size()) {
        if (t[i] == ' ') {
            ++i;
            continue;
        }
        size_t eq = t.find_first_of("= ", i);
        std::string key = t.substr(i, eq == std::string::npos ? std::string::npos : eq - i), value;
        i = eq == std::string::npos ? t.size() : eq;
        if (i < t.size() && t[i] == '=') {
            const bool quoted = ++i < t.size() && t[i] == '"';
            size_t end = t.find(quoted ? '"' : ' ', i + quoted);
            end = end == std::string::npos ? t.size() : end;
            value = t.substr(i + quoted, end - i - quoted);
            i = end + quoted;
        }
        s.words[key] = value;
    }
    return s;
}

// Set by an "IsLive" question whose settings say fail=Create: the host's next create of this
// effect (its own instance, after the scratch one) then fails.
bool g_failNextCreate = false;
// The file the last "DSP_PassNonLive" was given, for hold=1.
std::u16string g_renderedPath;

struct Dsp {
    Settings settings;
    std::map<std::string, uint32_t> calls;
    std::vector<uint8_t> buffer;
    uint32_t batch = 0;
    HANDLE held = INVALID_HANDLE_VALUE;

    ~Dsp() { Release(); }
    void Release() {
        if (held != INVALID_HANDLE_VALUE)
            ::CloseHandle(held);
        held = INVALID_HANDLE_VALUE;
    }
    // hold=1: keeps the rendered file open, without delete sharing, until "DSP_EndConversion".
    void HoldRenderedFile() {
        if (settings.Get("hold") == "1" && !g_renderedPath.empty() && held == INVALID_HANDLE_VALUE)
            held =
                ::CreateFileW(W(g_renderedPath), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                              nullptr, OPEN_EXISTING, 0, nullptr);
    }

    void Learn(const char16_t* text) { settings = Parse(text); }
    void Log(const std::string& line) const {
        const std::string name = settings.Get("name");
        AppendLine(ToUtf16(settings.Get("log")), (name.empty() ? "TestDsp" : name) + " " + line);
    }
    // Counts the call; true when fail=<call> or fail=<call>:<n> names this one.
    bool Fails(const std::string& call) {
        const uint32_t n = ++calls[call];
        const std::string fail = settings.Get("fail");
        return fail == call ? n == 1 : fail == call + ":" + std::to_string(n);
    }
    // wait=<event>: holds the call until a test sets that named event (at most 30 s);
    // delay=<ms>: a plain sleep.
    void Stall() const {
        if (uint32_t ms = settings.Number("delay"))
            ::Sleep(ms);
        const std::u16string name = ToUtf16(settings.Get("wait"));
        if (name.empty())
            return;
        HANDLE event = ::OpenEventW(SYNCHRONIZE, FALSE, W(name));
        if (event) {
            ::WaitForSingleObject(event, 30000);
            ::CloseHandle(event);
        }
    }
};

std::string FormatText(const WmWaveFormat& f) {
    return "rate=" + std::to_string(f.samplesPerSec) + " channels=" + std::to_string(f.channels) +
           " bits=" + std::to_string(f.bitsPerSample);
}

// bits=<n> keeps the most significant bytes of each integer sample (zero-filled when widening);
// rate=<Hz> relabels the frames (nearestFrames: repeats or drops frames for that rate instead).
std::vector<uint8_t> Transform(const Settings& s, const uint8_t* data, size_t length,
                               WmWaveFormat& f, bool nearestFrames) {
    const uint32_t inWidth = f.bitsPerSample / 8, channels = f.channels ? f.channels : 1;
    const uint32_t outWidth = s.Number("bits") ? s.Number("bits") / 8 : inWidth;
    const uint32_t rate = s.Number("rate") ? s.Number("rate") : f.samplesPerSec;
    const size_t inFrame = size_t(inWidth) * channels, frames = inFrame ? length / inFrame : 0;
    const size_t outFrames =
        nearestFrames && f.samplesPerSec ? frames * rate / f.samplesPerSec : frames;
    std::vector<uint8_t> out;
    out.reserve(outFrames * outWidth * channels);
    for (size_t frame = 0; frame < outFrames; ++frame) {
        const size_t from = nearestFrames ? frame * f.samplesPerSec / rate : frame;
        for (uint32_t c = 0; c < channels; ++c) {
            const uint8_t* sample = data + from * inFrame + size_t(c) * inWidth;
            for (uint32_t b = 0; b < outWidth; ++b) {
                const int64_t at = int64_t(b) + inWidth - outWidth;
                out.push_back(at >= 0 ? sample[at] : 0);
            }
        }
    }
    if (!nearestFrames) {
        f.samplesPerSec = rate;
        f.bitsPerSample = static_cast<uint16_t>(outWidth * 8);
        f.blockAlign = static_cast<uint16_t>(outWidth * channels);
        f.avgBytesPerSec = rate * f.blockAlign;
    }
    return out;
}

} // namespace

WM_PLUGIN_EXPORT void* DSP_Create(void* /*hostContext*/) {
    if (g_failNextCreate) {
        g_failNextCreate = false;
        return nullptr;
    }
    return CreateUnlessScripted<Dsp>("dsp");
}

WM_PLUGIN_EXPORT void DSP_Destroy(void* instance) {
    delete static_cast<Dsp*>(instance);
}

WM_PLUGIN_EXPORT uint32_t DSP_Get(void* instance, const WmChar* name, PluginValue* value) {
    auto* d = static_cast<Dsp*>(instance);
    if (std::u16string_view(name) == WM_VALUE_SEND_OVER_REPLAYGAIN_TAGS)
        return Parse(static_cast<const char16_t*>(value->pointer1)).Get("replaygain") == "1";
    if (std::u16string_view(name) == WM_VALUE_CHANGES_LEVEL)
        return Parse(static_cast<const char16_t*>(value->pointer1)).Get("level") == "1";
    if (std::u16string_view(name) != WM_VALUE_IS_LIVE)
        return 0;
    d->Learn(static_cast<const char16_t*>(value->pointer1));
    d->Log("IsLive");
    g_failNextCreate = d->settings.Get("fail") == "Create";
    return d->settings.Get("live") == "1";
}

WM_PLUGIN_EXPORT uint32_t DSP_Set(void* instance, const WmChar* name, PluginValue* value) {
    if (std::u16string_view(name) != WM_VALUE_BATCH_ID)
        return 0;
    static_cast<Dsp*>(instance)->batch = value->value2;
    return 1;
}

WM_PLUGIN_EXPORT uint32_t DSP_ShowConfigBit(void*, void*, void*) {
    return 0;
}

WM_PLUGIN_EXPORT uint32_t DSP_RemoveConfigBit(void*, void*) {
    return 0;
}

WM_PLUGIN_EXPORT uint32_t DSP_BeginConversion(void* instance, ConversionInfo* /*conversion*/,
                                              const WmChar* settings) {
    auto* d = static_cast<Dsp*>(instance);
    d->Learn(settings);
    d->Log("Begin batch=" + std::to_string(d->batch) + " settings=" + ToUtf8(settings));
    return !d->Fails("Begin");
}

WM_PLUGIN_EXPORT uint32_t DSP_PassAudioBlock(void* instance, AudioBlockInfo* block) {
    auto* d = static_cast<Dsp*>(instance);
    d->Log("PassAudioBlock len=" + std::to_string(block->length) +
           " pos=" + std::to_string(block->msPosition) +
           " eos=" + std::to_string(block->endOfStream ? 1 : 0) + " " + FormatText(block->format));
    d->Stall();
    CrashOnDemand(d->settings.Get("crash"));
    if (d->Fails("PassAudioBlock"))
        return 0;
    if (block->endOfStream)
        d->HoldRenderedFile();
    if (d->settings.Get("unreadable") == "1") {
        // The same length at an address no one may read.
        static void* const noAccess = ::VirtualAlloc(nullptr, 1 << 20, MEM_RESERVE, PAGE_NOACCESS);
        block->data = noAccess;
        return 1;
    }
    const bool torn = d->settings.Get("torn") == "1";
    if (!d->settings.Number("rate") && !d->settings.Number("bits") && !torn)
        return 1;
    d->buffer = Transform(d->settings, static_cast<const uint8_t*>(block->data), block->length,
                          block->format, false);
    block->data = d->buffer.data();
    block->length = static_cast<uint32_t>(d->buffer.size() - (torn && !d->buffer.empty()));
    block->bitRate = block->format.avgBytesPerSec * 8;
    return 1;
}

WM_PLUGIN_EXPORT uint32_t DSP_EndConversion(void* instance, ConversionInfo* /*conversion*/) {
    auto* d = static_cast<Dsp*>(instance);
    d->Log("End");
    d->Release();
    return !d->Fails("End");
}

WM_PLUGIN_EXPORT uint32_t DSP_PassNonLive(void* instance, const WmChar* renderedPath,
                                          const WmWaveFormat* format, const WmChar* settings,
                                          void* /*runValue*/) {
    auto* d = static_cast<Dsp*>(instance);
    d->Learn(settings);
    d->Log("PassNonLive path=" + ToUtf8(renderedPath) + " " + FormatText(*format));
    g_renderedPath = renderedPath;
    d->Stall();
    if (d->Fails("PassNonLive"))
        return 0;
    if (d->settings.Get("remove") == "1") // pulls the file from under the host
        return ::DeleteFileW(W(renderedPath)) ? 1 : 0;
    if (!d->settings.Number("rate") && !d->settings.Number("bits"))
        return 1;
    // The host keeps its format: only the file changes.
    std::vector<uint8_t> data;
    WmWaveFormat f = *format;
    if (!ReadWholeFile(renderedPath, data))
        return 0;
    data = Transform(d->settings, data.data(), data.size(), f, true);
    return WriteToFile(renderedPath, data.data(), data.size(), false);
}

#ifndef WM_TEST_NO_AFTER_CONVERSION
WM_PLUGIN_EXPORT uint32_t DSP_AfterConversion(void* instance, ConversionInfo* conversion) {
    auto* d = static_cast<Dsp*>(instance);
    d->Log("After output=" + ToUtf8(conversion->outputPath));
    return !d->Fails("After");
}
#endif
