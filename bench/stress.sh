#!/bin/bash
# Many conversions side by side, every failure classified. COUNT conversions (default 3000), JOBS
# at a time (default 2), across mixed sources (16- and 24-bit, mono and stereo WAV, FLAC, MP3) and
# codecs (FLAC, MP3, Wave, Opus), each one `wine Wavemill.exe` started from this shell, as a
# user's script starts them. Every run is sorted into one class:
#   ok                      status 0, an output, nothing on the error stream
#   failed with its line    a failure that says why (none is expected: the inputs are good)
#   Wine's own words        the error stream holds a line of Wine's, not of ours
#   no line                 a failure with nothing on the error stream
#   not UTF-16              an error stream of an odd number of bytes
#   success without output  status 0, and no output file
#   ok after a refused start  Wine refused the first start ("failed to map the shared user
#                           data": the program never ran); started again once, then ok
# and the count of each is printed; any class other than the two "ok" ones fails the script.
# Usage: bench/stress.sh [--stage DIR] [--prefix WINEPREFIX] [--work DIR]
#   --stage: the program tree (default: dist/, built when missing); --prefix: the Wine prefix
#   (default: bench/out/wineprefix, brought up here with a persistent server); --work: where
#   the sources and outputs go (default: bench/out/stress).
set -uo pipefail
export LC_ALL=C.UTF-8 # Wine builds the command line through the locale

root=$(cd "$(dirname "$0")/.." && pwd)
stage=$root/dist prefix=$root/bench/out/wineprefix work=$root/bench/out/stress own_prefix=1
while (($#)); do
    case $1 in
    --stage) stage=$2 ;;
    --prefix) prefix=$2 own_prefix=0 ;;
    --work) work=$2 ;;
    *) echo "stress: unknown argument $1" >&2 && exit 2 ;;
    esac
    shift 2
done
count=${COUNT:-3000} jobs=${JOBS:-2}
. "$root/tests/wine_env.sh"
use_wine_prefix "$prefix"
if ((own_prefix)); then
    [ -f "$stage/Wavemill.exe" ] ||
        (cd "$root" && scripts/install-deps.sh && scripts/build.sh windows) >/dev/null ||
        { echo "stress: building the program tree failed" >&2; exit 1; }
    "$root/tests/wine_prefix.sh" up "$WINEPREFIX" || exit 1
    trap 'wineserver -k >/dev/null 2>&1 || true' EXIT
fi
rm -rf "$work" && mkdir -p "$work/out" && cd "$work" || exit 1

# Two seconds of each kind of source.
sox -n -r 44100 -b 16 -c 2 s16.wav synth 2 sine 440 gain -6 &&
    sox -n -r 48000 -b 24 -c 2 s24.wav synth 2 sine 550 gain -6 &&
    sox -n -r 48000 -b 16 -c 1 sm.wav synth 2 sine 660 gain -6 &&
    flac -s -f -o sflac.flac s16.wav && lame --quiet s16.wav smp3.mp3 ||
    { echo "stress: making the sources failed" >&2; exit 1; }
sources=(s16.wav s24.wav sm.wav sflac.flac smp3.mp3)
codecs=(FLAC:flac MP3:mp3 Wave:wav Opus:opus)

# classify N: one conversion, its class on standard output. Wine's errors of its memory set-up
# are let through: now and then Wine refuses a start before any line of the program runs, as
# Linux happened to put something where the shared user data page must go ("failed to map the
# shared user data", status 1, nothing on standard output). That start, and only that, is made
# again, once, and the class says so.
classify() {
    local n=$1 src=${sources[$(($1 % 5))]} codec=${codecs[$(($1 / 5 % 4))]}
    local out=out/$n.${codec#*:} err=out/$n.err status again=""
    convert() {
        WINEDEBUG=-all,err+virtual wine "$stage/Wavemill.exe" -silent -infile="$src" \
            -outfile="$out" -convert_to="${codec%%:*}" </dev/null >"out/$n.said" 2>"$err"
        status=$?
    }
    convert
    if ((status == 1)) && [ ! -s "out/$n.said" ] &&
        grep -qa 'failed to map the shared user data' "$err"; then
        again=" after a refused start" && convert
    fi
    local size
    size=$(stat -c %s "$err")
    if grep -qaE '(^|[^a-z])wine(server)?( client error)?[: ]' "$err"; then
        echo "Wine's own words"
    elif ((size % 2)); then
        echo "not UTF-16"
    elif ((status != 0 && size == 0)); then
        echo "no line"
    elif ((status != 0)); then
        echo "failed with its line"
    elif [ ! -s "$out" ]; then
        echo "success without output"
    else
        rm -f "$out" "$err" "out/$n.said"
        echo "ok$again"
        return
    fi
    # How far a silent failure got: every run's standard output begins with its "msLen" line.
    echo "  #$n $src -> ${codec%%:*}: status $status; error stream: $(tr -d '\0' <"$err" | head -c 300 | tr '\r\n' '  '); standard output: $(tr -d '\0' <"out/$n.said" | head -c 200 | tr '\r\n' '  ')" >>details.txt
}
export -f classify
export stage
export sources_list="${sources[*]}" codecs_list="${codecs[*]}"
: >details.txt
start=$(date +%s)
seq 0 $((count - 1)) | xargs -P "$jobs" -I{} bash -c \
    'sources=($sources_list) codecs=($codecs_list); classify {}' >classes.txt
elapsed=$(($(date +%s) - start))
echo "stress: $count conversions, $jobs at a time, in ${elapsed} s:"
sort classes.txt | uniq -c | sed 's/^/  /'
if grep -qvE '^ok( after a refused start)?$' classes.txt; then
    echo "stress: failures (first 20):"
    head -n 20 details.txt
    exit 1
fi
