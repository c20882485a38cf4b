// The parent's view: command-file runs, "MSGTO: Vrx: " lines, the shared bytes-encoded block,
// the decoder cache and debug mode in the registry.
#include "tests/e2e/E2eSupport.h"

#include "process/WinString.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <sstream>

using namespace wm;
using namespace wm::e2e;

namespace {

const wchar_t* kRoot = L"Software\\Brightfold\\Tonewerk";
const wchar_t* kCache = L"Software\\Brightfold\\Tonewerk\\DecoderCache64";

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        lines.push_back(line);
    }
    return lines;
}

String ReadCache(const wchar_t* value) {
    wchar_t buf[1024] = {};
    DWORD size = sizeof buf;
    if (RegGetValueW(HKEY_CURRENT_USER, kCache, value, RRF_RT_REG_SZ, nullptr, buf, &size))
        return u"";
    return FromW(buf);
}

void SetDword(const wchar_t* name, DWORD v) {
    RegSetKeyValueW(HKEY_CURRENT_USER, kRoot, name, REG_DWORD, &v, sizeof v);
}

DWORD GetDword(const wchar_t* name) {
    DWORD v = 0xFFFF, size = sizeof v;
    RegGetValueW(HKEY_CURRENT_USER, kRoot, name, RRF_RT_REG_DWORD, nullptr, &v, &size);
    return v;
}

std::vector<String> DebugLogs() {
    wchar_t temp[MAX_PATH];
    GetTempPathW(MAX_PATH, temp);
    std::vector<String> found;
    WIN32_FIND_DATAW fd;
    HANDLE f = FindFirstFileW((std::wstring(temp) + L"DBG*.TXT").c_str(), &fd);
    if (f != INVALID_HANDLE_VALUE) {
        do
            found.push_back(FromW(temp) + FromW(fd.cFileName));
        while (FindNextFileW(f, &fd));
        FindClose(f);
    }
    return found;
}

} // namespace

TEST(ParentMode, ReportsLengthActionsProgressAndBytesEncoded) {
    String dir = NewWorkDir("parent");
    String in = WriteScript(dir, "in.wmt",
                            "format 8000 1 16\naction first input\nblock 1600 3\n"
                            "action second input\nblock 1600 2\n");
    String block = u"WmTestShared" + Widen(std::to_string(GetCurrentProcessId()));
    // The parent makes the block first, as Soundhall does.
    HANDLE mapping = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 8,
                                        W(u"NSharedData_" + block));
    ASSERT_TRUE(mapping);
    auto* shared = static_cast<int64_t*>(MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, 8));
    ASSERT_TRUE(shared);
    *shared = -1;
    String cmd = dir + u"job.twcmd";
    WriteUtf16(cmd, u"\xFEFF-infile=\"" + in + u"\" -outfile=\"" + dir +
                        u"out put.raw\" -convert_to=\"TestEnc\" -shrbytesencoded=" + block +
                        u" -action=\"writing out\"");
    RunResult r = RunWavemill(u"-twcmd=\"" + cmd + u"\"");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(*shared, 8000);
    UnmapViewOfFile(shared);
    CloseHandle(mapping);

    std::vector<std::string> lines = Lines(r.out);
    ASSERT_GE(lines.size(), 4u) << r.out;
    EXPECT_EQ(lines[0], "MSGTO: Vrx: msLen: 500");
    EXPECT_EQ(lines[1], "MSGTO: Vrx: Action: Encoding 'out put.raw'");
    int last = 0, inputs = 0, outputs = 0;
    for (const std::string& l : lines) {
        ASSERT_EQ(l.rfind("MSGTO: Vrx: ", 0), 0u) << "only parent lines: " << l;
        if (l.rfind("MSGTO: Vrx: PCDone: ", 0) == 0) {
            int pc = std::stoi(l.substr(20));
            EXPECT_GT(pc, last);
            EXPECT_EQ(l.substr(l.size() - 2), " %");
            last = pc;
        }
        inputs += l.rfind("MSGTO: Vrx: ActionInput: ", 0) == 0;
        outputs += l == "MSGTO: Vrx: ActionOutput: writing out";
    }
    EXPECT_EQ(last, 100);
    EXPECT_EQ(inputs, 2) << r.out;
    EXPECT_EQ(outputs, 1) << "reported once while it stays the same";
}

