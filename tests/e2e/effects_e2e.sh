#!/bin/bash
# The bundled effects through Wavemill.exe: a real chain on a 96 kHz 24-bit file with tags and a
# cover, the temporary folder honoured and left empty, bad settings, and a full disk for the
# rendered file (a small tmpfs, when this user may mount one).
# Usage: effects_e2e.sh <stage dir> <wine prefix> <work dir> <wavtool.exe>
set -uo pipefail
. "$(dirname "$0")/shell_support.sh"
e2e_start "$@" sox ffmpeg ffprobe
mkdir tmp
win() { winepath -w "$1"; }
loudness() { ffmpeg -nostats -i "$1" -af ebur128 -f null - 2>&1 | awk '/I:/ {v = $2} END {print v}'; }
near() { awk -v a="$1" -v b="$2" -v d="$3" 'BEGIN {exit !((a - b) <= d && (b - a) <= d)}'; }

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

# Settings an effect does not understand or lacks, and an effect that does not exist: status 1,
# the reason, the output kept.
while IFS='|' read -r effect words; do
    echo keep >kept.wav
    wm -infile=hr.wav -outfile=kept.wav -convert_to=Wave -dspeffect1="$effect"
    check "$effect: fails with '$words', output kept" \
        test $?:"$(cat kept.wav)":"$(grep -cF -- "$words" wm.err)" = 1:keep:1
done <<'EOF'
Volume=level=3|unknown setting 'level' (valid settings: gain)
Volume=|setting 'gain' must be a number from -120 to 60, not ''
Normalize=|give either peak=<dBFS> or lufs=<LUFS>
Normalize=peak=-1 tp=-2|setting 'tp' goes with lufs=<LUFS>
Resample=|setting 'rate' must be
BitDepth=|setting 'bits' must be 16, 24, 32 or float
Channels=|setting 'channels' must be a number from 1 to 8
Channels=channels=2.5|setting 'channels' must be a whole number
Echo=delay=3|Unable to load DSP Effect 'Echo'
EOF

# Channels: 5.1 down to stereo with the ITU coefficients, as sox's remix computes them (within
# one step of 16 bits), and on into MP3, which takes at most two channels.
sox -V1 -n -r 48000 -c 6 -b 16 six.wav synth 2 sine 200 sine 300 sine 400 sine 50 sine 500 sine 600 gain -12
wm -infile=six.wav -outfile=two.wav -convert_to=Wave -dspeffect1="Channels=channels=2"
status=$?
sox -V1 six.wav six-sox.wav remix 1v1,3v0.70710678,5v0.70710678 2v1,3v0.70710678,6v0.70710678
diff=$(sox -V1 -m -v 1 two.wav -v -1 six-sox.wav -n stat 2>&1 | awk '/Maximum amplitude/ {printf "%d", $3 * 32768 + 0.5}')
check "Channels=channels=2 on 5.1: sox remix's mix within one step" test "$status:$(soxi -c two.wav):$diff" = 0:2:1 -o "$status:$(soxi -c two.wav):$diff" = 0:2:0
wm -infile=six.wav -outfile=six.mp3 -convert_to=MP3 -dspeffect1="Channels=channels=2"
check "5.1 into MP3 through Channels" test $? -eq 0

# Normalize to a loudness stops at the true-peak ceiling: pink noise at about -33 LUFS with one
# -1 dBFS click, asked for -14 LUFS into 16 bits. ffmpeg's true-peak meter judges the result
# (within 0.2 dB: the two meters oversample differently).
sox -R -V1 -n -r 44100 -c 2 -b 16 noise.wav synth 20 pinknoise gain -17
sox -V1 -n -r 44100 -c 2 -b 16 click.wav synth 0.001 square 1000 gain -1
sox -V1 -m noise.wav "|sox click.wav -p pad 10" -b 16 loud.wav
truepeak() { ffmpeg -nostdin -nostats -i "$1" -af ebur128=peak=true -f null - 2>&1 | awk '/Peak:/ {v = $2} END {print v}'; }
normalized() { # normalized <input> <output> <settings>: the run's information lines
    wine "$stage/Wavemill.exe" -infile="$1" -outfile="$2" -convert_to=FLAC \
        -dspeffect1="Normalize=$3" </dev/null 2>/dev/null | iconv -f UTF-16LE -t UTF-8
}
while IFS='|' read -r settings ceiling; do
    note=$(normalized loud.wav loud.flac "$settings")
    peak=$(truepeak loud.flac)
    check "Normalize=$settings: true peak at $ceiling dBTP (ffmpeg ebur128: $peak)" near "$peak" "$ceiling" 0.2
    check "Normalize=$settings: the information line says the ceiling held the loudness" grep -q \
        "Information: DSP Effect 'Normalize': the true-peak ceiling of $ceiling dBTP held the loudness at -[0-9.]* LUFS instead of -14.0 LUFS" <<<"$note"
done <<'EOF'
lufs=-14|-1.0
lufs=-14 tp=-3|-3.0
EOF
note=$(normalized noise.wav noise.flac "lufs=-23 tp=-3")
check "Normalize=lufs=-23 tp=-3 where the ceiling is not reached: -23 LUFS, no information line" \
    test "$(near "$(loudness noise.flac)" -23 0.2 && echo reached):$(grep -c Information: <<<"$note")" = reached:0

# Volume counts what it clips, as sox's vol does; the count arrives as an information line
# (shown when not silent).
sox -V1 -n -r 44100 -c 2 -b 16 tone.wav synth 1 sine 440 gain -10
note=$(wine "$stage/Wavemill.exe" -infile=tone.wav -outfile=tone-loud.wav -convert_to=Wave \
    -dspeffect1="Volume=gain=20" </dev/null 2>/dev/null | iconv -f UTF-16LE -t UTF-8)
sox_clipped=$(sox tone.wav -n vol 20dB 2>&1 | sed -n 's/.*vol clipped \([0-9]*\) samples.*/\1/p')
ours=$(sed -n "s/^Information: DSP Effect 'Volume': \([0-9]*\) samples were beyond full scale.*/\1/p" <<<"$note")
echo "     clipped: $ours, sox $sox_clipped"
# sox counts beyond full scale in 32 bits; 16-bit rounding adds the few just below it.
check "Volume=gain=20: the clipped samples counted as sox counts them (within 0.5 %)" \
    awk -v a="${ours:-0}" -v b="$sox_clipped" 'BEGIN {exit !(a >= b && a <= b * 1.005)}'

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

e2e_verdict "effect end-to-end"
