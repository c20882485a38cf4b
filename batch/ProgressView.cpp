#include "batch/ProgressView.h"

namespace wm {

void WriteErrorLine(StringView text) {
    ConsoleScreen(::GetStdHandle(STD_ERROR_HANDLE)).Write(String(text) + u"\r\n");
}

ProgressView::ProgressView() : screen_(::GetStdHandle(STD_OUTPUT_HANDLE)), drawing_(screen_) {}

void ProgressView::Line(StringView text) {
    drawing_.Line(text);
}

void ProgressView::Refresh(const BatchProgressState& state, uint64_t elapsedMs) {
    drawing_.Refresh(state, elapsedMs);
}

void ProgressView::Close() {
    drawing_.Close();
}

} // namespace wm
