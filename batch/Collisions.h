// Outputs that would land on one name: two sources giving one output (names compared as Windows
// compares them), or an output that would replace a source other than its own. Each is settled
// by the user's policy instead of refusing the batch. Portable.
#pragma once

#include "text/String.h"

#include <vector>

namespace wm {

enum class CollidePolicy {
    kSuffix, // the later source's output gets a name of its own
    kSkip,   // the later source is not converted
};

// "suffix" or "skip", case-blind.
bool ParseCollidePolicy(StringView text, CollidePolicy& out);

struct OutputClaim {
    String source; // full path
    String output; // full path; renamed by the suffix policy
    String disc;   // the source's disc number when its tags were read, else empty
    String note;   // what was done about a collision, for the user; empty when none
    bool skipped = false;
};

// Sources are taken in path order and the first keeps the name, so a rerun names alike. A later
// one is named " (disc 2)" when the discs differ, " (wav)" when the source types differ, else
// " (2)", " (3)"... before the extension. `sources`: every source of the batch; a claim's output
// may not be one of them (the caller drops an output that is its own source).
void SettleCollisions(std::vector<OutputClaim>& claims, const StringList& sources,
                      CollidePolicy policy);

} // namespace wm
