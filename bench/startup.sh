#!/bin/bash
# Start-up under Wine with the server warm: an empty Windows program, a trivial failing run of
# Wavemill.exe (an option missing: it ends after reading its options, before any plug-in), and
# the same run of the program built without the crash handler, interleaved run by run; median of
# each. ("-help" is no measure of start-up: it loads every plug-in to list them.)
# Called by run.sh; runs alone as well. Details go to bench/out/startup.log.
set -euo pipefail
# UTF-8 for Wine's command lines; decimal points in $EPOCHREALTIME and printf.
export LC_ALL=C.UTF-8

root=$(cd "$(dirname "$0")/.." && pwd)
bench=$root/bench
out=$bench/out
runs=${STARTUP_RUNS:-20}
limit=60
mkdir -p "$out"
log=$out/startup.log
: >"$log"
. "$(dirname "$0")/common.sh"

quietly "$root/scripts/install-deps.sh"
(cd "$root" && quietly cmake --preset windows &&
    quietly cmake --build --preset windows --target Wavemill WavemillWithoutCrashHandler)
bare=$root/build/windows/converter/WavemillWithoutCrashHandler.exe
if [ ! "$out/empty.exe" -nt "$bench/empty.c" ]; then
    quietly x86_64-w64-mingw32-gcc-posix -O2 -Wall -Wextra -Werror -static \
        -DUNICODE -D_WIN32_WINNT=0x0601 -o "$out/empty.exe" "$bench/empty.c"
fi

. "$root/tests/wine_env.sh"
use_wine_prefix "$out/wineprefix"
quietly "$root/tests/wine_prefix.sh" up "$WINEPREFIX"
trap 'wineserver -k >/dev/null 2>&1 || true' EXIT

# seconds COMMAND...: prints the wall time of one run. The failing run ends with status 1.
seconds() {
    local start=$EPOCHREALTIME status=0
    timeout "$limit" wine "$@" >/dev/null 2>>"$log" || status=$?
    [ "$status" -le 1 ] || die "$* ended with status $status"
    awk -v s="$start" -v e="$EPOCHREALTIME" 'BEGIN { printf "%.4f\n", e - s }'
}
failing=(-silent -infile=none.wav -outfile=none.wav)
empty_t="" fail_t="" bare_t=""
for ((r = 1; r <= runs; r++)); do
    empty_t+=$(seconds "$out/empty.exe")$'\n'
    fail_t+=$(seconds "$root/dist/Wavemill.exe" "${failing[@]}")$'\n'
    bare_t+=$(seconds "$bare" "${failing[@]}")$'\n'
done
e=$(grep . <<<"$empty_t" | median)
h=$(grep . <<<"$fail_t" | median)
b=$(grep . <<<"$bare_t" | median)
over() { awk -v a="$1" -v b="$e" 'BEGIN { printf "%+.0f", (a - b) * 1000 }'; }
ratio() { awk -v a="$1" -v b="$e" 'BEGIN { printf "%.2f", a / (b > 0 ? b : 1) }'; }
echo
echo "== Start-up under Wine (warm server), median of $runs runs =="
printf '%-36s %9.3f s\n' "empty.exe" "$e"
printf '%-36s %9.3f s  (%s ms over empty.exe, x%s)\n' "Wavemill.exe, a failing run" "$h" "$(over "$h")" "$(ratio "$h")"
printf '%-36s %9.3f s  (%s ms over empty.exe)\n' "  the same without the crash handler" "$b" "$(over "$b")"
