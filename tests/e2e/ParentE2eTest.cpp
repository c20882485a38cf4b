// The parent's view: "MSGTO: Vrx: " lines, the shared bytes-encoded block, and the decoder
// cache and debug mode in the registry.
#include "tests/e2e/E2eSupport.h"

#include "process/UniqueHandle.h"
#include "process/WinString.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <sstream>

using namespace wm;
using namespace wm::e2e;

namespace {

const wchar_t* kRoot = L"Software\\Brightfold\\Tonewerk";
const wchar_t* kCache = L"Software\\Brightfold\\Tonewerk\\DecoderCache64";

String ReadCache() {
    wchar_t buf[1024] = {};
    DWORD size = sizeof buf;
    RegGetValueW(HKEY_CURRENT_USER, kCache, L".wmt", RRF_RT_REG_SZ, nullptr, buf, &size);
    return FromW(buf);
}

RunResult Convert(const String& in, const String& out) {
    return RunWavemill(u"-infile=\"" + in + u"\" -outfile=\"" + out + u"\" -convert_to=TestEnc");
}

} // namespace

TEST(ParentMode, ReportsLengthActionsProgressAndBytesEncoded) {
    String dir = NewWorkDir("parent");
    String in = WriteScript(dir, "in.wmt",
                            "format 8000 1 16\naction first input\nblock 1600 3\n"
                            "action second input\nblock 1600 2\n");
    String block = u"WmTestShared" + Widen(std::to_string(GetCurrentProcessId()));
    // The parent makes the block first.
    UniqueHandle mapping(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 8,
                                            W(u"NSharedData_" + block)));
    UniqueMappedView view(MapViewOfFile(mapping.get(), FILE_MAP_ALL_ACCESS, 0, 0, 8));
    auto* shared = static_cast<int64_t*>(view.get());
    ASSERT_TRUE(shared);
    *shared = -1;
    String cmd = dir + u"job.twcmd";
    WriteUtf16(cmd, u"\xFEFF-infile=\"" + in + u"\" -outfile=\"" + dir +
                        u"out put.raw\" -convert_to=\"TestEnc\" -shrbytesencoded=" + block +
                        u" -action=\"writing out\"");
    RunResult r = RunWavemill(u"-twcmd=\"" + cmd + u"\"");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(*shared, 8000);

    EXPECT_EQ(
        r.out.rfind("MSGTO: Vrx: msLen: 500\r\nMSGTO: Vrx: Action: Encoding 'out put.raw'\r\n", 0),
        0u)
        << r.out;
    std::istringstream lines(r.out);
    std::string l;
    int last = 0, inputs = 0, outputs = 0;
    while (std::getline(lines, l)) {
        ASSERT_EQ(l.rfind("MSGTO: Vrx: ", 0), 0u) << "only parent lines: " << l;
        if (l.rfind("MSGTO: Vrx: PCDone: ", 0) == 0) {
            int pc = std::stoi(l.substr(20));
            EXPECT_GT(pc, last);
            EXPECT_TRUE(l.ends_with(" %\r")) << l;
            last = pc;
        }
        inputs += l.rfind("MSGTO: Vrx: ActionInput: ", 0) == 0;
        outputs += l == "MSGTO: Vrx: ActionOutput: writing out\r";
    }
    EXPECT_EQ(last, 100);
    EXPECT_EQ(inputs, 2) << r.out;
    EXPECT_EQ(outputs, 1) << "reported once while it stays the same";
}

TEST(Registry, DecoderCacheIsWrittenAndAStaleEntryReplaced) {
    String dir = NewWorkDir("cache");
    String in = WriteScript(dir, "in.wmt", "block 400\n");
    RegDeleteKeyValueW(HKEY_CURRENT_USER, kCache, L".wmt");
    ASSERT_EQ(Convert(in, dir + u"a.raw").exitCode, 0);
    String cached = ReadCache();
    EXPECT_TRUE(EndsWithNoCase(cached, u"\\decoder\\TestDecoder.dll")) << Narrow(cached);

    // Only the file-name part of a cached path counts; a library that is gone costs one try.
    for (const wchar_t* stale : {L"C:\\elsewhere\\TestDecoder.dll", L"C:\\gone\\Gone.dll"}) {
        RegSetKeyValueW(HKEY_CURRENT_USER, kCache, L".wmt", REG_SZ, stale,
                        static_cast<DWORD>((wcslen(stale) + 1) * 2));
        ASSERT_EQ(Convert(in, dir + u"b.raw").exitCode, 0);
        EXPECT_EQ(ReadCache(), cached);
    }
}

TEST(Registry, DebugModeLastsOneRunAndIndentsSteps) {
    String dir = NewWorkDir("debug");
    String in = WriteScript(dir, "in.wmt", "block 400\n");
    for (const auto& old : DebugLogs())
        std::filesystem::remove(old);
    DebugNextRun();
    EXPECT_EQ(Convert(in, dir + u"x.iGnore.raw").exitCode, 0);
    DWORD debug = 0xFFFF, size = sizeof debug;
    RegGetValueW(HKEY_CURRENT_USER, kRoot, L"Debug", RRF_RT_REG_DWORD, nullptr, &debug, &size);
    EXPECT_EQ(debug, 0u);
    // The next run is normal and writes no log.
    EXPECT_EQ(Convert(in, dir + u"x.IGNORE.raw").exitCode, 0);
    std::vector<std::filesystem::path> logs = DebugLogs();
    ASSERT_EQ(logs.size(), 1u);
    std::string log = DecodeUtf16(ReadBytes(logs[0].u16string()));
    EXPECT_TRUE(Contains(log, "->->  [clTwCodecHandler::LoadEncoder]\r\n  Loading Encoder '"))
        << log;
    EXPECT_TRUE(Contains(log, "\r\n<-<-  [clTwCodecHandler::LoadEncoder]\r\n"));
    EXPECT_TRUE(Contains(log, "============= CONVERSION BEGIN ============="));
    EXPECT_FALSE(Contains(log, "File Size Check")) << "x.iGnore.raw gets none";
    std::filesystem::remove(logs[0]);

    // Only the exact case ".IGNORE" skips the check.
    DebugNextRun();
    EXPECT_EQ(Convert(in, dir + u"x.IGNORE.raw").exitCode, 0);
    logs = DebugLogs();
    ASSERT_EQ(logs.size(), 1u);
    EXPECT_TRUE(Contains(DecodeUtf16(ReadBytes(logs[0].u16string())),
                         "File Size Check (before overwrite final): "));
    std::filesystem::remove(logs[0]);
}
