#!/bin/bash
# What Wavemill itself says when a plug-in breaks the contract in a way the host can see: an
# error line that carries the reason. The broken plug-ins run from a private copy of the program
# tree, so the staged tree the other tests use never holds them.
# Usage: host_reasons.sh <stage dir> <wine prefix> <work dir>
set -uo pipefail
broken=$1/broken work=$3
. "$(dirname "$0")/../wine_env.sh"
use_wine_prefix "$2"
stage=$work/tree
. "$(dirname "$0")/../e2e/shell_support.sh"
command -v sox >/dev/null || { echo "SKIP: sox is not installed"; exit 77; }
rm -rf "$work" && mkdir -p "$stage/decoder" "$stage/encoder" "$stage/DSPs" && cd "$work" || exit 1
win() { local p=${1//\//\\}; echo "Z:$p"; }

# The program with its libraries and version texts, the WAV and test plug-ins; one broken
# plug-in per case.
cp "$1"/*.exe "$1"/*.dll "$stage/" && cp -r "$1/Versions" "$stage/" || exit 1
cp "$1/decoder/WavDecoder.dll" "$stage/decoder/" && cp "$1/encoder/Wave.dll" "$1/encoder/TestEnc.dll" "$stage/encoder/"
plant() { cp "$broken/$1.dll" "$stage/$2"; } # plant <broken plug-in> <folder/name.dll>
fails_saying() { # fails_saying <description> <words> <Wavemill arguments...>
    local what=$1 words=$2
    shift 2
    wm "$@"
    local status=$?
    check "$what: status 1 and \"$words\"" test $status -eq 1 -a -n "$(grep -F -- "$words" wm.err)"
    [ $status -eq 1 ] && grep -qF -- "$words" wm.err || cat wm.err
}
sox -n -r 44100 -c 2 -b 16 in.wav synth 1 sine 440 gain -6
sox -r 96000 -c 6 -n -b 24 in24.wav synth 48001s sine 440 gain -6 # an odd frame count
# A .brk file cut mid-frame: the header, then one second of 16-bit stereo less 2 bytes.
{ printf 'BRK\x02\x10\x44\xac\x00\x00'
  sox -n -t raw -r 44100 -c 2 -b 16 -e signed - synth 1 sine 440 gain -6 | head -c 176398; } >cut.brk
in=$(win "$work/in.wav") out=$(win "$work/out.wav")

plant BrokenDecoder_CUT_TORN decoder/Brk.dll
fails_saying "a decoder that hands over a partial frame" \
    "Error: Audio data contains incomplete samples mid-stream." \
    -infile="$(win "$work/cut.brk")" -outfile="$out" -convert_to=Wave
plant BrokenEncoder_HOST_OPTIONS encoder/Brk.dll
fails_saying "an encoder that refuses the host's own options" \
    "could not begin the conversion of '$out': unknown option." \
    -infile="$in" -outfile="$out" -convert_to=Brk -dspeffect3="Gain=50"
fails_saying "an encoder that refuses the raw take-over" \
    "Error: Encoder 'TestEnc' could not convert '$in' itself." \
    -infile="$in" -outfile="$out" -convert_to=TestEnc -raw=1 -fail=Begin
plant BrokenEffect_ASSUMES_STEREO16 DSPs/Stereo16.dll
fails_saying "an effect that hands back 4-byte frames of 18-byte audio" \
    "Error: DSP Effect 'Stereo16' returned audio that is not a whole number of sample frames." \
    -infile="$(win "$work/in24.wav")" -outfile="$out" -convert_to=Wave -dspeffect1="Stereo16="
plant BrokenEffect_NONLIVE_LOCKED DSPs/Locked.dll
fails_saying "a non-live effect that leaves the rendered file open" \
    "the file is still open: DSP Effect 'Locked' must close it" \
    -infile="$in" -outfile="$out" -convert_to=Wave -dspeffect1="Locked="

echo "$failures failure(s)"
[ "$failures" -eq 0 ]
