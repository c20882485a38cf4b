#!/bin/bash
# What measuring loudness while converting costs: a 10-minute CD-quality file to FLAC -5 and to
# MP3 -V 2 with and without -replaygain, median of interleaved runs (5 by default, RUNS=n), Wine's
# start-up included. Prints the table; details go to bench/out/replaygain.log.
set -euo pipefail
export LC_ALL=C.UTF-8 # Wine builds the command line through the locale

root=$(cd "$(dirname "$0")/.." && pwd)
out=$root/bench/out
runs=${RUNS:-5}
stage=${STAGE:-$root/dist}
mkdir -p "$out"
log=$out/replaygain.log
: >"$log"
. "$(dirname "$0")/common.sh"

[ -f "$stage/Wavemill.exe" ] || die "no Wavemill.exe in $stage (build and install first, or STAGE=<folder>)"
. "$root/tests/wine_env.sh"
use_wine_prefix "$out/wineprefix"
quietly "$root/tests/wine_prefix.sh" up "$WINEPREFIX"
trap 'wineserver -k >/dev/null 2>&1 || true; rm -f "$out"/rg.*' EXIT
cd "$out"
[ -f cd600.wav ] && [ "$(soxi -s cd600.wav)" = $((44100 * 600)) ] ||
    quietly sox -R -n -r 44100 -b 16 -c 2 cd600.wav synth 600 sine 440 pinknoise gain -6

seconds() { # seconds <command...>: wall time of one run, failing loudly
    local start end
    start=$(date +%s.%N)
    "$@" >>"$log" 2>&1 </dev/null || die "failed: $*"
    end=$(date +%s.%N)
    awk -v a="$start" -v b="$end" 'BEGIN { printf "%.3f\n", b - a }'
}
wm="wine $stage/Wavemill.exe -silent -infile=cd600.wav"
printf '%-14s %10s %14s %9s\n' conversion plain "-replaygain" overhead
for row in "FLAC -5|-outfile=rg.flac -convert_to=FLAC -5" "MP3 -V 2|-outfile=rg.mp3 -convert_to=MP3 -V 2"; do
    name=${row%%|*} options=${row#*|}
    plain=() scanned=()
    for _ in $(seq "$runs"); do
        # shellcheck disable=SC2086
        plain+=("$(seconds $wm $options)")
        # shellcheck disable=SC2086
        scanned+=("$(seconds $wm $options -replaygain)")
    done
    p=$(printf '%s\n' "${plain[@]}" | median) s=$(printf '%s\n' "${scanned[@]}" | median)
    echo "$name: plain ${plain[*]}; -replaygain ${scanned[*]}" >>"$log"
    printf '%-14s %9.2fs %13.2fs %8.1f%%\n' "$name" "$p" "$s" "$(awk -v p="$p" -v s="$s" 'BEGIN { print 100 * (s - p) / p }')"
done
