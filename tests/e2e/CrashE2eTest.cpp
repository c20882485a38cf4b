// Crashes inside plug-ins: the dump they leave, the second copy, the error line naming the
// plug-in and its call, and the exit status 1.
#include "tests/e2e/E2eSupport.h"

#include "process/WinString.h"

#include <gtest/gtest.h>
#include <shlobj.h>
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <filesystem>
#include <set>
#include <thread>

using namespace wm;
using namespace wm::e2e;

namespace {

String CrashesFolder() {
    wchar_t appData[MAX_PATH] = {};
    SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, 0, appData);
    return FromW(appData) + u"\\Vrx\\crashes\\";
}

// The dumps in the crashes folder. Wine reuses process ids soon, so a dump named after a run's id
// may be an earlier run's: a run's dump is the one that was not there before it.
std::set<String> DumpsNow() {
    std::set<String> dumps;
    std::error_code ignored;
    for (const auto& entry :
         std::filesystem::directory_iterator(std::filesystem::path(CrashesFolder()), ignored))
        if (entry.path().extension() == ".dmp")
            dumps.insert(entry.path().u16string());
    return dumps;
}

std::vector<String> DumpsSince(const std::set<String>& before) {
    std::vector<String> added;
    for (const String& dump : DumpsNow())
        if (!before.count(dump))
            added.push_back(dump);
    return added;
}

// The parts of a minidump the tests look at (little-endian, offsets from the file's start).
struct MiniDump {
    Bytes bytes;

    template <class T> T At(size_t offset) const {
        T value{};
        if (offset + sizeof(T) <= bytes.size())
            std::memcpy(&value, bytes.data() + offset, sizeof(T));
        return value;
    }
    bool Valid() const { return bytes.size() > 32 && std::memcmp(bytes.data(), "MDMP", 4) == 0; }
    // Offset of the stream of that type, or 0.
    uint32_t Stream(uint32_t type) const {
        const uint32_t count = At<uint32_t>(8), directory = At<uint32_t>(12);
        for (uint32_t i = 0; i < count; ++i)
            if (At<uint32_t>(directory + i * 12) == type)
                return At<uint32_t>(directory + i * 12 + 8);
        return 0;
    }
    uint32_t ExceptionCode() const { return At<uint32_t>(Stream(6) + 8); }
    uint64_t ExceptionRsp() const {
        const uint32_t context = At<uint32_t>(Stream(6) + 8 + 152 + 4);
        return At<uint64_t>(context + 0x98);
    }
    std::vector<std::string> ModuleNames() const {
        std::vector<std::string> names;
        const uint32_t list = Stream(4);
        for (uint32_t i = 0; list && i < At<uint32_t>(list); ++i) {
            const uint32_t name = At<uint32_t>(list + 4 + i * 108 + 20);
            const uint32_t length = At<uint32_t>(name);
            if (name + 4 + length <= bytes.size())
                names.push_back(Narrow(
                    StringView(reinterpret_cast<const char16_t*>(&bytes[name + 4]), length / 2)));
        }
        return names;
    }
    bool MemoryHolds(uint64_t address) const {
        const uint32_t list = Stream(5);
        for (uint32_t i = 0; list && i < At<uint32_t>(list); ++i) {
            const uint64_t start = At<uint64_t>(list + 4 + i * 16);
            if (address >= start && address < start + At<uint32_t>(list + 4 + i * 16 + 8))
                return true;
        }
        return false;
    }
    bool Contains(const std::string& text) const {
        return std::search(bytes.begin(), bytes.end(), text.begin(), text.end()) != bytes.end();
    }
};

struct CrashRun {
    RunResult result;
    std::vector<DWORD> secondCopyExits; // exit codes of the other Wavemill processes it started
    std::vector<String> dumps;          // the dumps it wrote
};

