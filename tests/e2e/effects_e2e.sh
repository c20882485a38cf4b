#!/bin/bash
# The bundled effects through Wavemill.exe: a real chain on a 96 kHz 24-bit file with tags and a
# cover, the temporary folder honoured and left empty, bad settings, and a full disk for the
# rendered file (a small tmpfs, when this user may mount one).
# Usage: effects_e2e.sh <stage dir> <wine prefix> <work dir> <wavtool.exe>
set -uo pipefail
stage=$1 work=$3 wavtool=$4
export WINEPREFIX=$2 WINEDEBUG=-all WINEDLLOVERRIDES=mscoree,mshtml=
unset DISPLAY
for tool in sox ffmpeg ffprobe; do
    command -v $tool >/dev/null || { echo "SKIP: $tool is not installed"; exit 77; }
done
rm -rf "$work" && mkdir -p "$work/tmp" && cd "$work" || exit 1
. "$(dirname "$0")/shell_support.sh"
win() { winepath -w "$1"; }
format_of() { for o in r c b s; do soxi -$o "$1"; done | tr '\n' ' '; }
loudness() { ffmpeg -nostats -i "$1" -af ebur128 -f null - 2>&1 | awk '/I:/ {v = $2} END {print v}'; }
near() { awk -v a="$1" -v b="$2" -v d="$3" 'BEGIN {exit !((a - b) <= d && (b - a) <= d)}'; }
tags_of() { ffprobe -v error -show_entries format_tags -of default=nw=1 "$1"; }

# Resample, then Normalize (non-live: the source is rendered into -tmpfolder), then BitDepth.
sox -n -r 96000 -c 2 -b 24 hr.wav synth 8 sine 440 sine 1000 gain -20
printf '\211PNG\r\n\032\ncover-bytes' >front.png
wine "$wavtool" settags "Z:$stage" "Z:$work/hr.wav" 'title=Chain Title' 'artist=Chain Artist' \
    "@Front Album Cover=Z:$work/front.png" </dev/null >/dev/null
wm -infile="$(win hr.wav)" -outfile="$(win chain.wav)" -convert_to=Wave -tmpfolder="$(win tmp)\\" \
    -dspeffect1="Resample=rate=44100" -dspeffect2="Normalize=lufs=-16" \
    -dspeffect3="BitDepth=bits=16 dither=none"
check "chain exits 0" test $? -eq 0
check "chain output is 44.1 kHz 16-bit, exactly 8 s" \
    test "$(format_of chain.wav)" = "44100 2 16 352800 "
check "chain output measures -16 LUFS (ffmpeg ebur128)" near "$(loudness chain.wav)" -16 0.1
check "chain keeps the tags" grep -qxF 'TAG:title=Chain Title' <(tags_of chain.wav)
check "chain keeps the cover" test "$(ffprobe -v error -show_entries stream_disposition=attached_pic \
    -of csv=p=0 chain.wav | grep -c '^1$')" -eq 1
check "the temporary folder is left empty" test -z "$(ls tmp)"

# Live effects alone change the format block by block: the encoder is told the format they
# produce, for WAV and for FLAC.
for codec in Wave FLAC; do
    wm -infile=hr.wav -outfile=live.$codec -convert_to=$codec -dspeffect1="Resample=rate=48000" \
        -dspeffect2="BitDepth=bits=16"
    status=$?
    sox -t "$([ $codec = FLAC ] && echo flac || echo wav)" live.$codec live-$codec.wav
    check "live Resample and BitDepth into $codec: 48 kHz 16-bit, exactly 8 s" \
        test $status:"$(format_of live-$codec.wav)" = "0:48000 2 16 384000 "
done

# Peak mode, checked with sox stats.
wm -infile=hr.wav -outfile=peak.wav -convert_to=Wave -dspeffect1="Normalize=peak=-1"
peak=$(sox peak.wav -n stats 2>&1 | awk '/Pk lev dB/ {print $4}')
check "peak normalisation reads -1 dBFS in sox stats" near "$peak" -1 0.05

# Settings an effect does not understand, and an effect that does not exist.
echo keep >kept.wav
wm -infile=hr.wav -outfile=kept.wav -convert_to=Wave -dspeffect1="Volume=level=3"
check "unknown setting: status 1, the effect's reason, output kept" \
    test $?:"$(cat kept.wav)" = 1:keep -a -n "$(grep "unknown setting 'level'" wm.err)"
wm -infile=hr.wav -outfile=kept.wav -convert_to=Wave -dspeffect1="Echo=delay=3"
check "missing effect: status 1 and its line" \
    test $?:"$(cat kept.wav)" = 1:keep -a -n "$(grep "Unable to load DSP Effect 'Echo'" wm.err)"

# The rendered file on a full disk: a clear line, status 1, nothing left behind.
mkdir -p small
if mount -t tmpfs -o size=512k tmpfs small 2>/dev/null; then
    wm -infile=hr.wav -outfile=kept.wav -convert_to=Wave -tmpfolder="$(win small)\\" \
        -dspeffect1="Normalize=peak=-1"
    status=$?
    check "full disk while rendering: status 1, a line, output kept, folder empty" \
        test $status:"$(cat kept.wav)":"$(ls small | wc -l)" = 1:keep:0 -a \
        -n "$(grep 'Error writing to temporary file .*(win:112)' wm.err)"
    umount small
else
    echo "note: cannot mount a tmpfs here; the full-disk case is not run"
fi

if ((failures)); then echo "$failures check(s) failed"; exit 1; fi
echo "all effect end-to-end checks passed"
