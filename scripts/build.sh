#!/bin/bash
# Configures and builds the Windows tree and, with "host", the native portable core. The Windows
# build leaves the staged test tree in build/windows/stage and installs the stripped program
# tree into dist/.
set -euo pipefail
cd "$(dirname "$0")/.."
for preset in "${@:-windows}"; do
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset"
    if [ "$preset" = windows ]; then
        # Installed whole each time, so that nothing an earlier build left there ships.
        rm -rf dist
        cmake --install build/windows --strip >/dev/null
    fi
done
