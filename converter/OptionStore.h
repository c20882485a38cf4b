// The option store: names and values in the order met, filled by the tokeniser from the process
// command line or a command file. Names compare case-blind; the first match wins.
#pragma once

#include "text/String.h"

#include <cstddef>

namespace wm {

class OptionStore {
  public:
    // Empties the store, then tokenises text from 0-based position start.
    void Fill(StringView text, size_t start = 0);

    // True when the option is present, whatever its value; value is empty when absent.
    bool Find(StringView name, String* value = nullptr) const;
    // The value when present with a non-empty value, else empty.
    String Value(StringView name) const;
    bool Present(StringView name) const { return Find(name); }

    size_t Count() const { return names_.size(); }
    const String& NameAt(size_t i) const { return names_[i]; }
    const String& ValueAt(size_t i) const { return values_[i]; }

  private:
    StringList names_;
    StringList values_;
};

// Splits a Windows process command line: skips the program path, rewrites every argument that
// standard argument quoting wrapped whole ("-name=a b") into the tokeniser's form -name="a b",
// and an unquoted -name=- into -name="-" (standard input as shells pass it), and returns the
// text for the tokeniser.
String OptionTextOfCommandLine(StringView commandLine);

// The encoder's command line: every option the converter does not consume, as " -name" or
// " -name=\"value\"". dspCount is the number of DSP records made from dspeffect options.
String StripWavemillCmds(const OptionStore& store, size_t dspCount);

} // namespace wm
