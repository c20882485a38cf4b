#!/bin/sh
# Converts sox's files through Wavemill.exe and the WAV plug-ins for the sample formats the
# shell end-to-end test leaves out (32-bit integer, 64-bit float) and for an odd data length:
# sox must read the result with the same format and the same samples.
# Usage: sox_check.sh <stage dir> <work dir> <wine prefix>
set -u
stage=$1 work=$2
. "$(dirname "$0")/../../wine_env.sh"
use_wine_prefix "$3"
command -v sox >/dev/null || { echo "SKIP: sox is not installed" >&2; exit 77; }
rm -rf "$work" && mkdir -p "$work" && cd "$work" || exit 1
failures=0
check() { # check <what> <wanted> <got>
    [ "$2" = "$3" ] && echo "ok   $1" && return
    echo "FAIL $1: wanted '$2', got '$3'" && failures=$((failures + 1)) && return 1
}
format_of() { echo "$(soxi -r "$1") $(soxi -c "$1") $(soxi -b "$1") $(soxi -e "$1") $(soxi -s "$1")"; }
samples_of() { sox -V1 "$1" -t raw - | md5sum; }

# The 8-bit mono file comes last: 4001 one-byte frames, an odd data length.
for spec in "-c 2 -b 32 -e signed-integer" "-c 1 -b 64 -e floating-point" \
    "-c 1 -b 8 -e unsigned-integer"; do
    # shellcheck disable=SC2086
    sox -V1 -D -r 22050 -n $spec in.wav synth 4001s sine 440 noise gain -3
    rm -f out.wav
    wine "$stage/Wavemill.exe" -silent -noidtag -infile=in.wav -outfile=out.wav \
        -convert_to=Wave </dev/null >/dev/null 2>err.txt
    check "converts ($spec)" 0 $? || iconv -f UTF-16LE -t UTF-8 err.txt
    check "sox reads the same format ($spec)" "$(format_of in.wav)" "$(format_of out.wav)"
    check "sox reads the same samples ($spec)" "$(samples_of in.wav)" "$(samples_of out.wav)"
done
check "odd data gets its pad byte (80-byte header, no tags)" $((80 + 4001 + 1)) \
    "$(wc -c <out.wav | tr -d ' ')"

# Headers a writer never completed or that promise more than the file holds: the whole audio
# arrives, and the run says why in an information line.
sox -V1 -r 8000 -n -c 2 -b 16 whole.wav synth 3 sine 440
patched() { # patched <RIFF size> <data size>: whole.wav with those two sizes
    cp whole.wav header.wav
    perl -e 'print pack("V", $ARGV[0])' "$1" | dd of=header.wav bs=1 seek=4 conv=notrunc status=none
    perl -e 'print pack("V", $ARGV[0])' "$2" | dd of=header.wav bs=1 seek=40 conv=notrunc status=none
}
while read -r riff data note; do
    patched "$riff" "$data"
    rm -f out.wav
    wine "$stage/Wavemill.exe" -noidtag -infile=header.wav -outfile=out.wav -convert_to=Wave \
        </dev/null 2>/dev/null | iconv -f UTF-16LE -t UTF-8 >out.txt
    check "RIFF size $riff, data size $data: every sample (soxi)" "$(soxi -s whole.wav)" \
        "$(soxi -s out.wav 2>/dev/null)"
    check "RIFF size $riff, data size $data: the information line says why" 1 \
        "$(grep -c "^Information: Decoder: .*$note" out.txt)"
done <<'EOF'
0 0 never filled in
36 0 never filled in
96036 192000 promises 6.0 s of audio where the file holds 3.0 s
EOF

[ "$failures" -eq 0 ] || { echo "$failures check(s) failed"; exit 1; }
echo "all sox checks passed"
