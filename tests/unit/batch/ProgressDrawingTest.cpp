// What a user sees of the batch's progress: a console buffer modelled cell by cell, drawn on by
// sequences of Line / Refresh / Close, and the plain lines of a redirected output.
#include "batch/ProgressDrawing.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

using namespace wm;

namespace {

// A console buffer as the console keeps it: one UTF-16 unit a cell, rows of `width` cells. A
// write that fills a row's last cell moves the cursor to the next row, "\r" goes to the row's
// start, "\n" to the next row's start, and a move below the last row scrolls the buffer up
// (the top row is kept in the history, as the user scrolls back to it).
class FakeConsole final : public ProgressScreen {
  public:
    FakeConsole(size_t width, size_t height) : width_(width), rows_(height, Blank()) {}

    bool Rewritable() const override { return true; }
    void Write(StringView text) override {
        for (char16_t c : text)
            Put(c);
    }
    size_t Width() override { return width_; }
    Cursor Where() override { return cursor_; }
    void MoveToRow(size_t row) override {
        if (row >= rows_.size())
            throw std::out_of_range("cursor moved outside the buffer");
        cursor_ = {row, 0};
    }

    // Every row from the first one scrolled off, without the spaces at their ends, down to the
    // last row that shows anything.
    StringList Seen() const {
        StringList seen;
        for (const StringList* part : {&history_, &rows_})
            for (const String& row : *part)
                seen.push_back(row.substr(0, row.find_last_not_of(u' ') + 1));
        while (!seen.empty() && seen.back().empty())
            seen.pop_back();
        return seen;
    }
    // A buffer made narrower or wider keeps what fits of each row.
    void Resize(size_t width) {
        width_ = width;
        for (StringList* part : {&history_, &rows_})
            for (String& row : *part)
                row.resize(width, u' ');
        cursor_.column = std::min(cursor_.column, width - 1);
    }
    // The row the cursor is on, counted from the first one scrolled off.
    size_t CursorLine() const { return history_.size() + cursor_.row; }

  private:
    String Blank() const { return String(width_, u' '); }
    void Put(char16_t c) {
        if (c == u'\r') {
            cursor_.column = 0;
        } else if (c == u'\n') {
            NextRow();
        } else {
            rows_[cursor_.row][cursor_.column] = c;
            if (++cursor_.column == width_)
                NextRow();
        }
    }
    void NextRow() {
        cursor_.column = 0;
        if (cursor_.row + 1 < rows_.size()) {
            ++cursor_.row;
            return;
        }
        history_.push_back(rows_.front());
        rows_.erase(rows_.begin());
        rows_.push_back(Blank());
    }

    size_t width_;
    StringList rows_;
    StringList history_;
    Cursor cursor_;
};

// A file or a pipe: it only grows, and has no rows to go back to.
class FakeStream final : public ProgressScreen {
  public:
    bool Rewritable() const override { return false; }
    void Write(StringView text) override { text_ += text; }
    size_t Width() override { throw std::logic_error("a stream has no width"); }
    Cursor Where() override { throw std::logic_error("a stream has no cursor"); }
    void MoveToRow(size_t) override { throw std::logic_error("a stream cannot go back"); }

    const String& Text() const { return text_; }

