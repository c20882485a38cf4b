#include "tools/plugin-check/CheckSupport.h"

#include "tags/IDTagSet.h"
#include "text/WaveFormat.h"

#include <windows.h>

#include <psapi.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace wm::check {

namespace {

const char* g_call = nullptr;
const char* g_lastCall = nullptr; // the plug-in call that returned last
Report* g_report = nullptr;
std::vector<String> g_folders;

[[noreturn]] void ReportAndEnd(const char* text) {
    if (g_report)
        g_report->Violation("crash", text);
    std::printf("%d violation%s\n", g_report ? g_report->Violations() : 1,
                g_report && g_report->Violations() == 1 ? "" : "s");
    std::fflush(stdout);
    // Nothing more can be trusted after a crash caused by the plug-in.
    ::TerminateProcess(::GetCurrentProcess(), 1);
    std::abort();
}

LONG CALLBACK OnException(EXCEPTION_POINTERS* info) {
    const DWORD code = info->ExceptionRecord->ExceptionCode;
    const bool fatal = code == EXCEPTION_ACCESS_VIOLATION ||
                       code == EXCEPTION_ILLEGAL_INSTRUCTION ||
                       code == EXCEPTION_INT_DIVIDE_BY_ZERO || code == EXCEPTION_PRIV_INSTRUCTION ||
                       code == EXCEPTION_IN_PAGE_ERROR || code == EXCEPTION_ARRAY_BOUNDS_EXCEEDED;
    if (!fatal || !g_call)
        return EXCEPTION_CONTINUE_SEARCH;
    char text[160];
    std::snprintf(text, sizeof text, "the plug-in crashed in %s (exception 0x%08lX)", g_call,
                  static_cast<unsigned long>(code));
    ReportAndEnd(text);
    return EXCEPTION_CONTINUE_SEARCH;
}

// A crash outside any plug-in call follows damage a call left behind, such as a heap block
// written past its end, which the heap notices only at its next use.
// The heap may be what is damaged, so nothing here allocates: the lines go straight out.
LONG CALLBACK OnUnhandled(EXCEPTION_POINTERS* info) {
    char text[400];
    const int n = std::snprintf(
        text, sizeof text,
        "FAIL  plugin-check crashed (exception 0x%08lX) after %s returned: the plug-in damaged "
        "memory that is used later (a write past the end of a buffer?); the host would crash "
        "or corrupt audio the same way\n%d violation%s\n",
        static_cast<unsigned long>(info->ExceptionRecord->ExceptionCode),
        g_lastCall ? g_lastCall : "the plug-in's last call",
        g_report ? g_report->Violations() + 1 : 1, g_report && g_report->Violations() ? "s" : "");
    DWORD written = 0;
    ::WriteFile(::GetStdHandle(STD_OUTPUT_HANDLE), text, static_cast<DWORD>(n), &written, nullptr);
    ::TerminateProcess(::GetCurrentProcess(), 1);
    return EXCEPTION_CONTINUE_SEARCH;
}

void Print(const char* tag, const std::string& text) {
    std::printf("%-5s %s\n", tag, text.c_str());
    std::fflush(stdout);
}

} // namespace

std::string Report::InContext(const std::string& text) const {
    return context_.empty() ? text : "with " + context_ + ": " + text;
}

void Report::Violation(const std::string& rule, const std::string& text) {
    // Broken already outside any context: found again in one, it only repeats itself.
    if (!context_.empty() && rules_.count("/" + rule))
        return;
    if (!rules_.insert(context_ + "/" + rule).second)
        return;
    ++violations_;
    Print("FAIL", InContext(text));
}

void Report::Note(const std::string& text) {
    Print("note", InContext(text));
}

void Report::Passed(const std::string& text) {
    Print("ok", text);
}

CallGuard::CallGuard(const char* call) : previous_(g_call) {
    g_call = call;
}

CallGuard::~CallGuard() {
    g_lastCall = g_call;
    g_call = previous_;
}

void InstallCrashReport(Report& report) {
    g_report = &report;
    ::AddVectoredExceptionHandler(1, OnException);
    ::SetUnhandledExceptionFilter(OnUnhandled);
}

void* HostContext() {
    static void* page = ::VirtualAlloc(nullptr, 4096, MEM_RESERVE | MEM_COMMIT, PAGE_NOACCESS);
    return page;
}

bool HeapsAreSound() {
    HANDLE heaps[256];
    const DWORD count = std::min<DWORD>(::GetProcessHeaps(256, heaps), 256);
    for (DWORD i = 0; i < count; ++i)
        if (!::HeapValidate(heaps[i], 0, nullptr))
            return false;
    return true;
}

uint64_t CommittedBytes() {
    PROCESS_MEMORY_COUNTERS counters{};
    counters.cb = sizeof counters;
    ::GetProcessMemoryInfo(::GetCurrentProcess(), &counters, sizeof counters);
    return counters.PagefileUsage;
}

