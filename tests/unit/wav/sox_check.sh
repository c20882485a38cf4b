#!/bin/sh
# Checks the shipped WAV plug-ins against sox in both directions:
#   files sox writes decode to the samples `sox in.wav -t raw` gives;
#   files the encoder writes read back in sox with the right format, length and samples;
#   a decode -> encode -> decode round trip keeps the audio bytes.
# Usage: sox_check.sh <wavtool.exe> <stage dir> <work dir> <wine prefix>
set -eu
tool=$1 stage=$2 work=$3 prefix=$4

if ! command -v sox >/dev/null 2>&1 || ! command -v soxi >/dev/null 2>&1; then
    echo "SKIP: sox is not installed; the WAV plug-ins were not checked against it" >&2
    exit 77
fi

rm -rf "$work"
mkdir -p "$work"
cd "$work"
failures=0

# sox warns about its own float headers; only errors matter here.
sox() { command sox -V1 "$@"; }
soxi() { command soxi -V1 "$@"; }
wavtool() {
    env -u DISPLAY WINEPREFIX="$prefix" WINEDEBUG=-all WINEDLLOVERRIDES=mscoree,mshtml= \
        wine "$tool" "$@" </dev/null
}
win() { echo "Z:$work/$1"; }
fail() {
    echo "FAIL: $*" >&2
    failures=$((failures + 1))
}
expect() { # expect <what> <wanted> <got>
    [ "$2" = "$3" ] || fail "$1: wanted '$2', got '$3'"
}

# make_input <name> <seconds> <sox output options...>: a different signal in each channel.
make_input() {
    name=$1 length=$2
    shift 2
    sox -D -n "$@" "$name.wav" synth "$length" sine 440 sine 660 noise gain -3
}

for input in \
    "s16 1.37 -r 44100 -c 2 -b 16 -e signed-integer" \
    "s24 0.71 -r 48000 -c 2 -b 24 -e signed-integer" \
    "s32 0.5 -r 22050 -c 1 -b 32 -e signed-integer" \
    "f32 0.93 -r 44100 -c 2 -b 32 -e floating-point" \
    "f64 0.4 -r 16000 -c 1 -b 64 -e floating-point" \
    "c6 0.55 -r 32000 -c 6 -b 16 -e signed-integer" \
    "u8 0.333 -r 8000 -c 1 -b 8 -e unsigned-integer"; do
    # shellcheck disable=SC2086
    set -- $input
    name=$1
    make_input "$@"
    sox "$name.wav" -t raw "$name.ref.raw"

    # sox -> decoder
    if ! info=$(wavtool decode "Z:$stage" "$(win "$name.wav")" "$(win "$name.raw")"); then
        fail "$name: decoding failed"
        continue
    fi
    echo "$name: $info"
    cmp -s "$name.ref.raw" "$name.raw" || fail "$name: decoded samples differ from sox's"
    expect "$name rate" "$(soxi -r "$name.wav")" "$(echo "$info" | sed 's/.*rate=\([0-9]*\).*/\1/')"
    expect "$name channels" "$(soxi -c "$name.wav")" \
        "$(echo "$info" | sed 's/.*channels=\([0-9]*\).*/\1/')"

    # raw -> encoder -> sox
    rate=$(soxi -r "$name.wav") channels=$(soxi -c "$name.wav") bits=$(soxi -b "$name.wav")
    case $(soxi -e "$name.wav") in
    Floating*) kind=float ;;
    *) kind=pcm ;;
    esac
    if ! wavtool encode "Z:$stage" "$(win "$name.raw")" "$(win "$name.out.wav")" \
        "$rate" "$channels" "$bits" "$kind"; then
        fail "$name: encoding failed"
        continue
    fi
    expect "$name soxi rate" "$rate" "$(soxi -r "$name.out.wav")"
    expect "$name soxi channels" "$channels" "$(soxi -c "$name.out.wav")"
    expect "$name soxi bits" "$bits" "$(soxi -b "$name.out.wav")"
    expect "$name soxi encoding" "$(soxi -e "$name.wav")" "$(soxi -e "$name.out.wav")"
    expect "$name soxi samples" "$(soxi -s "$name.wav")" "$(soxi -s "$name.out.wav")"
    sox "$name.out.wav" -t raw "$name.back.raw"
    cmp -s "$name.ref.raw" "$name.back.raw" || fail "$name: sox reads other samples from our file"

    # encoder output -> decoder: the round trip keeps every audio byte
    if wavtool decode "Z:$stage" "$(win "$name.out.wav")" "$(win "$name.round.raw")" >/dev/null; then
        cmp -s "$name.raw" "$name.round.raw" || fail "$name: round trip changed the audio"
    else
        fail "$name: decoding our own output failed"
    fi
done

# An odd data length gets its pad byte; sox still reads exactly the samples.
head -c 4001 s16.raw >odd.raw
wavtool encode "Z:$stage" "$(win odd.raw)" "$(win odd.wav)" 8000 1 8 pcm || fail "odd: encoding failed"
expect "odd file size" $((80 + 4001 + 1)) "$(wc -c <odd.wav | tr -d ' ')"
sox odd.wav -t raw odd.back.raw && cmp -s odd.raw odd.back.raw || fail "odd: samples differ"

if [ "$failures" -ne 0 ]; then
    echo "$failures check(s) failed" >&2
    exit 1
fi
echo "all sox checks passed"
