// How the batch's progress is drawn, whatever shows it. On a console: lines that stay (each
// file's end, whole, wrapped by the console) above a block redrawn in place (the whole batch,
// then one line per running conversion, each cut to the console's width). Elsewhere: plain
// lines, each file's end and the whole batch now and then. Portable: the console is seen only
// through ProgressScreen.
#pragma once

#include "batch/BatchProgress.h"
#include "text/String.h"

#include <cstdint>

namespace wm {

// Where the progress goes. A console's rows can be written again; a stream only grows.
class ProgressScreen {
  public:
    struct Cursor {
        size_t row = 0;
        size_t column = 0;
    };

    virtual ~ProgressScreen() = default;

    // Whether rows already written can be gone back to and written again; the calls below
    // Write are made only then.
    virtual bool Rewritable() const = 0;
    // Writes at the cursor. A console wraps a long text onto the rows below, "\r\n" starts the
    // next row, and writing at the bottom scrolls.
    virtual void Write(StringView text) = 0;
    // Cells in a row, as the console is now.
    virtual size_t Width() = 0;
    virtual Cursor Where() = 0;
    // Puts the cursor at the start of a row.
    virtual void MoveToRow(size_t row) = 0;
};

class ProgressDrawing {
  public:
    explicit ProgressDrawing(ProgressScreen& screen);

    // A line that stays.
    void Line(StringView text);
    // Redraws the live block on a console; elsewhere prints the overall line every so often.
    void Refresh(const BatchProgressState& state, uint64_t elapsedMs);
    // Removes the live block before the summary.
    void Close();

  private:
    void DrawBlock(const StringList& lines);
    void DrawRow(StringView fitted, size_t width);
    // Writes a text and ends its last row.
    void WriteRows(StringView text);

    ProgressScreen& screen_;
    size_t drawn_ = 0; // rows of the block on the screen now, the cursor just below them
    StringList block_;
    uint64_t lastPlainMs_ = 0;
};

} // namespace wm
