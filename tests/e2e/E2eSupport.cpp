#include "tests/e2e/E2eSupport.h"

#include "process/ProcessStart.h"
#include "process/UniqueHandle.h"
#include "process/WinString.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string_view>
#include <thread>

namespace wm::e2e {

namespace {

void Drain(HANDLE h, Bytes& into) {
    uint8_t buf[65536];
    DWORD got = 0;
    while (ReadFile(h, buf, sizeof buf, &got, nullptr) && got)
        into.insert(into.end(), buf, buf + got);
}

} // namespace

String NewWorkDir(const std::string& name) {
    return test::FreshFolder(u"wm-e2e-" + Widen(std::to_string(GetCurrentProcessId())) + u"\\" +
                             Widen(name));
}

std::string DecodeUtf16(const Bytes& bytes) {
    return Narrow(StringView(reinterpret_cast<const char16_t*>(bytes.data()), bytes.size() / 2));
}

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

namespace {

// A pipe for a child; the end this process keeps is not inherited.
bool ChildPipe(UniqueHandle& read, UniqueHandle& write, bool childReads) {
    SECURITY_ATTRIBUTES sa{sizeof(sa), nullptr, TRUE};
    if (!CreatePipe(read.put(), write.put(), &sa, 0))
        return false;
    return SetHandleInformation((childReads ? write : read).get(), HANDLE_FLAG_INHERIT, 0);
}

UniqueHandle InheritableNul() {
    SECURITY_ATTRIBUTES sa{sizeof(sa), nullptr, TRUE};
    return UniqueHandle(CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, &sa,
                                    OPEN_EXISTING, 0, nullptr));
}

void Feed(UniqueHandle& in, const Bytes& data) {
    DWORD put = 0;
    for (size_t at = 0; in && at < data.size(); at += put)
        if (!WriteFile(in.get(), data.data() + at,
                       static_cast<DWORD>(std::min<size_t>(65536, data.size() - at)), &put,
                       nullptr))
            break;
    in.reset();
}

} // namespace

namespace {

// The one retry the suite allows: a start Wine refused, in two forms. Error 1359 is made again
// inside StartProcess; a new process Wine could not map (status 1, nothing written but Wine's own
// line, which its error classes let through to the child's error pipe) by RunWavemill. Each is
// said; more than kRefusedStartBudget in one test process fails it, since that many is no longer
// the odd refusal but something to find.
constexpr uint32_t kRefusedStartBudget = 2;
constexpr char kWineDebugClasses[] = "-all,err+virtual";
uint32_t unmappedStartsRetried = 0;

class RefusedStartBudget : public testing::Environment {
  public:
    void SetUp() override { SetEnvironmentVariableA("WINEDEBUG", kWineDebugClasses); }
    void TearDown() override {
        const uint32_t refused = RefusedStartsRetried();
        if (refused != 0)
            std::fprintf(stderr,
                         "note: Wine refused %u process start(s) with error 1359; each was "
                         "made again\n",
                         refused);
        if (unmappedStartsRetried != 0)
            std::fprintf(stderr,
                         "note: Wine could not map %u new process(es); each was started again\n",
                         unmappedStartsRetried);
        EXPECT_LE(refused + unmappedStartsRetried, kRefusedStartBudget)
            << "more refused starts than the budget allows";
    }
};

[[maybe_unused]] testing::Environment* const g_refusedStartBudget =
    testing::AddGlobalTestEnvironment(new RefusedStartBudget);

} // namespace

