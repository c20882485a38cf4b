// The converter's command-line text rules: the process command line made ready for the
// tokeniser, and the encoder's command line made of the options the converter does not consume.
#pragma once

#include "options/OptionStore.h"
#include "text/String.h"

#include <cstddef>

namespace wm {

// Splits a Windows process command line: skips the program path, rewrites every argument that
// standard argument quoting wrapped whole ("-name=a b") into the tokeniser's form -name="a b",
// and an unquoted -name=- into -name="-" (standard input as shells pass it), and returns the
// text for the tokeniser.
String OptionTextOfCommandLine(StringView commandLine);

// The encoder's command line: every option the converter does not consume, as " -name" or
// " -name=\"value\"". dspCount is the number of DSP records made from dspeffect options.
String StripWavemillCmds(const OptionStore& store, size_t dspCount);

} // namespace wm