String ImageName(HANDLE process) {
    wchar_t name[MAX_PATH] = {};
    DWORD size = MAX_PATH;
    QueryFullProcessImageNameW(process, 0, name, &size);
    return FromW(name, size);
}

// Runs Wavemill in a job, which also takes in every process the run starts; each is opened as
// the job announces it, so its name and exit code can be read after it ends. (Wine's own
// helpers, started on first use of the window system, join the job too and stay.)
CrashRun RunInJob(const String& arguments) {
    CrashRun run;
    HANDLE job = CreateJobObjectW(nullptr, nullptr);
    HANDLE port = CreateIoCompletionPort(INVALID_HANDLE_VALUE, nullptr, 0, 1);
    JOBOBJECT_ASSOCIATE_COMPLETION_PORT association{job, port};
    SetInformationJobObject(job, JobObjectAssociateCompletionPortInformation, &association,
                            sizeof association);
    std::vector<HANDLE> started;
    std::atomic<bool> runEnded{false};
    std::thread watcher([&] {
        DWORD message = 0;
        ULONG_PTR key = 0;
        OVERLAPPED* data = nullptr;
        // Everything the run started is queued before it ends: stop at the first quiet moment
        // after that.
        for (;;) {
            const bool ended = runEnded;
            if (!GetQueuedCompletionStatus(port, &message, &key, &data, 200)) {
                if (ended)
                    return;
                continue;
            }
            if (message == JOB_OBJECT_MSG_NEW_PROCESS)
                started.push_back(
                    OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE,
                                static_cast<DWORD>(reinterpret_cast<ULONG_PTR>(data))));
        }
    });
    RunOptions options;
    options.job = job;
    const std::set<String> dumpsBefore = DumpsNow();
    run.result = RunWavemill(arguments, options);
    runEnded = true;
    watcher.join();
    for (HANDLE process : started) {
        DWORD code = STILL_ACTIVE;
        // Bounded: a second copy that hangs shows as still active.
        if (process && GetProcessId(process) != run.result.processId &&
            ImageName(process).ends_with(u"\\Wavemill.exe")) {
            WaitForSingleObject(process, 30000);
            GetExitCodeProcess(process, &code);
            run.secondCopyExits.push_back(code);
        }
        if (process)
            CloseHandle(process);
    }
    CloseHandle(port);
    CloseHandle(job);
    run.dumps = DumpsSince(dumpsBefore);
    return run;
}

// The memory callback: Wine's dump writer never calls it, so its ranges exist only on Windows.
bool DumpWriterAddsMemory() {
    return !GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version");
}

} // namespace

class PluginCrash : public testing::TestWithParam<const char*> {};

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), ::tolower);
    return text;
}

// What the error line says of each kind of crash.
const char* ExceptionWords(const std::string& kind) {
    return kind == "access"    ? "access violation"
           : kind == "illegal" ? "illegal instruction"
           : kind == "stack"   ? "stack overflow"
                               : "abort (an exception was thrown and not caught";
}

