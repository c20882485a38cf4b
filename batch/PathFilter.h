// Which files of the selected folders take part: -include and -exclude patterns (";"-separated,
// "*" any run of characters, "?" one, case-blind) matched against the path below the selected
// folder ("Podcasts\x.mp3"); a pattern starting "*\" also matches at the top. Portable.
#pragma once

#include "text/String.h"

namespace wm {

// True when the text matches the pattern as a whole. "\" and "/" are one separator.
bool WildcardMatch(StringView pattern, StringView text);

// True when any of the ";"-separated patterns matches the path.
bool MatchesAny(StringView patterns, StringView path);

class PathFilter {
  public:
    PathFilter(StringView include, StringView exclude) : include_(include), exclude_(exclude) {}

    // Included (every file when no -include was given) and not excluded.
    bool Keeps(StringView below) const;

  private:
    String include_, exclude_;
};

} // namespace wm
