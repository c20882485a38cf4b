#include "tests/e2e/E2eSupport.h"

#include "process/WinString.h"

#include <windows.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

namespace wm::e2e {

namespace {

void Drain(HANDLE h, std::vector<char>& into) {
    char buf[65536];
    DWORD got = 0;
    while (ReadFile(h, buf, sizeof buf, &got, nullptr) && got)
        into.insert(into.end(), buf, buf + got);
}

} // namespace

String StageDir() {
    const char* v = std::getenv("WAVEMILL_STAGE");
    String s = Widen(v ? v : ".");
    ReplaceAll(s, u"/", u"\\");
    return s.ends_with(u'\\') ? s : s + u"\\";
}

String NewWorkDir(const std::string& name) {
    wchar_t temp[MAX_PATH];
    GetTempPathW(MAX_PATH, temp);
    // Process ids come round again under Wine: clear whatever an earlier run left there.
    String dir = FromW(temp) + u"wm-e2e-" + Widen(std::to_string(GetCurrentProcessId())) + u"\\" +
                 Widen(name) + u"\\";
    std::error_code ignored;
    std::filesystem::remove_all(W(dir), ignored);
    std::filesystem::create_directories(W(dir), ignored);
    return dir;
}

std::string DecodeUtf16(const std::vector<char>& bytes) {
    return Narrow(StringView(reinterpret_cast<const char16_t*>(bytes.data()), bytes.size() / 2));
}

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

RunResult RunWavemill(const String& arguments, const RunOptions& o) {
    RunResult result;
    SECURITY_ATTRIBUTES sa{sizeof(sa), nullptr, TRUE};
    HANDLE outR, outW, errR, errW, inR = nullptr, inW = nullptr;
    CreatePipe(&outR, &outW, &sa, 0);
    CreatePipe(&errR, &errW, &sa, 0);
    SetHandleInformation(outR, HANDLE_FLAG_INHERIT, 0);
    SetHandleInformation(errR, HANDLE_FLAG_INHERIT, 0);
    if (o.stdinIsPipe) {
        CreatePipe(&inR, &inW, &sa, 0);
        SetHandleInformation(inW, HANDLE_FLAG_INHERIT, 0);
    } else {
        inR = CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, &sa,
                          OPEN_EXISTING, 0, nullptr);
    }
    STARTUPINFOW si{};
    si.cb = sizeof(si);
    si.dwFlags = STARTF_USESTDHANDLES;
    si.hStdInput = inR;
    si.hStdOutput = outW;
    si.hStdError = errW;
    String line = u"\"" + StageDir() + u"Wavemill.exe\" " + arguments;
    // The child inherits this process's environment; the extra variables last for its start.
    for (const auto& [name, value] : o.env)
        SetEnvironmentVariableA(name.c_str(), value.c_str());
    PROCESS_INFORMATION pi{};
    BOOL started = CreateProcessW(nullptr, const_cast<wchar_t*>(W(line)), nullptr, nullptr, TRUE,
                                  CREATE_NO_WINDOW | (o.job ? CREATE_SUSPENDED : 0), nullptr,
                                  nullptr, &si, &pi);
    if (started && o.job) {
        AssignProcessToJobObject(o.job, pi.hProcess);
        ResumeThread(pi.hThread);
    }
    for (const auto& [name, value] : o.env)
        SetEnvironmentVariableA(name.c_str(), nullptr);
    CloseHandle(outW);
    CloseHandle(errW);
    CloseHandle(inR);
    if (!started) {
        for (HANDLE h : {outR, errR, inW})
            if (h)
                CloseHandle(h);
        result.err = "CreateProcessW failed: " + std::to_string(GetLastError());
        return result;
    }
    result.processId = pi.dwProcessId;
    std::vector<char> outBytes, errBytes;
    std::thread outReader([&] { Drain(outR, outBytes); });
    std::thread errReader([&] { Drain(errR, errBytes); });
    std::thread writer([&] {
        DWORD put = 0;
        for (size_t at = 0; inW && at < o.stdinData.size(); at += put)
            if (!WriteFile(inW, o.stdinData.data() + at,
                           static_cast<DWORD>(std::min<size_t>(65536, o.stdinData.size() - at)),
                           &put, nullptr))
                break;
        if (inW)
            CloseHandle(inW);
    });
    // Generous: only a hang should reach it.
    if (WaitForSingleObject(pi.hProcess, 60000) == WAIT_TIMEOUT) {
        result.timedOut = true;
        TerminateProcess(pi.hProcess, 99);
        WaitForSingleObject(pi.hProcess, 5000);
    }
    writer.join();
    outReader.join();
    errReader.join();
    DWORD code = 0;
    GetExitCodeProcess(pi.hProcess, &code);
    result.exitCode = static_cast<int>(code);
    for (HANDLE h : {pi.hProcess, pi.hThread, outR, errR})
        CloseHandle(h);
    result.out = DecodeUtf16(outBytes);
    result.err = DecodeUtf16(errBytes);
    return result;
}

std::vector<char> ReadBytes(const String& path) {
    std::ifstream in(std::filesystem::path(path), std::ios::binary);
    return std::vector<char>(std::istreambuf_iterator<char>(in), {});
}

std::string ReadText(const String& path) {
    std::vector<char> b = ReadBytes(path);
    return std::string(b.begin(), b.end());
}

void WriteBytes(const String& path, const void* data, size_t size) {
    std::ofstream(std::filesystem::path(path), std::ios::binary)
        .write(static_cast<const char*>(data), static_cast<std::streamsize>(size));
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

String WriteScript(const String& dir, const std::string& name, const std::string& script) {
    WriteText(dir + Widen(name), script);
    return dir + Widen(name);
}

} // namespace wm::e2e
