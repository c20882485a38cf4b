// What the batch shows while it works, on standard output: see ProgressDrawing for how it is
// drawn on a console and elsewhere.
#pragma once

#include "batch/ConsoleScreen.h"
#include "batch/ProgressDrawing.h"

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
    ConsoleScreen screen_;
    ProgressDrawing drawing_;
};

// Standard error, as UTF-16 on a console and UTF-8 elsewhere.
void WriteErrorLine(StringView text);

} // namespace wm
