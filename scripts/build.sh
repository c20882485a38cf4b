#!/bin/bash
# Configures and builds the Windows tree (dist/) and, with "host", the native portable core.
set -euo pipefail
cd "$(dirname "$0")/.."
for preset in "${@:-windows}"; do
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset"
done
