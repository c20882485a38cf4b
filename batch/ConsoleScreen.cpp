#include "batch/ConsoleScreen.h"

#include <string>

namespace wm {

namespace {

// Used while the console cannot be asked.
constexpr size_t kFallbackWidth = 80;

bool IsConsole(HANDLE h) {
    DWORD mode = 0;
    return ::GetConsoleMode(h, &mode) != 0;
}

} // namespace

ConsoleScreen::ConsoleScreen(HANDLE out) : out_(out), console_(IsConsole(out)) {}

void ConsoleScreen::Write(StringView text) {
    DWORD written = 0;
    if (console_) {
        ::WriteConsoleW(out_, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
        return;
    }
    const std::string utf8 = Narrow(text);
    ::WriteFile(out_, utf8.data(), static_cast<DWORD>(utf8.size()), &written, nullptr);
}

// Asked at each draw: a resized console draws at its new width.
size_t ConsoleScreen::Width() {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (!::GetConsoleScreenBufferInfo(out_, &info) || info.dwSize.X < 2)
        return kFallbackWidth;
    return static_cast<size_t>(info.dwSize.X);
}

ProgressScreen::Cursor ConsoleScreen::Where() {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (!::GetConsoleScreenBufferInfo(out_, &info))
        return {};
    return {static_cast<size_t>(info.dwCursorPosition.Y),
            static_cast<size_t>(info.dwCursorPosition.X)};
}

void ConsoleScreen::MoveToRow(size_t row) {
    ::SetConsoleCursorPosition(out_, {0, static_cast<SHORT>(row)});
}

} // namespace wm
