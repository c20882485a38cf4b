// The encoder options and effects tried once before any file is touched: an option the encoder
// refuses then fails the batch once, with its reason, instead of once per file after a tree of
// empty folders was made.
#pragma once

#include "batch/Conversion.h"

#include <memory>

namespace wm {

// Converts a moment of CD-format silence from standard input with the batch's settings into the
// command folder (which must exist) and removes the output. It starts at once and runs while the
// batch plans (a converter's start under Wine is worth overlapping); Verdict waits for it.
class OptionTrial {
  public:
    OptionTrial(const ConversionSetup& setup, const String& extension);
    // Empty when it converted, else why not. Only once.
    String Verdict();

  private:
    ConversionSetup setup_;
    String output_;
    std::unique_ptr<Conversion> conversion_;
    uint64_t startMs_ = 0;
    bool started_ = false;
};

} // namespace wm
