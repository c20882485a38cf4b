// What a converter tells its parent: UTF-16LE lines on its standard output ("MSGTO: Vrx: "
// messages and information lines) and bare error lines on its standard error. The bytes arrive
// in pieces of any size from the pipes; this keeps the unfinished rest between pieces.
// Portable.
#pragma once

#include "text/String.h"

#include <cstddef>
#include <cstdint>

namespace wm {

// Splits a UTF-16LE byte stream into lines ended by "\r\n" (or "\n").
class Utf16LineSplitter {
  public:
    // Appends bytes; then take every whole line with NextLine.
    void Feed(const void* bytes, size_t size);
    bool NextLine(String& line);
    // The text left without a line end once the stream ended.
    String Rest();

  private:
    String text_;
    size_t start_ = 0;
    bool oddByte_ = false;
    uint8_t low_ = 0;
};

// A converter's state as its lines report it.
struct ConverterReport {
    int64_t lengthMs = -1; // "msLen"; -1 until reported
    int percent = 0;       // "PCDone"
    String action;         // the last "Action: " text
    StringList filesWritten;
    String firstError;      // the first error line, without its "  [context]" part
    StringList information; // the other standard-output lines, without their context
};

// Takes one standard-output line; false when it was no "MSGTO: Vrx: " message (a line of
// information, kept for the user).
bool TakeParentLine(StringView line, ConverterReport& report);
// Takes one standard-error line; the first non-empty one becomes the reason of a failure.
void TakeErrorLine(StringView line, ConverterReport& report);

} // namespace wm
