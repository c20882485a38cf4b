// Example encoder: writes Sun/NeXT ".au" files (16, 24 or 32-bit linear PCM), in C++17.
//
// What it shows: the nine exports checked against the header's types, "Extension" and
// "LastError", options it does not know refused by name, a conversion that writes exactly the path
// it is given, buffered writes, an empty last block, and a file that is closed in
// "ENC_EndConversion" whether the run failed or not.
#include "wavemill_plugin.h"

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace {

// WmChar is char16_t in C++; Win32 wants wchar_t, which is UTF-16 on Windows too.
inline const wchar_t* Win32(const WmChar* text) {
    return reinterpret_cast<const wchar_t*>(text);
}

constexpr size_t kWriteChunk = 256 * 1024; // few large writes keep a conversion fast
constexpr uint32_t kHeaderSize = 28;       // 24 bytes and the shortest annotation, four zeros

struct AuEncoder {
    HANDLE file = INVALID_HANDLE_VALUE;
    WmWaveFormat format{};
    std::vector<uint8_t> pending;
    uint64_t dataBytes = 0;
    bool failed = false;
    std::u16string lastError;

    uint32_t Fail(std::u16string_view why) {
        lastError = why;
        failed = true;
        return 0;
    }
};

AuEncoder* Self(void* instance) {
    return static_cast<AuEncoder*>(instance);
}

void PutBigEndian32(uint8_t* p, uint32_t v) {
    p[0] = static_cast<uint8_t>(v >> 24);
    p[1] = static_cast<uint8_t>(v >> 16);
    p[2] = static_cast<uint8_t>(v >> 8);
    p[3] = static_cast<uint8_t>(v);
}

bool WriteAll(HANDLE file, const void* data, size_t size) {
    DWORD written = 0;
    return size == 0 ||
           (WriteFile(file, data, static_cast<DWORD>(size), &written, nullptr) && written == size);
}

// Integer PCM of 16, 24 or 32 bits, plain or extensible.
bool Supported(const WmWaveFormat& f) {
    const bool pcm =
        f.formatTag == WM_FORMAT_PCM || (f.formatTag == WM_FORMAT_EXTENSIBLE && f.cbSize >= 22 &&
                                         f.subFormat[0] == WM_FORMAT_PCM && f.subFormat[1] == 0);
    return pcm && (f.bitsPerSample == 16 || f.bitsPerSample == 24 || f.bitsPerSample == 32) &&
           f.channels > 0 && f.blockAlign == f.channels * f.bitsPerSample / 8;
}

bool SameLetters(std::u16string_view a, std::u16string_view b) {
    auto fold = [](char16_t c) { return c >= u'A' && c <= u'Z' ? char16_t(c + 32) : c; };
    if (a.size() != b.size())
        return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (fold(a[i]) != fold(b[i]))
            return false;
    return true;
}

// Options the host passes to every encoder; they are not ours, so they are ignored.
bool IsHostOption(std::u16string_view name) {
    return SameLetters(name, u"sourceisfloat") || SameLetters(name, u"help") ||
           SameLetters(name.substr(0, 9), u"dspeffect");
}

// The first option of the command line (" -name" or " -name=\"value\"") that is not the host's:
// .au has no options of its own, and a misspelt one must not pass unnoticed. Empty when none.
std::u16string_view UnknownOption(const WmChar* commandLine) {
    const std::u16string_view line = commandLine ? commandLine : u"";
    for (size_t at = line.find(u" -"); at != line.npos; at = line.find(u" -", at + 2)) {
        const size_t end = std::min(line.find_first_of(u"= ", at + 2), line.size());
        const std::u16string_view name = line.substr(at + 2, end - at - 2);
        if (!IsHostOption(name))
            return name;
        if (line.substr(end, 2) == u"=\"" && (at = line.find(u'"', end + 2)) == line.npos)
            break; // skip a quoted value, blanks and all
    }
    return {};
}

bool WriteHeader(AuEncoder& self, uint32_t dataSize) {
    uint8_t h[kHeaderSize] = {};
    std::memcpy(h, ".snd", 4);
    PutBigEndian32(h + 4, kHeaderSize);
    PutBigEndian32(h + 8, dataSize);
    PutBigEndian32(h + 12, self.format.bitsPerSample / 8 + 1u);
    PutBigEndian32(h + 16, self.format.samplesPerSec);
    PutBigEndian32(h + 20, self.format.channels);
    LARGE_INTEGER start{};
    return SetFilePointerEx(self.file, start, nullptr, FILE_BEGIN) &&
           WriteAll(self.file, h, kHeaderSize);
}

bool Flush(AuEncoder& self) {
    const bool ok = WriteAll(self.file, self.pending.data(), self.pending.size());
    self.pending.clear();
    return ok;
}

void CloseOutput(AuEncoder& self) {
    if (self.file != INVALID_HANDLE_VALUE)
        CloseHandle(self.file);
    self.file = INVALID_HANDLE_VALUE;
    self.pending.clear();
}

} // namespace

WM_PLUGIN_EXPORT void* ENC_Create(void* /*hostContext*/) {
    return new (std::nothrow) AuEncoder();
}

