// Where the encoder writes: the output name, or a temporary name beside an existing output so
// that the user's file survives until the new one is complete, and the final move.
#pragma once

#include "process/EventHandle.h"
#include "text/String.h"

namespace wm {

class OutputSink {
  public:
    // Makes the output's folder and picks the temporary name. False when the output's
    // extension is ".IGNORE" (any case): nothing is made and no tags are written.
    bool Prepare(const String& outputFile);

    const String& OutputFile() const { return output_; }
    const String& FileToWrite() const { return temporary_.empty() ? output_ : temporary_; }
    bool UsesTemporary() const { return !temporary_.empty(); }

    // Moves a complete temporary file onto the output unless keepOld (the run failed or was
    // stopped); the temporary file is gone afterwards in every case. *moved tells whether the
    // output is now the new file. False only when the move itself failed; quit cuts its retries.
    bool Commit(bool keepOld, const EventHandle& quit, bool* moved);

    // "File Size Check <label>: <n> bytes   Filename: <path>" in the debug log, unless the name
    // holds ".iGnore" (exact case).
    static void SizeCheck(StringView label, const String& path);

  private:
    String output_, temporary_;
};

// "C:\a\b.mp3" -> "C:\a\b.mp3.tmp.mp3", the base cut so the whole stays a valid length.
String TemporaryOutputName(const String& outputFile);

} // namespace wm
