#include "tests/e2e/E2eSupport.h"

#include "process/WinString.h"

#include <windows.h>

#include <cstdlib>
#include <thread>

namespace wm::e2e {

namespace {

String EnvOr(const char* name, const char* fallback) {
    const char* v = std::getenv(name);
    String s = Widen(v ? v : fallback);
    for (char16_t& c : s)
        if (c == u'/')
            c = u'\\';
    if (!s.empty() && s.back() != u'\\')
        s += u'\\';
    return s;
}

void Drain(HANDLE h, std::vector<char>& into) {
    char buf[65536];
    DWORD got = 0;
    while (ReadFile(h, buf, sizeof buf, &got, nullptr) && got)
        into.insert(into.end(), buf, buf + got);
}

std::vector<wchar_t> BuildEnvironment(const RunOptions& o) {
    std::vector<wchar_t> block;
    wchar_t* current = GetEnvironmentStringsW();
    for (const wchar_t* p = current; *p; p += wcslen(p) + 1)
        block.insert(block.end(), p, p + wcslen(p) + 1);
    FreeEnvironmentStringsW(current);
    for (const auto& [k, v] : o.env) {
        String kv = Widen(k + "=" + v);
        block.insert(block.end(), kv.begin(), kv.end());
        block.push_back(0);
    }
    block.push_back(0);
    return block;
}

} // namespace

String StageDir() {
    return EnvOr("WAVEMILL_STAGE", ".");
}
String WavemillExe() {
    return StageDir() + u"Wavemill.exe";
}

namespace {

void RemoveTree(const String& dir) {
    WIN32_FIND_DATAW fd;
    HANDLE f = FindFirstFileW(W(dir + u"*"), &fd);
    if (f != INVALID_HANDLE_VALUE) {
        do {
            String name = FromW(fd.cFileName);
            if (name == u"." || name == u"..")
                continue;
            String path = dir + name;
            if (fd.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
                RemoveTree(path + u"\\");
            } else {
                SetFileAttributesW(W(path), FILE_ATTRIBUTE_NORMAL);
                DeleteFileW(W(path));
            }
        } while (FindNextFileW(f, &fd));
        FindClose(f);
    }
    RemoveDirectoryW(W(dir));
}

} // namespace

String NewWorkDir(const std::string& name) {
    wchar_t temp[MAX_PATH];
    GetTempPathW(MAX_PATH, temp);
    // Process ids come round again under Wine: clear whatever an earlier run left there.
    String root = FromW(temp) + u"wm-e2e-" + Widen(std::to_string(GetCurrentProcessId())) + u"\\";
    String dir = root + Widen(name) + u"\\";
    RemoveTree(dir);
    CreateDirectoryW(W(root), nullptr);
    CreateDirectoryW(W(dir), nullptr);
    return dir;
}

std::string DecodeUtf16(const std::vector<char>& bytes) {
    return Narrow(StringView(reinterpret_cast<const char16_t*>(bytes.data()), bytes.size() / 2));
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
    String exe = o.program.empty() ? WavemillExe() : Widen(o.program);
    String line = u"\"" + exe + u"\" " + arguments;
    std::vector<wchar_t> env = BuildEnvironment(o);
    PROCESS_INFORMATION pi{};
    BOOL started = CreateProcessW(nullptr, const_cast<wchar_t*>(W(line)), nullptr, nullptr, TRUE,
                                  CREATE_UNICODE_ENVIRONMENT | CREATE_NO_WINDOW, env.data(),
                                  nullptr, &si, &pi);
    CloseHandle(outW);
    CloseHandle(errW);
    CloseHandle(inR);
    if (!started) {
        CloseHandle(outR);
        CloseHandle(errR);
        if (inW)
            CloseHandle(inW);
        result.err = "CreateProcessW failed: " + std::to_string(GetLastError());
        return result;
    }
    std::vector<char> errBytes;
    std::thread outReader([&] { Drain(outR, result.rawOut); });
    std::thread errReader([&] { Drain(errR, errBytes); });
    std::thread writer([&] {
        if (!inW)
            return;
        size_t at = 0;
        while (at < o.stdinData.size()) {
            DWORD put = 0;
            DWORD n = static_cast<DWORD>(std::min<size_t>(65536, o.stdinData.size() - at));
            if (!WriteFile(inW, o.stdinData.data() + at, n, &put, nullptr))
                break;
            at += put;
        }
        CloseHandle(inW);
    });
    if (WaitForSingleObject(pi.hProcess, o.timeoutMs) == WAIT_TIMEOUT) {
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
    CloseHandle(pi.hProcess);
    CloseHandle(pi.hThread);
    CloseHandle(outR);
    CloseHandle(errR);
    result.out = DecodeUtf16(result.rawOut);
    result.err = DecodeUtf16(errBytes);
    return result;
}

std::vector<char> ReadBytes(const String& path) {
    std::vector<char> out;
    HANDLE h = CreateFileW(W(path), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                           OPEN_EXISTING, 0, nullptr);
    if (h == INVALID_HANDLE_VALUE)
        return out;
    Drain(h, out);
    CloseHandle(h);
    return out;
}

void WriteBytes(const String& path, const void* data, size_t size) {
    HANDLE h = CreateFileW(W(path), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    DWORD put = 0;
    if (size)
        WriteFile(h, data, static_cast<DWORD>(size), &put, nullptr);
    CloseHandle(h);
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
    String path = dir + Widen(name);
    WriteText(path, script);
    return path;
}

} // namespace wm::e2e
