// What the batch shows while it works. On a console: lines that stay (each file's end, whole)
// above a block that is redrawn in place (the whole batch, then one line per running
// conversion, each cut to the console's width).
// Otherwise plain UTF-8 lines: each file's end, and the whole batch now and then.
#pragma once

#include "batch/BatchProgress.h"
#include "text/String.h"

#include <windows.h>

#include <cstdint>

namespace wm {

class ProgressView {
  public:
    ProgressView();

    // A line that stays.
    void Line(StringView text);
    // Redraws the live block on a console; elsewhere prints the overall line every so often.
    void Refresh(const BatchProgressState& state, uint64_t elapsedMs);
    // Removes the live block before the summary.
    void Close();

  private:
    void Write(StringView text);
    void DrawBlock(const StringList& lines);

    HANDLE out_;
    bool console_ = false;
    short width_ = 80;
    size_t drawn_ = 0;
    StringList block_;
    uint64_t lastPlainMs_ = 0;
};

// Standard error, as UTF-16 on a console and UTF-8 elsewhere.
void WriteErrorLine(StringView text);

} // namespace wm
