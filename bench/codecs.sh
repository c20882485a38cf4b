#!/bin/bash
# The FLAC, MP3, Opus, Vorbis, AAC and ALAC plug-ins and the FFmpeg decoder under Wine against
# Debian's native flac, lame, mpg123, opusenc/opusdec, oggenc/oggdec and ffmpeg (the same library
# versions) on a 10-minute CD-quality file: median of 5 interleaved runs, Wine's start-up included
# in Wavemill's figures, and Wavemill's peak memory on a 1-minute and the 10-minute file.
# ONLY=<regex> limits the rows to those whose name matches (ONLY='Opus|Vorbis'). Prints the
# table; details of every step go to bench/out/codecs.log.
set -euo pipefail
export LC_ALL=C.UTF-8 # Wine builds the command line through the locale

root=$(cd "$(dirname "$0")/.." && pwd)
out=$root/bench/out
runs=${RUNS:-5}
limit=600
mkdir -p "$out"
log=$out/codecs.log
: >"$log"
. "$(dirname "$0")/common.sh"

quietly "$root/scripts/install-deps.sh"
if [ ! -f "$root/dist/encoder/FLAC.dll" ]; then
    (cd "$root" && quietly cmake --preset windows && quietly cmake --build --preset windows)
fi
. "$root/tests/wine_env.sh"
use_wine_prefix "$out/wineprefix"
quietly "$root/tests/wine_prefix.sh" up "$WINEPREFIX"
trap 'wineserver -k >/dev/null 2>&1 || true; rm -f "$out"/*.codec.*' EXIT
cd "$out"

# Music-like input (a tone over pink noise), not silence or a pure tone the codecs would make
# light work of.
for seconds in 60 600; do
    [ -f cd$seconds.wav ] && [ "$(soxi -s cd$seconds.wav)" = $((44100 * seconds)) ] ||
        quietly sox -R -n -r 44100 -b 16 -c 2 cd$seconds.wav synth $seconds sine 440 pinknoise gain -6
done
quietly flac -s -f -5 -o cd600.flac cd600.wav
quietly lame --silent -V 2 cd600.wav cd600.mp3
quietly flac -s -f -5 -o cd60.flac cd60.wav
quietly lame --silent -V 2 cd60.wav cd60.mp3
for seconds in 60 600; do
    quietly opusenc --quiet --bitrate 128 cd$seconds.wav cd$seconds.opus
    quietly oggenc -Q -q 5 -o cd$seconds.ogg cd$seconds.wav
    quietly ffmpeg -v error -y -i cd$seconds.wav -c:a aac -b:a 256k cd$seconds.m4a
done

