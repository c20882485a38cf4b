#include "converter/Console.h"

#include "process/WinString.h"

namespace wm {

bool Console::IsRealConsole(HANDLE h) {
    // A character device is a console only when it has a console mode (NUL has none).
    DWORD mode = 0;
    return h && h != INVALID_HANDLE_VALUE && GetFileType(h) == FILE_TYPE_CHAR &&
           GetConsoleMode(h, &mode);
}

bool Console::Init() {
    stdOut_ = GetStdHandle(STD_OUTPUT_HANDLE);
    stdErr_ = GetStdHandle(STD_ERROR_HANDLE);
    if (stdOut_ == INVALID_HANDLE_VALUE)
        return false;
    outIsConsole_ = IsRealConsole(stdOut_);
    errIsConsole_ = IsRealConsole(stdErr_);
    SECURITY_ATTRIBUTES sa{sizeof(sa), nullptr, TRUE};
    HANDLE r = nullptr, w = nullptr;
    if (CreatePipe(&r, &w, &sa, 0)) {
        errorRead_.reset(r);
        errorWrite_.reset(w);
    }
    if (CreatePipe(&r, &w, &sa, 0)) {
        infoRead_.reset(r);
        infoWrite_.reset(w);
    }
    return true;
}

void Console::WriteBytes(HANDLE h, const void* data, size_t size) {
    if (!h || h == INVALID_HANDLE_VALUE || size == 0)
        return;
    DWORD written = 0;
    WriteFile(h, data, static_cast<DWORD>(size), &written, nullptr);
}

void Console::WriteTo(HANDLE h, bool console, StringView text, bool lineEnd) {
    if (console) {
        DWORD written = 0;
        if (!text.empty())
            WriteConsoleW(h, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
        if (lineEnd)
            WriteConsoleW(h, L"\r\n", 2, &written, nullptr);
        return;
    }
    if (!lineEnd) {
        WriteBytes(h, text.data(), text.size() * sizeof(char16_t));
        return;
    }
    // One write per line keeps lines whole when a parent reads a pipe.
    String line(text);
    line += u"\r\n";
    WriteBytes(h, line.data(), line.size() * sizeof(char16_t));
}

void Console::Write(StringView text, bool lineEnd) {
    WriteTo(stdOut_, outIsConsole_, text, lineEnd);
}

void Console::SetErrorSink(UniqueHandle file) {
    errorFile_ = std::move(file);
    stdErr_ = errorFile_.get();
    errIsConsole_ = false;
}

bool Console::ReadWaiting(HANDLE pipe, std::vector<char>& into) {
    into.clear();
    if (!pipe)
        return false;
    for (;;) {
        DWORD waiting = 0;
        if (!PeekNamedPipe(pipe, nullptr, 0, nullptr, &waiting, nullptr) || waiting == 0)
            break;
        size_t at = into.size();
        into.resize(at + waiting);
        DWORD got = 0;
        if (!ReadFile(pipe, into.data() + at, waiting, &got, nullptr)) {
            into.resize(at);
            break;
        }
        into.resize(at + got);
    }
    return !into.empty();
}

bool Console::Drain(bool parentMode, bool silent, RunStatus& status) {
    bool found = false;
    if (ReadWaiting(infoRead_.get(), scratch_)) {
        found = true;
        if (parentMode) {
            WriteBytes(stdOut_, scratch_.data(), scratch_.size());
        } else if (!silent) {
            Write(u"", true);
            StringView text(reinterpret_cast<const char16_t*>(scratch_.data()),
                            scratch_.size() / sizeof(char16_t));
            // Lines arrive with their own line ends; an empty line closes the group too.
            WriteTo(stdOut_, outIsConsole_, text, true);
        }
    }
    if (ReadWaiting(errorRead_.get(), scratch_)) {
        found = true;
        status.FailSaid();
        if (parentMode || !errIsConsole_) {
            WriteBytes(stdErr_, scratch_.data(), scratch_.size());
        } else {
            StringView text(reinterpret_cast<const char16_t*>(scratch_.data()),
                            scratch_.size() / sizeof(char16_t));
            WriteTo(stdErr_, true, text, false);
        }
    }
    return found;
}

} // namespace wm
