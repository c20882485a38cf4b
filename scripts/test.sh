#!/bin/bash
# The whole test suite: installs what is missing, builds both trees, runs every test.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/build.sh windows host
status=0
ctest --preset host || status=1
ctest --preset windows || status=1
exit $status
