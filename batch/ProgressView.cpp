#include "batch/ProgressView.h"

#include "process/WinString.h"

#include <string>

namespace wm {

namespace {

// A plain progress line at most this often: enough for a log, few enough to read.
constexpr uint64_t kPlainEveryMs = 10000;

bool IsConsole(HANDLE h) {
    DWORD mode = 0;
    return ::GetConsoleMode(h, &mode) != 0;
}

void WriteTo(HANDLE h, bool console, StringView text) {
    if (console) {
        DWORD written = 0;
        ::WriteConsoleW(h, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
        return;
    }
    const std::string utf8 = Narrow(text);
    DWORD written = 0;
    ::WriteFile(h, utf8.data(), static_cast<DWORD>(utf8.size()), &written, nullptr);
}

} // namespace

void WriteErrorLine(StringView text) {
    HANDLE err = ::GetStdHandle(STD_ERROR_HANDLE);
    WriteTo(err, IsConsole(err), String(text) + u"\r\n");
}

ProgressView::ProgressView() : out_(::GetStdHandle(STD_OUTPUT_HANDLE)) {
    console_ = IsConsole(out_);
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (console_ && ::GetConsoleScreenBufferInfo(out_, &info) && info.dwSize.X > 1)
        width_ = info.dwSize.X;
}

void ProgressView::Write(StringView text) {
    WriteTo(out_, console_, text);
}

// Goes back to the top of the block drawn last and writes over it, each line filled to the
// width so nothing of the old one shows; a shorter block blanks what is left below it.
void ProgressView::DrawBlock(const StringList& lines) {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    ::GetConsoleScreenBufferInfo(out_, &info);
    const SHORT top = static_cast<SHORT>(info.dwCursorPosition.Y - static_cast<SHORT>(drawn_));
    ::SetConsoleCursorPosition(out_, {0, top < 0 ? SHORT(0) : top});
    const size_t columns = static_cast<size_t>(width_ - 1);
    size_t count = 0;
    for (; count < lines.size() || count < drawn_; ++count) {
        String line = count < lines.size() ? lines[count] : String();
        line.resize(columns, u' ');
        Write(line + u"\r\n");
    }
    ::GetConsoleScreenBufferInfo(out_, &info);
    const size_t blank = count - lines.size();
    ::SetConsoleCursorPosition(out_, {0, static_cast<SHORT>(info.dwCursorPosition.Y - blank)});
    drawn_ = lines.size();
}

void ProgressView::Line(StringView text) {
    if (!console_) {
        Write(String(text) + u"\r\n");
        return;
    }
    // A line that stays is written whole, wrapped by the console: the live block is blanked,
    // the line written where it began, and the block drawn again below it.
    DrawBlock({});
    Write(String(text) + u"\r\n");
    if (!block_.empty())
        DrawBlock(block_);
}

void ProgressView::Refresh(const BatchProgressState& state, uint64_t elapsedMs) {
    const String overall = OverallLine(state, ComputeProgress(state, elapsedMs));
    if (!console_) {
        if (elapsedMs - lastPlainMs_ >= kPlainEveryMs) {
            lastPlainMs_ = elapsedMs;
            Write(overall + u"\r\n");
        }
        return;
    }
    StringList block{overall};
    for (const String& line : RunningLines(state))
        block.push_back(line);
    if (block == block_ && drawn_ == block_.size())
        return; // a slow terminal is spared the same text
    block_ = std::move(block);
    DrawBlock(block_);
}

void ProgressView::Close() {
    if (console_ && drawn_ > 0) {
        block_.clear();
        DrawBlock({});
    }
}

} // namespace wm
