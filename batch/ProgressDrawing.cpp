#include "batch/ProgressDrawing.h"

#include <algorithm>

namespace wm {

namespace {

// A plain progress line at most this often: enough for a log, few enough to read.
constexpr uint64_t kPlainEveryMs = 10000;

bool IsHighSurrogate(char16_t c) {
    return c >= 0xD800 && c <= 0xDBFF;
}

} // namespace

String FitToColumns(StringView line, size_t columns) {
    size_t keep = std::min(line.size(), columns);
    if (keep < line.size() && keep > 0 && IsHighSurrogate(line[keep - 1]))
        --keep; // half a character would show as garbage
    String fitted(line.substr(0, keep));
    fitted.resize(columns, u' ');
    return fitted;
}

ProgressDrawing::ProgressDrawing(ProgressScreen& screen) : screen_(screen) {}

// Goes back to the top of the block drawn last and writes over it, each line filled to the
// width so nothing of the old one shows; a shorter block blanks what is left below it. The
// width is asked each time: a resized console keeps the old rows' ends.
void ProgressDrawing::DrawBlock(const StringList& lines) {
    const size_t width = screen_.Width();
    const size_t row = screen_.Where().row;
    screen_.MoveToRow(row >= drawn_ ? row - drawn_ : 0);
    const size_t rows = std::max(lines.size(), drawn_);
    for (size_t i = 0; i < rows; ++i)
        WriteRows(FitToColumns(i < lines.size() ? StringView(lines[i]) : StringView(), width));
    if (rows > lines.size())
        screen_.MoveToRow(screen_.Where().row - (rows - lines.size()));
    drawn_ = lines.size();
}

// A console moves to the next row by itself once a text fills the last cell of a row; a line
// end after that would leave an empty row.
void ProgressDrawing::WriteRows(StringView text) {
    screen_.Write(text);
    if (text.empty() || screen_.Where().column != 0)
        screen_.Write(u"\r\n");
}

void ProgressDrawing::Line(StringView text) {
    if (!screen_.Rewritable()) {
        screen_.Write(String(text) + u"\r\n");
        return;
    }
    // A line that stays is written whole, wrapped by the console: the live block is blanked,
    // the line written where it began, and the block drawn again below it.
    DrawBlock({});
    WriteRows(text);
    if (!block_.empty())
        DrawBlock(block_);
}

void ProgressDrawing::Refresh(const BatchProgressState& state, uint64_t elapsedMs) {
    const String overall = OverallLine(state, ComputeProgress(state, elapsedMs));
    if (!screen_.Rewritable()) {
        if (elapsedMs - lastPlainMs_ >= kPlainEveryMs) {
            lastPlainMs_ = elapsedMs;
            screen_.Write(overall + u"\r\n");
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

void ProgressDrawing::Close() {
    if (screen_.Rewritable() && drawn_ > 0) {
        block_.clear();
        DrawBlock({});
    }
}

} // namespace wm