TEST(Registry, DecoderCacheIsWrittenAndAStaleEntryReplaced) {
    String dir = NewWorkDir("cache");
    String in = WriteScript(dir, "in.wmt", "block 400\n");
    RegDeleteKeyValueW(HKEY_CURRENT_USER, kCache, L".wmt");
    ASSERT_EQ(
        RunWavemill(u"-infile=\"" + in + u"\" -outfile=\"" + dir + u"a.raw\" -convert_to=TestEnc")
            .exitCode,
        0);
    String cached = ReadCache(L".wmt");
    EXPECT_TRUE(EndsWithNoCase(cached, u"\\decoder\\TestDecoder.dll")) << Narrow(cached);

    // Only the file-name part of a cached path counts; a library that is gone costs one try.
    for (const wchar_t* stale : {L"C:\\elsewhere\\TestDecoder.dll", L"C:\\gone\\Gone.dll"}) {
        RegSetKeyValueW(HKEY_CURRENT_USER, kCache, L".wmt", REG_SZ, stale,
                        static_cast<DWORD>((wcslen(stale) + 1) * 2));
        ASSERT_EQ(RunWavemill(u"-infile=\"" + in + u"\" -outfile=\"" + dir +
                              u"b.raw\" -convert_to=TestEnc")
                      .exitCode,
                  0);
        EXPECT_EQ(ReadCache(L".wmt"), cached);
    }
}

TEST(Registry, DebugModeLastsOneRunAndIndentsSteps) {
    String dir = NewWorkDir("debug");
    String in = WriteScript(dir, "in.wmt", "block 400\n");
    for (const String& old : DebugLogs())
        DeleteFileW(W(old));
    SetDword(L"Debug", 1);
    RunResult r = RunWavemill(u"-infile=\"" + in + u"\" -outfile=\"" + dir +
                              u"x.iGnore.raw\" -convert_to=TestEnc");
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(GetDword(L"Debug"), 0u);
    std::vector<String> logs = DebugLogs();
    ASSERT_EQ(logs.size(), 1u);
    std::string log = DecodeUtf16(ReadBytes(logs[0]));
    EXPECT_NE(log.find("->->  [clTwCodecHandler::LoadEncoder]\r\n  Loading Encoder '"),
              std::string::npos)
        << log;
    EXPECT_NE(log.find("\r\n<-<-  [clTwCodecHandler::LoadEncoder]\r\n"), std::string::npos);
    EXPECT_NE(log.find("============= CONVERSION BEGIN ============="), std::string::npos);
    EXPECT_EQ(log.find("File Size Check"), std::string::npos) << "x.iGnore.raw gets none";

    r = RunWavemill(u"-infile=\"" + in + u"\" -outfile=\"" + dir +
                    u"x.IGNORE.raw\" -convert_to=TestEnc");
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(DebugLogs().size(), 1u) << "the next run is normal";

    SetDword(L"Debug", 1);
    r = RunWavemill(u"-infile=\"" + in + u"\" -outfile=\"" + dir +
                    u"x.IGNORE.raw\" -convert_to=TestEnc");
    for (const String& l : DebugLogs()) {
        if (l == logs[0])
            continue;
        std::string second = DecodeUtf16(ReadBytes(l));
        EXPECT_NE(second.find("File Size Check (before overwrite final): "), std::string::npos)
            << second;
        DeleteFileW(W(l));
    }
    DeleteFileW(W(logs[0]));
}
