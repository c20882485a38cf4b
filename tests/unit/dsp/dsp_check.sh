#!/bin/bash
# Runs one shipped effect through dsprun (its entry points driven as the host drives them) and
# checks the audio against sox and ffmpeg doing the same work.
# Usage: dsp_check.sh <volume|resample|bitdepth|normalize> <dsprun.exe> <stage dir> <work dir>
#        <wine prefix>
set -u
effect=$1 dsprun=$2 stage=$3 work=$4
. "$(dirname "$0")/../../wine_env.sh"
use_wine_prefix "$5"
for tool in sox ffmpeg awk; do
    command -v $tool >/dev/null || { echo "SKIP: $tool is not installed" >&2; exit 77; }
done
rm -rf "$work" && mkdir -p "$work" && cd "$work" || exit 1
failures=0

check() { # check <what> <wanted> <got>
    [ "$2" = "$3" ] && echo "ok   $1" && return
    echo "FAIL $1: wanted '$2', got '$3'" && failures=$((failures + 1))
}
within() { # within <what> <low> <high> <got>: low <= got <= high
    if awk -v l="$2" -v h="$3" -v g="$4" 'BEGIN { exit !(g != "" && g + 0 >= l && g + 0 <= h) }'; then
        echo "ok   $1: $4"
    else
        echo "FAIL $1: $4 is not within [$2, $3]" && failures=$((failures + 1))
    fi
}

# The dsprun format text of a WAV file, and sox's options for raw audio in that format.
format_of() {
    case "$(soxi -e "$1")" in
    Floating*) e=f ;; Unsigned*) e=u ;; *) e=s ;;
    esac
    [ "$e" = u ] && b=8 || b=$(soxi -b "$1")
    echo "$(soxi -r "$1"):$(soxi -c "$1"):$e$b"
}
raw_options() {
    IFS=: read -r rate channels encoding _ <<END
$1
END
    case "$encoding" in
    f*) e=floating-point ;; u*) e=unsigned-integer ;; *) e=signed-integer ;;
    esac
    echo "-t raw -r $rate -c $channels -e $e -b ${encoding#?}"
}

# dsp [-options] <in.wav> <out.wav> [:ext] <Effect=settings>...: the effects through dsprun.
# Leaves dsprun's status in $status, its output format in $format and its errors in err.txt.
dsp() {
    options=""
    while [ "${1#-}" != "$1" ]; do options="$options $1" && shift; done
    in=$1 out=$2 && shift 2
    form=""
    [ "$1" = ":ext" ] && form=":ext" && shift
    sox -V1 "$in" -t raw in.raw
    # shellcheck disable=SC2086
    wine "$dsprun" $options "$stage" in.raw "$(format_of "$in")$form" out.raw "$@" \
        >format.txt 2>err.txt </dev/null
    status=$?
    format=$(tr -d '\r' <format.txt)
    # A failed run says why: dsprun's own line, or Wine's.
    [ "$status" -eq 0 ] || echo "     dsprun $* ended with $status: $(tr -d '\0\r' <err.txt | head -c 400)"
    # shellcheck disable=SC2046
    [ "$status" -ne 0 ] || sox -V1 $(raw_options "$format") out.raw "$out"
    rm -f in.raw out.raw
}

# compare <a.wav> <b.wav> <seconds left out at each edge>: "largest difference, SNR in dB (a as
# the signal), mean difference, RMS difference", differences in 16-bit steps.
compare() {
    sox -V1 "$1" -t dat a.dat trim "$3" "-$3"
    sox -V1 "$2" -t dat b.dat trim "$3" "-$3"
    # sox ends its text lines in CR LF.
    paste a.dat b.dat | awk '/^;/ { next } {
        gsub(/\r/, "")
        n = NF / 2
        for (c = 2; c <= n; c++) {
            d = $(c + n) - $c; s += $c * $c; e += d * d; m += d; k++
            if (d < 0) d = -d
            if (d > big) big = d
        }
    } END {
        printf "%.3f %.2f %.5f %.4f\n", big * 32768, (e > 0 ? 10 * log(s / e) / log(10) : 999),
            m / k * 32768, sqrt(e / k) * 32768
    }'
    rm -f a.dat b.dat
}
field() { echo "$1" | cut -d' ' -f"$2"; }
same_samples() { cmp -s <(sox -V1 "$1" -t raw -) <(sox -V1 "$2" -t raw -); }

# rejects <Effect=settings> <entry point> <words the reason must hold>...
rejects() {
    dsp tone16.wav bad.wav "$1"
    check "$1 fails" 1 "$status"
    reason=$(cat err.txt)
    case "$reason" in
    *"$2 failed: "*) ;;
    *) check "$1 fails in $2 with a reason" "$2 failed: <reason>" "$reason" ;;
    esac
    want=$1 && shift 2
    for word in "$@"; do
        case "$reason" in
        *"$word"*) echo "ok   $want: reason names $word" ;;
        *) check "$want: reason names $word" "$word" "$reason" ;;
        esac
    done
}

sox -V1 -n -r 44100 -c 2 -b 16 tone16.wav synth 3 sine 440 sine 1250 gain -2
. "$(dirname "$0")/check_$effect.sh"

[ "$failures" -eq 0 ] || { echo "$failures check(s) failed"; exit 1; }
echo "all $effect checks passed"
