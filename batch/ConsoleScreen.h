// A standard handle as the batch's progress screen: a console's buffer, written as UTF-16 and
// rewritten in place, or anything else (a file, a pipe, NUL) written as UTF-8.
#pragma once

#include "batch/ProgressDrawing.h"

#include <windows.h>

namespace wm {

class ConsoleScreen final : public ProgressScreen {
  public:
    explicit ConsoleScreen(HANDLE out);

    bool Rewritable() const override { return console_; }
    void Write(StringView text) override;
    size_t Width() override;
    Cursor Where() override;
    void MoveToRow(size_t row) override;

  private:
    HANDLE out_;
    bool console_ = false;
};

} // namespace wm
