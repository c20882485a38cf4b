#include "sdk/check/CheckSupport.h"

#include "tags/IDTagSet.h"

#include <windows.h>

#include <psapi.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace wm::check {

namespace {

const char* g_call = nullptr;
Report* g_report = nullptr;
std::vector<String> g_folders;

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
    if (g_report)
        g_report->Violation("crash", text);
    std::printf("%d violation%s\n", g_report ? g_report->Violations() : 1,
                g_report && g_report->Violations() == 1 ? "" : "s");
    std::fflush(stdout);
    // Nothing more can be trusted after a crash inside the plug-in.
    ::TerminateProcess(::GetCurrentProcess(), 1);
    return EXCEPTION_CONTINUE_SEARCH;
}

void Print(const char* tag, const std::string& text) {
    std::printf("%-5s %s\n", tag, text.c_str());
    std::fflush(stdout);
}

} // namespace

void Report::Violation(const std::string& rule, const std::string& text) {
    if (!rules_.insert(rule).second)
        return;
    ++violations_;
    Print("FAIL", text);
}

void Report::Note(const std::string& text) {
    Print("note", text);
}

void Report::Passed(const std::string& text) {
    Print("ok", text);
}

CallGuard::CallGuard(const char* call) : previous_(g_call) {
    g_call = call;
}

CallGuard::~CallGuard() {
    g_call = previous_;
}

void InstallCrashReport(Report& report) {
    g_report = &report;
    ::AddVectoredExceptionHandler(1, OnException);
}

void* HostContext() {
    static void* page = ::VirtualAlloc(nullptr, 4096, MEM_RESERVE | MEM_COMMIT, PAGE_NOACCESS);
    return page;
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

std::string FormatProblem(const WmWaveFormat& f) {
    const bool extensible = f.formatTag == WM_FORMAT_EXTENSIBLE;
    if (f.formatTag != WM_FORMAT_PCM && f.formatTag != WM_FORMAT_IEEE_FLOAT && !extensible)
        return "formatTag " + std::to_string(f.formatTag) +
               " is not PCM (1), float (3) or "
               "extensible (0xFFFE)";
    if (f.channels == 0 || f.samplesPerSec == 0 || f.bitsPerSample == 0)
        return "channels, samplesPerSec and bitsPerSample must not be 0";
    if (f.blockAlign != f.channels * ((f.bitsPerSample + 7) / 8))
        return "blockAlign " + std::to_string(f.blockAlign) + " is not channels x bytes per sample";
    if (f.avgBytesPerSec != f.samplesPerSec * f.blockAlign)
        return "avgBytesPerSec " + std::to_string(f.avgBytesPerSec) +
               " is not samplesPerSec x blockAlign (the host turns bytes into time with it)";
    if (extensible && (f.cbSize != 22 || f.validBitsPerSample > f.bitsPerSample))
        return "an extensible format needs cbSize 22 and validBitsPerSample <= bitsPerSample";
    return {};
}

std::string TagBlockProblem(const void* data, uint32_t size) {
    const auto* p = static_cast<const uint8_t*>(data);
    if (!p || size < 4)
        return "a tag block needs at least its 4-byte entry count";
    uint32_t count = 0, at = 4;
    std::memcpy(&count, p, 4);
    for (uint32_t i = 0; i < count; ++i) {
        uint32_t length = 0;
        if (size - at < 4)
            return "the tag block ends before entry " + std::to_string(i + 1) + " of " +
                   std::to_string(count);
        std::memcpy(&length, p + at, 4);
        if (length < 8 || length > size - at)
            return "entry " + std::to_string(i + 1) + "'s length runs past the tag block";
        at += length;
    }
    if (at != size)
        return "the tag block's size is " + std::to_string(size) + " bytes, its entries fill " +
               std::to_string(at);
    return {};
}

bool SameFormat(const WmWaveFormat& a, const WmWaveFormat& b) {
    const size_t meaningful = a.formatTag == WM_FORMAT_EXTENSIBLE ? sizeof a : 16;
    return std::memcmp(&a, &b, meaningful) == 0;
}

uint64_t BytesToMs(uint64_t bytes, const WmWaveFormat& f) {
    return bytes * 1000 / (f.avgBytesPerSec ? f.avgBytesPerSec : 1);
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
    const uint32_t frames = 44100 * ms / 1000;
    std::vector<uint8_t> pcm(size_t{frames} * 4);
    for (uint32_t i = 0; i < frames; ++i) {
        const auto v = static_cast<int16_t>(12000 * std::sin(i * 2 * 3.14159265 * 441 / 44100));
        for (int c = 0; c < 2; ++c)
            std::memcpy(&pcm[size_t{i} * 4 + c * 2], &v, 2);
    }
    return pcm;
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
