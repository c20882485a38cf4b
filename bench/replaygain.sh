#!/bin/bash
# What measuring loudness while converting costs: a 10-minute CD-quality file to FLAC -5 and to
# MP3 -V 2 with and without -replaygain, median of interleaved runs (5 by default, RUNS=n), Wine's
# start-up included: wall time, and the processor time of the converter's process (user and
# system, all its threads), which other work on the machine does not inflate. Prints the table
# and the load average; details go to bench/out/replaygain.log.
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

timed() { # timed <command...>: "<wall s> <processor s>" of one run, failing loudly
    local start end
    start=$(date +%s.%N)
    /usr/bin/time -f 'cpu %U %S' -o "$out/rg.time" "$@" >>"$log" 2>&1 </dev/null || die "failed: $*"
    end=$(date +%s.%N)
    awk -v a="$start" -v b="$end" '$1 == "cpu" { printf "%.3f %.3f\n", b - a, $2 + $3 }' "$out/rg.time"
}
median_of() { printf '%s\n' "${@:2}" | cut -d' ' -f"$1" | median; } # median_of <field> <runs...>
percent() { awk -v p="$1" -v s="$2" 'BEGIN { print 100 * (s - p) / p }'; }
wm="wine $stage/Wavemill.exe -silent -infile=cd600.wav"
echo "load average at the start: $(cut -d' ' -f1-3 /proc/loadavg)"
printf '%-10s %8s %12s %9s %10s %14s %9s\n' conversion "plain s" "-replaygain s" overhead \
    "plain cpu" "-replaygain cpu" overhead
for row in "FLAC -5|-outfile=rg.flac -convert_to=FLAC -5" "MP3 -V 2|-outfile=rg.mp3 -convert_to=MP3 -V 2"; do
    name=${row%%|*} options=${row#*|}
    plain=() scanned=()
    for _ in $(seq "$runs"); do
        # shellcheck disable=SC2086
        plain+=("$(timed $wm $options)")
        # shellcheck disable=SC2086
        scanned+=("$(timed $wm $options -replaygain)")
    done
    pw=$(median_of 1 "${plain[@]}") sw=$(median_of 1 "${scanned[@]}")
    pc=$(median_of 2 "${plain[@]}") sc=$(median_of 2 "${scanned[@]}")
    echo "$name (wall cpu): plain ${plain[*]}; -replaygain ${scanned[*]}" >>"$log"
    printf '%-10s %7.2fs %11.2fs %8.1f%% %9.2fs %13.2fs %8.1f%%\n' "$name" "$pw" "$sw" \
        "$(percent "$pw" "$sw")" "$pc" "$sc" "$(percent "$pc" "$sc")"
done
echo "load average at the end: $(cut -d' ' -f1-3 /proc/loadavg)"