namespace {

RunResult RunOnce(const String& arguments, const RunOptions& o) {
    RunResult result;
    UniqueHandle outR, outW, errR, errW, inR, inW;
    ChildPipe(outR, outW, false);
    ChildPipe(errR, errW, false);
    if (o.stdinIsPipe)
        ChildPipe(inR, inW, true);
    else
        inR = InheritableNul();
    STARTUPINFOW si{};
    si.cb = sizeof(si);
    si.dwFlags = STARTF_USESTDHANDLES;
    si.hStdInput = inR.get();
    si.hStdOutput = outW.get();
    si.hStdError = errW.get();
    String line =
        u"\"" + (o.program.empty() ? StageDir() + u"Wavemill.exe" : o.program) + u"\" " + arguments;
    // The child inherits this process's environment; the extra variables last for its start.
    for (const auto& [name, value] : o.env)
        SetEnvironmentVariableA(name.c_str(), value.c_str());
    PROCESS_INFORMATION pi{};
    const bool started = StartProcess(const_cast<wchar_t*>(W(line)), true,
                                      CREATE_NO_WINDOW | (o.job ? CREATE_SUSPENDED : 0), si, pi);
    if (started && o.job) {
        AssignProcessToJobObject(o.job, pi.hProcess);
        ResumeThread(pi.hThread);
    }
    for (const auto& [name, value] : o.env)
        SetEnvironmentVariableA(name.c_str(), nullptr);
    // Only the child may hold its ends, or the readers below never see the end.
    outW.reset();
    errW.reset();
    inR.reset();
    if (!started) {
        result.err = "CreateProcessW failed: " + std::to_string(GetLastError());
        return result;
    }
    result.processId = pi.dwProcessId;
    UniqueHandle process(pi.hProcess), thread(pi.hThread);
    Bytes outBytes, errBytes;
    std::thread outReader([&] { Drain(outR.get(), outBytes); });
    std::thread errReader([&] { Drain(errR.get(), errBytes); });
    std::thread writer([&] { Feed(inW, o.stdinData); });
    // Generous: only a hang should reach it.
    if (WaitForSingleObject(process.get(), 60000) == WAIT_TIMEOUT) {
        result.timedOut = true;
        TerminateProcess(process.get(), 99);
        WaitForSingleObject(process.get(), 5000);
    }
    writer.join();
    outReader.join();
    errReader.join();
    DWORD code = 0;
    GetExitCodeProcess(process.get(), &code);
    result.exitCode = static_cast<int>(code);
    result.out = DecodeUtf16(outBytes);
    result.err = DecodeUtf16(errBytes);
    result.unmappedByWine =
        code == 1 && outBytes.empty() &&
        std::string_view(reinterpret_cast<const char*>(errBytes.data()), errBytes.size())
                .find(kWineCouldNotMapProcess) != std::string_view::npos;
    return result;
}

} // namespace

RunResult RunWavemill(const String& arguments, const RunOptions& o) {
    RunResult result = RunOnce(arguments, o);
    if (!result.unmappedByWine)
        return result;
    ++unmappedStartsRetried;
    std::fprintf(stderr, "note: Wine could not map the new process of Wavemill %s: started again\n",
                 Narrow(arguments).c_str());
    return RunOnce(arguments, o);
}

std::string ReadText(const String& path) {
    Bytes b = ReadBytes(path);
    return std::string(b.begin(), b.end());
}

void WriteText(const String& path, const std::string& utf8) {
    WriteBytes(path, utf8.data(), utf8.size());
}

void WriteUtf16(const String& path, const String& text) {
    WriteBytes(path, text.data(), text.size() * 2);
}

bool Exists(const String& path) {
    return GetFileAttributesW(W(path)) != INVALID_FILE_ATTRIBUTES;
}

std::vector<std::string> ReadLines(const String& path) {
    std::vector<std::string> lines;
    std::istringstream in(ReadText(path));
    for (std::string line; std::getline(in, line);)
        lines.push_back(line.ends_with('\r') ? line.substr(0, line.size() - 1) : line);
    return lines;
}

bool FolderEmpty(const String& dir) {
    std::error_code ignored;
    return std::filesystem::directory_iterator(std::filesystem::path(dir), ignored) ==
           std::filesystem::directory_iterator();
}

void DebugNextRun() {
    DWORD one = 1;
    RegSetKeyValueW(HKEY_CURRENT_USER, L"Software\\Brightfold\\Tonewerk", L"Debug", REG_DWORD, &one,
                    sizeof one);
}

std::vector<std::filesystem::path> DebugLogs() {
    wchar_t temp[MAX_PATH];
    GetTempPathW(MAX_PATH, temp);
    std::vector<std::filesystem::path> found;
    for (const auto& entry : std::filesystem::directory_iterator(temp))
        if (entry.path().filename().string().starts_with("DBG"))
            found.push_back(entry.path());
    return found;
}

String WriteScript(const String& dir, const std::string& name, const std::string& script) {
    WriteText(dir + Widen(name), script);
    return dir + Widen(name);
}

} // namespace wm::e2e