bool GrowsWithAudio(const std::function<uint64_t()>& cycle, uint64_t* grownBytes) {
    constexpr uint64_t kAudioToPass = 32u << 20, kSlack = 4u << 20;
    const uint64_t perCycle = std::max<uint64_t>(cycle(), 1); // the first run settles caches
    const uint64_t before = CommittedBytes();
    const uint64_t cycles = std::clamp<uint64_t>(kAudioToPass / perCycle, 2, 40);
    for (uint64_t i = 0; i < cycles; ++i)
        cycle();
    const uint64_t after = CommittedBytes();
    *grownBytes = after > before ? after - before : 0;
    return *grownBytes > kSlack && *grownBytes * 2 > cycles * perCycle;
}

String NewWorkFolder(const char* name) {
    wchar_t temp[MAX_PATH];
    ::GetTempPathW(MAX_PATH, temp);
    String folder = String(reinterpret_cast<const char16_t*>(temp)) + u"plugin-check-" +
                    Widen(std::to_string(::GetCurrentProcessId())) + u"-" + Widen(name);
    ::CreateDirectoryW(reinterpret_cast<const wchar_t*>(folder.c_str()), nullptr);
    folder += u"\\";
    // A folder of an earlier process with the same id may still hold files it could not delete.
    for (const String& file : FilesIn(folder))
        ::DeleteFileW(reinterpret_cast<const wchar_t*>((folder + file).c_str()));
    g_folders.push_back(folder);
    return folder;
}

void RemoveWorkFolders() {
    for (const String& folder : g_folders) {
        for (const String& file : FilesIn(folder))
            ::DeleteFileW(reinterpret_cast<const wchar_t*>((folder + file).c_str()));
        ::RemoveDirectoryW(reinterpret_cast<const wchar_t*>(folder.c_str()));
    }
    g_folders.clear();
}