wm="wine $root/dist/Wavemill.exe -silent"
# row name | Wavemill's command | the native tool's command ({in} and {out} filled in)
rows=(
    # The host's own cost: a copy through the pump, against a plain copy and against sox.
    "WAV->WAV vs cp|$wm -infile={in}.wav -outfile={out}.codec.wav -convert_to=Wave|cp {in}.wav {out}.codec.wav"
    "WAV->WAV vs sox|$wm -infile={in}.wav -outfile={out}.codec.wav -convert_to=Wave|sox {in}.wav {out}.codec.wav"
    "WAV->FLAC -5|$wm -infile={in}.wav -outfile={out}.codec.flac -convert_to=FLAC -5|flac -s -f -5 -o {out}.codec.flac {in}.wav"
    "WAV->FLAC -8|$wm -infile={in}.wav -outfile={out}.codec.flac -convert_to=FLAC -8|flac -s -f -8 -o {out}.codec.flac {in}.wav"
    "FLAC->WAV|$wm -infile={in}.flac -outfile={out}.codec.wav -convert_to=Wave|flac -s -f -d -o {out}.codec.wav {in}.flac"
    "WAV->MP3 -V 2|$wm -infile={in}.wav -outfile={out}.codec.mp3 -convert_to=MP3 -V 2|lame --silent -V 2 {in}.wav {out}.codec.mp3"
    "WAV->MP3 -b 320|$wm -infile={in}.wav -outfile={out}.codec.mp3 -convert_to=MP3 -b 320|lame --silent -b 320 {in}.wav {out}.codec.mp3"
    "MP3->WAV|$wm -infile={in}.mp3 -outfile={out}.codec.wav -convert_to=Wave|mpg123 -q -w {out}.codec.wav {in}.mp3"
    "WAV->Opus 128|$wm -infile={in}.wav -outfile={out}.codec.opus -convert_to=Opus -bitrate 128|opusenc --quiet --bitrate 128 {in}.wav {out}.codec.opus"
    # The same work as the plug-in: 48 kHz out, no dither (opusdec would otherwise resample).
    "Opus->WAV|$wm -infile={in}.opus -outfile={out}.codec.wav -convert_to=Wave|opusdec --quiet --rate 48000 --no-dither {in}.opus {out}.codec.wav"
    "WAV->Vorbis q5|$wm -infile={in}.wav -outfile={out}.codec.ogg -convert_to=Vorbis -q 5|oggenc -Q -q 5 -o {out}.codec.ogg {in}.wav"
    "Vorbis->WAV|$wm -infile={in}.ogg -outfile={out}.codec.wav -convert_to=Wave|oggdec -Q -o {out}.codec.wav {in}.ogg"
    "WAV->AAC 256k|$wm -infile={in}.wav -outfile={out}.codec.m4a -convert_to=AAC -b 256|ffmpeg -v error -y -i {in}.wav -c:a aac -b:a 256k {out}.codec.m4a"
    "WAV->ALAC|$wm -infile={in}.wav -outfile={out}.codec.m4a -convert_to=ALAC|ffmpeg -v error -y -i {in}.wav -c:a alac {out}.codec.m4a"
    "M4A AAC->WAV|$wm -infile={in}.m4a -outfile={out}.codec.wav -convert_to=Wave|ffmpeg -v error -y -i {in}.m4a -c:a pcm_f32le {out}.codec.wav"
)
# run COMMAND INPUT: one timed run; sets $elapsed (s) and $rss (Linux max RSS, MB).
run() {
    local cmd=${1//\{in\}/$2}
    cmd=${cmd//\{out\}/$2}
    rm -f "$2".codec.*
    sync
    local start=$EPOCHREALTIME
    # shellcheck disable=SC2086
    /usr/bin/time -f %M -o rss.txt timeout $limit $cmd </dev/null >>"$log" 2>&1 || die "failed: $cmd"
    elapsed=$(awk -v s="$start" -v e="$EPOCHREALTIME" 'BEGIN { printf "%.4f", e - s }')
    rss=$(awk '{ printf "%.1f", $1 / 1024 }' <(tail -n 1 rss.txt))
}

read -r load _ </proc/loadavg
echo "Codec benchmark: 10-minute 44.1 kHz 16-bit stereo file (tone over pink noise), median of"
echo "$runs interleaved runs after an untimed one; Wavemill under Wine (warm server, start-up"
echo "included), the native tools of the same library versions. Speed = native median / Wavemill"
echo "median (1.00 = as fast). Machine: $(nproc) cores, load average $load at the start."
printf '\n%-16s %12s %12s %8s %8s %14s %14s\n' conversion "Wavemill s" "native s" speed \
    "x real" "RSS 1 min MB" "RSS 10 min MB"
for row in "${rows[@]}"; do
    IFS='|' read -r name ours theirs <<<"$row"
    [[ -z ${ONLY:-} || $name =~ $ONLY ]] || continue
    run "$ours" cd600
    run "$theirs" cd600
    t_ours="" t_theirs=""
    for ((r = 1; r <= runs; r++)); do
        run "$ours" cd600
        t_ours+="$elapsed"$'\n'
        rss_long=$rss
        run "$theirs" cd600
        t_theirs+="$elapsed"$'\n'
    done
    run "$ours" cd60
    rss_short=$rss
    m_ours=$(grep . <<<"$t_ours" | median)
    m_theirs=$(grep . <<<"$t_theirs" | median)
    awk -v n="$name" -v o="$m_ours" -v t="$m_theirs" -v a="$rss_short" -v b="$rss_long" 'BEGIN {
        printf "%-16s %12.3f %12.3f %8.2f %8.0f %14.1f %14.1f\n", n, o, t, t / o, 600 / o, a, b }'
done
echo
echo "RSS = Linux max RSS of the 'wine' process running Wavemill.exe (Wine's own DLLs included)."