WM_PLUGIN_EXPORT void ENC_Destroy(void* instance) {
    if (instance)
        CloseOutput(*Self(instance));
    delete Self(instance);
}

WM_PLUGIN_EXPORT uint32_t ENC_Get(void* instance, const WmChar* name, PluginValue* value) {
    if (!instance || !name || !value)
        return 0;
    const std::u16string_view asked(name);
    if (asked == WM_VALUE_EXTENSION) {
        value->pointer1 = const_cast<char16_t*>(u".au");
        return 1;
    }
    if (asked == WM_VALUE_LAST_ERROR && !Self(instance)->lastError.empty()) {
        value->pointer1 = Self(instance)->lastError.data();
        return 1;
    }
    return 0;
}

WM_PLUGIN_EXPORT uint32_t ENC_Set(void*, const WmChar*, PluginValue*) {
    return 0;
}

WM_PLUGIN_EXPORT uint32_t ENC_ShowConfigBit(void*, void*, void*) {
    return 0;
}

WM_PLUGIN_EXPORT uint32_t ENC_RemoveConfigBit(void*, void*) {
    return 0;
}

WM_PLUGIN_EXPORT uint32_t ENC_BeginConversion(void* instance, ConversionInfo* conversion) {
    if (!instance || !conversion || !conversion->outputPath || !conversion->sourceFormat)
        return 0;
    AuEncoder& self = *Self(instance);
    CloseOutput(self);
    self = AuEncoder{};
    self.format = *conversion->sourceFormat;
    if (const std::u16string_view unknown = UnknownOption(conversion->commandLine);
        !unknown.empty())
        return self.Fail(u"unknown option -" + std::u16string(unknown) + u" (.au has no options)");
    if (!Supported(self.format))
        return self.Fail(u"only 16, 24 and 32-bit integer PCM can be written as .au");
    // Write exactly the path given: it may be a temporary name the host renames afterwards.
    self.file = CreateFileW(Win32(conversion->outputPath), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                            CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (self.file == INVALID_HANDLE_VALUE)
        return self.Fail(u"the output file cannot be created");
    try {
        self.pending.reserve(kWriteChunk);
    } catch (const std::bad_alloc&) { // no C++ exception may leave a plug-in
        CloseOutput(self);
        return self.Fail(u"out of memory");
    }
    return WriteHeader(self, 0xFFFFFFFFu) ? 1 : self.Fail(u"the output file cannot be written");
}

WM_PLUGIN_EXPORT uint32_t ENC_EncodeBlock(void* instance, AudioBlockInfo* block) {
    if (!instance || !block || Self(instance)->file == INVALID_HANDLE_VALUE)
        return 0; // not begun, or called after the end
    AuEncoder& self = *Self(instance);
    if (self.failed)
        return 0;
    // The host hands over whole frames only; the last block may be empty, with a null pointer.
    const auto* in = static_cast<const uint8_t*>(block->data);
    const uint32_t width = self.format.bitsPerSample / 8u;
    for (uint32_t i = 0; i < block->length; i += width) {
        if (self.pending.size() + width > kWriteChunk && !Flush(self))
            return self.Fail(u"the output file cannot be written");
        for (uint32_t b = width; b-- > 0;)
            self.pending.push_back(in[i + b]); // little-endian in, big-endian out
    }
    self.dataBytes += block->length;
    return 1;
}

WM_PLUGIN_EXPORT uint32_t ENC_EndConversion(void* instance, ConversionInfo* conversion,
                                            uint32_t* tagAfterwards) {
    if (!instance || Self(instance)->file == INVALID_HANDLE_VALUE)
        return 0;
    AuEncoder& self = *Self(instance);
    // After a failed run the host throws the file away; it only has to be closed.
    bool ok = !self.failed && conversion && !conversion->runError;
    ok = ok && Flush(self);
    ok =
        ok && WriteHeader(self, self.dataBytes < 0xFFFFFFFFu ? static_cast<uint32_t>(self.dataBytes)
                                                             : 0xFFFFFFFFu);
    CloseOutput(self);
    if (tagAfterwards)
        *tagAfterwards = 0; // .au has no tags
    if (conversion && conversion->runError)
        return 1;
    return ok ? 1 : self.Fail(u"the output file cannot be finished");
}

static_assert(std::is_same_v<decltype(&ENC_Create), WmEncCreate>);
static_assert(std::is_same_v<decltype(&ENC_Destroy), WmEncDestroy>);
static_assert(std::is_same_v<decltype(&ENC_Get), WmEncGet>);
static_assert(std::is_same_v<decltype(&ENC_Set), WmEncSet>);
static_assert(std::is_same_v<decltype(&ENC_ShowConfigBit), WmEncShowConfigBit>);
static_assert(std::is_same_v<decltype(&ENC_RemoveConfigBit), WmEncRemoveConfigBit>);
static_assert(std::is_same_v<decltype(&ENC_BeginConversion), WmEncBeginConversion>);
static_assert(std::is_same_v<decltype(&ENC_EndConversion), WmEncEndConversion>);
static_assert(std::is_same_v<decltype(&ENC_EncodeBlock), WmEncEncodeBlock>);
