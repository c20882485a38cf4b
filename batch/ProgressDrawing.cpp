#include "batch/ProgressDrawing.h"

#include <algorithm>
#include <utility>

namespace wm {

namespace {

// A plain progress line at most this often: enough for a log, few enough to read.
constexpr uint64_t kPlainEveryMs = 10000;

// Characters that a terminal shows in two columns (East Asian wide and full-width, emoji).
// Wine's console keeps each in one cell of its buffer but its terminal shows two, and newer
// Windows consoles give them two cells: a block line is measured as shown, so it never runs
// past the right edge.
bool IsWide(char32_t c) {
    return (c >= 0x1100 && c <= 0x115F) || (c >= 0x2E80 && c <= 0xA4CF) ||
           (c >= 0xAC00 && c <= 0xD7A3) || (c >= 0xF900 && c <= 0xFAFF) ||
           (c >= 0xFE30 && c <= 0xFE4F) || (c >= 0xFF00 && c <= 0xFF60) ||
           (c >= 0xFFE0 && c <= 0xFFE6) || (c >= 0x1F300 && c <= 0x1F64F) ||
           (c >= 0x1F900 && c <= 0x1F9FF) || (c >= 0x20000 && c <= 0x3FFFD);
}

// The character at `at` and how many UTF-16 units it takes.
std::pair<char32_t, size_t> CharacterAt(StringView text, size_t at) {
    const char16_t first = text[at];
    const bool pair = first >= 0xD800 && first <= 0xDBFF && at + 1 < text.size() &&
                      text[at + 1] >= 0xDC00 && text[at + 1] <= 0xDFFF;
    if (!pair)
        return {first, 1};
    return {0x10000 + ((char32_t(first) - 0xD800) << 10) + (text[at + 1] - 0xDC00), 2};
}

// A line cut to fit `columns` both in the console's cells (one a UTF-16 unit) and in the
// columns shown, never through a character, then filled with spaces to that many.
String FitToColumns(StringView line, size_t columns) {
    String fitted;
    size_t used = 0;
    for (size_t at = 0; at < line.size();) {
        const auto [c, units] = CharacterAt(line, at);
        const size_t cost = std::max<size_t>(units, IsWide(c) ? 2 : 1);
        if (used + cost > columns)
            break;
        fitted += line.substr(at, units);
        used += cost;
        at += units;
    }
    fitted.append(columns - used, u' ');
    return fitted;
}

} // namespace

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
        DrawRow(FitToColumns(i < lines.size() ? StringView(lines[i]) : StringView(), width), width);
    if (rows > lines.size())
        screen_.MoveToRow(screen_.Where().row - (rows - lines.size()));
    drawn_ = lines.size();
}

// A row with wide characters has fewer units than the console has cells, so the cells at its
// end would keep what was there: they are blanked first, in spaces that fill the row.
void ProgressDrawing::DrawRow(StringView fitted, size_t width) {
    if (fitted.size() < width) {
        WriteRows(String(width, u' '));
        screen_.MoveToRow(screen_.Where().row - 1);
    }
    WriteRows(fitted);
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
