// Replacing a file through a temporary beside it, so that a failure leaves the original intact.
// Shared by the host's safe rewrite and the bundled plug-ins' tag rewrite. Windows only.
#pragma once

#include "files/PathText.h"
#include "text/String.h"

#include <cstdint>

namespace wm {

inline constexpr int kRewriteNames = 100;

uint32_t CurrentProcessId();

// Tries the safe-rewrite names of target (RewriteTempName, n = 0..99) with create(name), which
// must open the file only when it does not exist yet; returns the first name that opened, or
// empty when none did.
template <class Create> String CreateRewriteTemp(StringView target, Create create) {
    const uint32_t pid = CurrentProcessId();
    for (int n = 0; n < kRewriteNames; ++n) {
        String name = RewriteTempName(target, pid, n);
        if (create(name))
            return name;
    }
    return {};
}

// Moves the temporary over the target, replacing it: up to 10 tries 50 ms apart, for a target
// that a virus scanner or indexer holds for a moment. Leaves the last error of the last try.
bool MoveRewriteOver(StringView temp, StringView target);

} // namespace wm