bool WriteFileBytes(const String& path, const void* data, size_t size) {
    HANDLE file = ::CreateFileW(reinterpret_cast<const wchar_t*>(path.c_str()), GENERIC_WRITE, 0,
                                nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return false;
    DWORD written = 0;
    const bool ok =
        size == 0 ||
        (::WriteFile(file, data, static_cast<DWORD>(size), &written, nullptr) && written == size);
    ::CloseHandle(file);
    return ok;
}

bool ReadFileBytes(const String& path, std::vector<uint8_t>& data) {
    HANDLE file =
        ::CreateFileW(reinterpret_cast<const wchar_t*>(path.c_str()), GENERIC_READ,
                      FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return false;
    LARGE_INTEGER size{};
    ::GetFileSizeEx(file, &size);
    data.resize(static_cast<size_t>(size.QuadPart));
    DWORD got = 0;
    const bool ok = data.empty() || (::ReadFile(file, data.data(), static_cast<DWORD>(data.size()),
                                                &got, nullptr) &&
                                     got == data.size());
    ::CloseHandle(file);
    return ok;
}

bool FileIsClosed(const String& path) {
    HANDLE file =
        ::CreateFileW(reinterpret_cast<const wchar_t*>(path.c_str()), GENERIC_READ | GENERIC_WRITE,
                      0, nullptr, OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return ::GetLastError() != ERROR_SHARING_VIOLATION;
    ::CloseHandle(file);
    return true;
}

bool FileExists(const String& path) {
    return ::GetFileAttributesW(reinterpret_cast<const wchar_t*>(path.c_str())) !=
           INVALID_FILE_ATTRIBUTES;
}

String ProgramFolder() {
    wchar_t path[MAX_PATH * 4];
    const DWORD n = ::GetModuleFileNameW(nullptr, path, MAX_PATH * 4);
    String folder(reinterpret_cast<const char16_t*>(path), n);
    return folder.substr(0, folder.find_last_of(u'\\') + 1);
}

std::vector<String> FilesIn(const String& folder) {
    std::vector<String> names;
    WIN32_FIND_DATAW found;
    HANDLE find =
        ::FindFirstFileW(reinterpret_cast<const wchar_t*>((folder + u"*").c_str()), &found);
    if (find == INVALID_HANDLE_VALUE)
        return names;
    do {
        if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY))
            names.emplace_back(reinterpret_cast<const char16_t*>(found.cFileName));
    } while (::FindNextFileW(find, &found));
    ::FindClose(find);
    return names;
}

WmWaveFormat CheckFormat() {
    WmWaveFormat f{};
    f.formatTag = WM_FORMAT_PCM;
    f.channels = 2;
    f.samplesPerSec = 44100;
    f.bitsPerSample = 16;
    f.blockAlign = 4;
    f.avgBytesPerSec = 44100 * 4;
    return f;
}

std::vector<uint8_t> SineAudio(uint32_t ms) {
    return SineAudio(CheckFormat(), ms);
}

WmWaveFormat MakeFormat(uint16_t channels, uint32_t rate, uint16_t bits, bool isFloat) {
    WaveFormat format = WaveFormat::Pcm(channels, rate, bits, isFloat);
    if (channels > 2 || bits > 16)
        format.ToExtensible();
    return format.AsRecord();
}

std::string Describe(const WmWaveFormat& f) {
    const bool isFloat = WaveFormat(f).EffectiveTag() == WaveFormat::kTagFloat;
    return std::to_string(f.bitsPerSample) + "-bit" + (isFloat ? " float " : " ") +
           std::to_string(f.channels) + "-channel " + std::to_string(f.samplesPerSec) + " Hz";
}

namespace {

// One sample of `bytes` bytes from v in -1..1: unsigned 8-bit, signed little-endian, or float.
void PutSample(uint8_t* at, uint32_t bytes, bool isFloat, double v) {
    if (isFloat) {
        const auto f = static_cast<float>(v);
        std::memcpy(at, &f, 4);
        return;
    }
    const double scale = std::ldexp(1.0, static_cast<int>(bytes * 8 - 1)) - 1;
    auto n = static_cast<int64_t>(std::lround(v * scale));
    if (bytes == 1)
        n += 128;
    for (uint32_t b = 0; b < bytes; ++b)
        at[b] = static_cast<uint8_t>(static_cast<uint64_t>(n) >> (8 * b));
}

double GetSample(const uint8_t* at, uint32_t bytes, bool isFloat) {
    if (isFloat) {
        float f = 0;
        std::memcpy(&f, at, 4);
        return f;
    }
    uint64_t n = 0;
    for (uint32_t b = 0; b < bytes; ++b)
        n |= uint64_t{at[b]} << (8 * b);
    const int shift = static_cast<int>(64 - bytes * 8);
    int64_t value =
        bytes == 1 ? static_cast<int64_t>(n) - 128 : static_cast<int64_t>(n << shift) >> shift;
    return static_cast<double>(value) / std::ldexp(1.0, static_cast<int>(bytes * 8 - 1));
}

bool IsFloat(const WmWaveFormat& f) {
    return WaveFormat(f).EffectiveTag() == WaveFormat::kTagFloat;
}

} // namespace

std::vector<uint8_t> SineAudio(const WmWaveFormat& f, uint32_t ms) {
    const uint32_t bytes = f.bitsPerSample / 8;
    const uint64_t frames = uint64_t{f.samplesPerSec} * ms / 1000;
    std::vector<uint8_t> pcm(static_cast<size_t>(frames * f.blockAlign));
    for (uint64_t i = 0; i < frames; ++i) {
        const double v =
            0.36 * std::sin(static_cast<double>(i) * 2 * 3.14159265 * 441 / f.samplesPerSec);
        for (uint32_t c = 0; c < f.channels; ++c)
            PutSample(&pcm[static_cast<size_t>(i * f.blockAlign + c * bytes)], bytes, IsFloat(f),
                      v);
    }
    return pcm;
}

std::vector<double> SampleValues(const std::vector<uint8_t>& audio, const WmWaveFormat& f) {
    const uint32_t bytes = f.bitsPerSample / 8;
    const bool isFloat = IsFloat(f);
    if (f.bitsPerSample % 8 || bytes < 1 || bytes > 4 || (isFloat && bytes != 4))
        return {};
    std::vector<double> values(audio.size() / bytes);
    for (size_t i = 0; i < values.size(); ++i)
        values[i] = GetSample(&audio[i * bytes], bytes, isFloat);
    return values;
}

std::vector<uint32_t> BlockSizes(uint32_t total, uint32_t frame) {
    static const uint32_t kFrames[] = {4096, 1, 11025, 333, 22050, 7};
    std::vector<uint32_t> sizes;
    for (size_t i = 0; total > 0; ++i) {
        const uint32_t n = std::min(total, kFrames[i % std::size(kFrames)] * frame);
        sizes.push_back(n);
        total -= n;
    }
    return sizes;
}

const char16_t kCheckTitle[] = u"plugin-check title \u00e9\u4e2d";

std::vector<uint8_t> CheckTagBlock() {
    static const uint8_t kPicture[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0, 0, 0, 0};
    IDTagSet set;
    set.Add(u"title", kCheckTitle);
    set.Add(u"artist", u"plugin-check");
    set.AddData(u"_albumart_1_Front Album Cover", kPicture, sizeof kPicture);
    return set.Serialize();
}

std::string ReasonSuffix(const std::function<uint32_t(PluginValue*)>& askLastError,
                         Report& report) {
    PluginValue value{};
    uint32_t answered = 0;
    {
        CallGuard guard("Get \"LastError\"");
        answered = askLastError(&value);
    }
    if (!answered)
        return {};
    const auto* text = static_cast<const char16_t*>(value.pointer1);
    if (!text || !*text) {
        report.Violation("lasterror-empty",
                         "\"LastError\" was answered without a text in pointer1: answer 0 when "
                         "there is nothing to say");
        return {};
    }
    const StringView reason(text);
    if (reason.find_first_of(u"\r\n") != StringView::npos)
        report.Violation("lasterror-lines", "\"LastError\" holds a line break; the host appends "
                                            "it to one error line");
    return ": " + Narrow(reason);
}

std::string Quoted(StringView text) {
    return "'" + Narrow(text) + "'";
}

} // namespace wm::check