// Each kind of crash, once in the decoder, once in the encoder and once in an effect; the
// outputs exist already and stay as they were.
TEST_P(PluginCrash, WritesDumpStartsSecondCopyAndFailsWithALine) {
    const std::string kind = GetParam();
    const String dir = NewWorkDir("crash-" + kind);
    const String quietScript = WriteScript(dir, "quiet.wmt", "block 4000 4\n");
    const String crashScript = WriteScript(dir, "crash.wmt", "block 4000 4\ncrash " + kind + "\n");
    struct Case {
        String arguments;
        const char* module;
        const char* line; // what the error line names
    } cases[] = {
        {u"-infile=\"" + crashScript + u"\" -outfile=\"" + dir + u"a.raw\" -convert_to=TestEnc",
         "testdecoder.dll", "The plug-in 'TestDecoder.dll' crashed in DecodeBlock: "},
        {u"-infile=\"" + quietScript + u"\" -outfile=\"" + dir +
             u"b.raw\" -convert_to=TestEnc -crash=" + Widen(kind),
         "testenc.dll", "The plug-in 'TestEnc.dll' crashed in ENC_EncodeBlock: "},
        {u"-infile=\"" + quietScript + u"\" -outfile=\"" + dir +
             u"c.raw\" -convert_to=TestEnc -dspeffect1=\"TestDsp=live=1 crash=" + Widen(kind) +
             u"\"",
         "testdsp.dll", "The plug-in 'TestDsp.dll' crashed in DSP_PassAudioBlock: "},
    };
    for (const char* name : {"a.raw", "b.raw", "c.raw"})
        WriteText(dir + Widen(name), "precious");
    for (const Case& c : cases) {
        SCOPED_TRACE(c.module);
        CrashRun run = RunInJob(c.arguments);
        ASSERT_FALSE(run.result.timedOut);
        EXPECT_EQ(run.result.exitCode, 1) << run.result.err;
        // The plug-in's file name as the host loaded it: an encoder by the codec name typed.
        EXPECT_TRUE(Contains(Lower(run.result.err),
                             Lower(std::string("Error: ") + c.line + ExceptionWords(kind))))
            << run.result.err;
        if (!run.dumps.empty()) {
            EXPECT_TRUE(Contains(run.result.err, " Crash dump: " + Narrow(run.dumps[0])))
                << run.result.err;
        }
        EXPECT_EQ(run.secondCopyExits, std::vector<DWORD>{0}) << "one second copy, ended with 0";

        ASSERT_EQ(run.dumps.size(), 1u) << "one dump";
        MiniDump dump{ReadBytes(run.dumps[0])};
        ASSERT_TRUE(dump.Valid());
        const uint32_t expected = kind == "access"    ? 0xC0000005
                                  : kind == "illegal" ? 0xC000001D
                                  : kind == "stack"   ? 0xC00000FD
                                                      : 0x40000015; // abort() after a throw
        EXPECT_EQ(dump.ExceptionCode(), expected);
        std::vector<std::string> modules = dump.ModuleNames();
        EXPECT_TRUE(std::any_of(modules.begin(), modules.end(), [&](std::string name) {
            std::transform(name.begin(), name.end(), name.begin(), ::tolower);
            return name.ends_with(c.module);
        }));
        EXPECT_TRUE(dump.MemoryHolds(dump.ExceptionRsp()));
        // The marker lies far from an overflowed stack's top.
        if (kind != "stack" && DumpWriterAddsMemory()) {
            EXPECT_TRUE(dump.Contains("WAVEMILL-TEST-CRASH-MARKER"));
        }
        std::filesystem::remove(std::filesystem::path(run.dumps[0]));
    }
    for (const char* name : {"a.raw", "b.raw", "c.raw"})
        EXPECT_EQ(ReadText(dir + Widen(name)), "precious") << name;
}

INSTANTIATE_TEST_SUITE_P(Kinds, PluginCrash,
                         testing::Values("access", "illegal", "stack", "throw"));