  private:
    String text_;
};

// A long text as the console wraps it: rows of `width` cells.
StringList Wrapped(StringView text, size_t width) {
    StringList rows;
    for (size_t at = 0; at < text.size(); at += width)
        rows.push_back(String(text.substr(at, width)));
    return rows;
}

StringList operator+(StringList a, const StringList& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

BatchProgressState Running(size_t filesDone, const StringList& names) {
    BatchProgressState state;
    state.filesTotal = 9;
    state.filesDone = filesDone;
    state.bytesTotal = 9000000;
    state.bytesFinished = filesDone * 1000000;
    for (size_t i = 0; i < names.size(); ++i) {
        RunningShare share;
        share.sourceBytes = 1000000;
        share.percent = static_cast<int>(10 * (i + 1));
        share.name = names[i];
        state.running.push_back(share);
    }
    return state;
}

// The live block as a console of `width` cells shows it: each line cut to the width.
StringList Block(const BatchProgressState& state, uint64_t elapsedMs, size_t width) {
    StringList block;
    for (const String& line :
         StringList{OverallLine(state, ComputeProgress(state, elapsedMs))} + RunningLines(state)) {
        String row = line.substr(0, width);
        block.push_back(row.substr(0, row.find_last_not_of(u' ') + 1));
    }
    return block;
}

const String kFailure = u"FAILED Z:\\Música\\Ünïcødé 日本語\\01 Très long titre.flac: the decoder "
                        u"stopped at 0:42, the frame after it is damaged";

} // namespace

TEST(ProgressDrawing, LinesThatStayAreWholeAboveALiveBlockOfEveryRunningJob) {
    constexpr size_t kWidth = 24;
    FakeConsole console(kWidth, 40);
    ProgressDrawing drawing(console);

    const BatchProgressState first = Running(0, {u"Ünïcødé – Ελληνικά.flac", u"b.wav"});
    drawing.Refresh(first, 1000);
    EXPECT_EQ(console.Seen(), Block(first, 1000, kWidth));
    for (size_t i = 0; i < first.running.size(); ++i)
        EXPECT_NE(console.Seen()[1 + i].find(first.running[i].name.substr(0, 5)), String::npos);

    drawing.Line(kFailure);
    const BatchProgressState second = Running(1, {u"b.wav"});
    drawing.Refresh(second, 2000);
    drawing.Line(u"copied c.jpg -> d.jpg");
    const StringList lines = Wrapped(kFailure, kWidth) + StringList{u"copied c.jpg -> d.jpg"};
    EXPECT_EQ(console.Seen(), lines + Block(second, 2000, kWidth));

    // The block is drawn again after every line that stays, and never over one.
    drawing.Refresh(Running(1, {u"b.wav", u"e.flac"}), 3000);
    EXPECT_EQ(console.Seen(), lines + Block(Running(1, {u"b.wav", u"e.flac"}), 3000, kWidth));

    // The summary goes where the block was, on a clean screen.
    drawing.Close();
    EXPECT_EQ(console.Seen(), lines);
    EXPECT_EQ(console.CursorLine(), lines.size());
}

TEST(ProgressDrawing, AShorterBlockLeavesNothingOfTheLongerOne) {
    constexpr size_t kWidth = 40;
    FakeConsole console(kWidth, 20);
    ProgressDrawing drawing(console);

    const BatchProgressState three = Running(
        0, {u"a rather long file name of a track.flac", u"second long name.flac", u"x.wav"});
    drawing.Refresh(three, 500);
    ASSERT_EQ(console.Seen(), Block(three, 500, kWidth));

    const BatchProgressState one = Running(2, {u"z.ogg"});
    drawing.Refresh(one, 800);
    EXPECT_EQ(console.Seen(), Block(one, 800, kWidth));

    // A line that stays where the short block was, then the long block again below it.
    drawing.Line(u"done");
    drawing.Refresh(three, 900);
    EXPECT_EQ(console.Seen(), StringList{u"done"} + Block(three, 900, kWidth));
    drawing.Close();
    EXPECT_EQ(console.Seen(), StringList{u"done"});
}

TEST(ProgressDrawing, AResizedConsoleGetsTheBlockAtItsNewWidth) {
    FakeConsole console(40, 20);
    ProgressDrawing drawing(console);
    const BatchProgressState before = Running(0, {u"a rather long file name of a track.flac"});
    const BatchProgressState after = Running(1, {u"a rather long file name of a track.flac"});

    drawing.Refresh(before, 0);
    console.Resize(20);
    drawing.Refresh(after, 1000);
    EXPECT_EQ(console.Seen(), Block(after, 1000, 20));
    console.Resize(60);
    drawing.Line(u"done");
    EXPECT_EQ(console.Seen(), StringList{u"done"} + Block(after, 1000, 60));
}

TEST(ProgressDrawing, ALineFillingWholeRowsIsFollowedByNoEmptyRow) {
    constexpr size_t kWidth = 10;
    FakeConsole console(kWidth, 20);
    ProgressDrawing drawing(console);
    const BatchProgressState state = Running(0, {u"a.wav"});

    drawing.Refresh(state, 0);
    drawing.Line(u"0123456789abcdefghij");
    drawing.Line(u"");
    drawing.Line(u"next");
    EXPECT_EQ(console.Seen(),
              (StringList{u"0123456789", u"abcdefghij", u"", u"next"} + Block(state, 0, kWidth)));
}

TEST(ProgressDrawing, ALineCutToTheWidthKeepsCharactersWhole) {
    constexpr size_t kWidth = 16;
    FakeConsole console(kWidth, 10);
    ProgressDrawing drawing(console);
    // "  10%  " then 8 letters: the note's first half would fall in the last cell.
    const BatchProgressState state = Running(0, {u"abcdefgh\U0001F3B5 song.flac"});

    drawing.Refresh(state, 0);
    EXPECT_EQ(console.Seen()[1], u"  10%  abcdefgh");
    drawing.Line(u"\U0001F3B5 Ünïcødé");
    EXPECT_EQ(console.Seen(),
              (StringList{u"\U0001F3B5 Ünïcødé", Block(state, 0, kWidth)[0], u"  10%  abcdefgh"}));
}

TEST(ProgressDrawing, WideCharactersAreCutAsShownAndLeaveNothingOfTheOldRow) {
    constexpr size_t kWidth = 20;
    FakeConsole console(kWidth, 10);
    ProgressDrawing drawing(console);

    drawing.Refresh(Running(0, {u"an ascii name that fills the row.wav"}), 0);
    ASSERT_EQ(console.Seen()[1], u"  10%  an ascii name");
    // Seven columns, then six characters of two: a seventh would pass the edge as shown.
    const BatchProgressState wide = Running(0, {u"日本語の長い曲名.wav"});
    drawing.Refresh(wide, 0);
    EXPECT_EQ(console.Seen(), (StringList{Block(wide, 0, kWidth)[0], u"  10%  日本語の長い"}));
}

TEST(ProgressDrawing, AtTheBottomTheConsoleScrollsAndNoLineIsOverwritten) {
    constexpr size_t kWidth = 16;
    FakeConsole console(kWidth, 5);
    ProgressDrawing drawing(console);
    const BatchProgressState state = Running(3, {u"one.flac", u"two.flac"});

    StringList lines;
    drawing.Refresh(state, 0);
    for (int i = 0; i < 6; ++i) {
        const String line =
            i % 2 ? u"short " + String(1, u'a' + i)
                  : u"a line long enough to wrap twice on this console " + String(1, u'a' + i);
        drawing.Line(line);
        drawing.Refresh(Running(3, {u"one.flac", i % 3 ? u"two.flac" : u"three.flac"}), 100);
        drawing.Refresh(state, 200);
        lines = lines + Wrapped(line, kWidth);
        ASSERT_EQ(console.Seen(), lines + Block(state, 200, kWidth)) << "after line " << i;
    }
    drawing.Close();
    EXPECT_EQ(console.Seen(), lines);
}

TEST(ProgressDrawing, ARedirectedOutputGetsWholeLinesAndTheBatchEveryTenSeconds) {
    FakeStream stream;
    ProgressDrawing drawing(stream);
    const BatchProgressState state = Running(1, {u"a.flac"});
    const String overall = OverallLine(state, ComputeProgress(state, 10000));

    drawing.Line(kFailure);
    drawing.Refresh(state, 0);
    drawing.Refresh(state, 9999);
    drawing.Refresh(state, 10000);
    drawing.Refresh(state, 15000);
    drawing.Line(u"Ünïcødé \U0001F3B5");
    drawing.Close();
    EXPECT_EQ(stream.Text(), kFailure + u"\r\n" + overall + u"\r\n" + u"Ünïcødé \U0001F3B5\r\n");
}