// A file where the crashes folder should be: no dump can be written, so no second copy starts,
// and the run still ends at once, failed, with its line.
TEST(CrashWithoutDumpFolder, FailsWithALineAndStartsNothing) {
    const String folder = CrashesFolder().substr(0, CrashesFolder().size() - 1);
    const String aside = folder + u".aside";
    std::error_code ignored;
    std::filesystem::remove_all(std::filesystem::path(aside), ignored);
    std::filesystem::rename(std::filesystem::path(folder), std::filesystem::path(aside), ignored);
    std::filesystem::create_directories(std::filesystem::path(folder).parent_path(), ignored);
    WriteText(folder, "not a folder");
    ASSERT_TRUE(std::filesystem::is_regular_file(std::filesystem::path(folder)))
        << "the crashes folder could not be replaced by a file";
    const String dir = NewWorkDir("crash-nofolder");
    const String script = WriteScript(dir, "crash.wmt", "crash access Open\n");
    CrashRun run =
        RunInJob(u"-infile=\"" + script + u"\" -outfile=\"" + dir + u"o.raw\" -convert_to=TestEnc");
    std::filesystem::remove(std::filesystem::path(folder), ignored);
    std::filesystem::rename(std::filesystem::path(aside), std::filesystem::path(folder), ignored);
    EXPECT_FALSE(run.result.timedOut);
    EXPECT_EQ(run.result.exitCode, 1);
    EXPECT_TRUE(Contains(run.result.err, "Error: The plug-in 'TestDecoder.dll' crashed in Open: "
                                         "access violation writing address 0x"))
        << run.result.err;
    EXPECT_TRUE(Contains(run.result.err, "No crash dump could be written.")) << run.result.err;
    EXPECT_FALSE(Exists(dir + u"o.raw")) << "the run went on instead of crashing";
    EXPECT_TRUE(run.secondCopyExits.empty());
}

// Under a debugger the crash is the debugger's: it gets the exception a second time (nothing in
// the process handled it) and no dump is written.
TEST(CrashUnderDebugger, GoesToTheDebuggerWithoutDump) {
    const String dir = NewWorkDir("crash-debugger");
    // (A stack overflow would test the vectored handler's own step back, but under Wine the
    // debugger's last chance for it never comes.)
    const String script = WriteScript(dir, "crash.wmt", "crash access Open\n");
    String line = u"\"" + StageDir() + u"Wavemill.exe\" -silent -infile=\"" + script +
                  u"\" -outfile=\"" + dir + u"o.raw\" -convert_to=TestEnc";
    STARTUPINFOW si{};
    si.cb = sizeof si;
    PROCESS_INFORMATION pi{};
    const std::set<String> dumpsBefore = DumpsNow();
    ASSERT_TRUE(CreateProcessW(nullptr, const_cast<wchar_t*>(W(line)), nullptr, nullptr, FALSE,
                               DEBUG_ONLY_THIS_PROCESS | CREATE_NO_WINDOW, nullptr, nullptr, &si,
                               &pi));
    bool lastChance = false, ended = false;
    DEBUG_EVENT event{};
    while (!ended && WaitForDebugEvent(&event, 60000)) {
        DWORD answer = DBG_CONTINUE;
        if (event.dwDebugEventCode == EXCEPTION_DEBUG_EVENT) {
            const EXCEPTION_DEBUG_INFO& info = event.u.Exception;
            if (info.ExceptionRecord.ExceptionCode == EXCEPTION_ACCESS_VIOLATION) {
                answer = DBG_EXCEPTION_NOT_HANDLED;
                if (!info.dwFirstChance) {
                    lastChance = true;
                    TerminateProcess(pi.hProcess, 0);
                }
            } else if (info.ExceptionRecord.ExceptionCode != EXCEPTION_BREAKPOINT) {
                answer = DBG_EXCEPTION_NOT_HANDLED;
            }
        }
        if (event.dwDebugEventCode == LOAD_DLL_DEBUG_EVENT && event.u.LoadDll.hFile)
            CloseHandle(event.u.LoadDll.hFile);
        if (event.dwDebugEventCode == CREATE_PROCESS_DEBUG_EVENT && event.u.CreateProcessInfo.hFile)
            CloseHandle(event.u.CreateProcessInfo.hFile);
        ended = event.dwDebugEventCode == EXIT_PROCESS_DEBUG_EVENT;
        ContinueDebugEvent(event.dwProcessId, event.dwThreadId, answer);
    }
    if (!ended)
        TerminateProcess(pi.hProcess, 99);
    WaitForSingleObject(pi.hProcess, 10000);
    CloseHandle(pi.hThread);
    CloseHandle(pi.hProcess);
    EXPECT_TRUE(lastChance);
    EXPECT_TRUE(DumpsSince(dumpsBefore).empty());
}
