#!/bin/bash
# Loudness measured while converting (-replaygain), against loudgain on the outputs; the tags as
# the native tools read them; effects that change the level; silence and tracks shorter than a
# gating block.
# Usage: replaygain_e2e.sh <stage dir> <wine prefix> <work dir> <wavtool.exe>
set -uo pipefail
. "$(dirname "$0")/shell_support.sh"
e2e_start "$@" sox flac metaflac loudgain
# loudgain's view of one file: "<loudness LUFS> <true peak> <gain dB>".
loudgain_of() {
    loudgain -O -q "$1" | awk -F'\t' 'NR == 2 {sub(/ LUFS/, "", $2); sub(/ dB/, "", $9); print $2, $4, $9}'
}
flac_tag() { metaflac --show-tag="$2" "$1" | sed -n '1s/^[^=]*=//p'; }
# near <a> <b> <tolerance>: |a - b| <= tolerance.
near() { awk -v a="$1" -v b="$2" -v d="$3" 'BEGIN { x = a - b; exit !(x <= d + 1e-9 && -x <= d + 1e-9) }'; }
# Two linear peaks within <dB> of each other.
peaks_near() { awk -v a="$1" -v b="$2" -v d="$3" 'BEGIN { x = 20 * log(a / b) / log(10); exit !(x <= d && -x <= d) }'; }
sample_peak() {
    sox -V1 "$1" -n stat 2>&1 | awk '/^Maximum amplitude/ {a = $3} /^Minimum amplitude/ {b = -$3} END {printf "%.6f", a > b ? a : b}'
}

# A 4-track album: loud stereo, a quiet interlude, a mono track, a 5.1 track; 8-bit beside them.
sox -R -V1 -n -r 44100 -c 2 -b 16 t1.wav synth 7 pinknoise gain -9
sox -R -V1 -n -r 44100 -c 2 -b 16 t2.wav synth 4 pinknoise gain -32
sox -R -V1 -n -r 48000 -c 1 -b 24 t3.wav synth 5 sine 997 gain -14
sox -R -V1 -n -r 48000 -c 6 -b 16 t4.wav synth 5 pinknoise gain -16
sox -R -V1 -n -r 22050 -c 2 -b 8 t5.wav synth 3 pinknoise gain -10

# --- track gain and true peak in FLAC against loudgain ---
for t in t1 t2 t3 t4 t5; do
    wm -infile=$t.wav -outfile=$t.flac -convert_to=FLAC -replaygain -truepeak
    check "$t: -replaygain -truepeak to FLAC exits 0" test $? -eq 0
    read -r lufs peak gain < <(loudgain_of $t.flac)
    ours=$(flac_tag $t.flac REPLAYGAIN_TRACK_GAIN) ourpeak=$(flac_tag $t.flac REPLAYGAIN_TRACK_PEAK)
    echo "     $t: ours $ours, peak $ourpeak; loudgain $gain dB ($lufs LUFS), true peak $peak"
    check "$t: track gain within 0.05 dB of loudgain's" near "${ours% dB}" "$gain" 0.05
    check "$t: true peak within 0.05 dB of loudgain's" peaks_near "$ourpeak" "$peak" 0.05
    check "$t: gain written as metaflac writes it" grep -qE '^[+-][0-9]+\.[0-9]{2} dB$' <<<"$ours"
    check "$t: the audio is the source's" same_audio $t.wav $t.flac
done

# --- the sample peak by default ---
wm -infile=t1.wav -outfile=s1.flac -convert_to=FLAC -replaygain
check "sample peak: sox's maximum amplitude" \
    test "$(flac_tag s1.flac REPLAYGAIN_TRACK_PEAK)" = "$(sample_peak t1.wav)"

# --- a level-changing effect: fresh values replace the source's ---
flac -s -f -o old.flac t1.wav && metaflac --set-tag=REPLAYGAIN_TRACK_GAIN=+9.99\ dB \
    --set-tag=REPLAYGAIN_TRACK_PEAK=0.100000 --set-tag=REPLAYGAIN_ALBUM_GAIN=+9.99\ dB old.flac
wm -infile=old.flac -outfile=v.flac -convert_to=FLAC -replaygain -dspeffect1="Volume=gain=-7.5"
read -r lufs peak gain < <(loudgain_of v.flac)
check "Volume -7.5 dB: the written gain is loudgain's on the output" \
    near "$(flac_tag v.flac REPLAYGAIN_TRACK_GAIN | cut -d' ' -f1)" "$gain" 0.05
check "Volume: the stale album gain is gone, one track gain is left" \
    test "$(metaflac --export-tags-to=- v.flac | grep -c REPLAYGAIN_ALBUM_GAIN):$(metaflac --export-tags-to=- v.flac | grep -c REPLAYGAIN_TRACK_GAIN)" = 0:1
wm -infile=t2.wav -outfile=n.flac -convert_to=FLAC -replaygain -dspeffect1="Normalize=lufs=-16"
read -r lufs peak gain < <(loudgain_of n.flac)
check "Normalize: the written gain is loudgain's on the output ($gain dB)" \
    near "$(flac_tag n.flac REPLAYGAIN_TRACK_GAIN | cut -d' ' -f1)" "$gain" 0.05

# --- the blocks left for the album: gated again, they give the track's loudness ---
wm -infile=t4.wav -outfile=r.flac -convert_to=FLAC -replaygain -loudnessrecord=t4.loudness
gated=$(awk -F= '/^block=/ {e[n++] = $2} /^lufs=/ {l = $2}
    END { g = 10 ^ ((-70 + 0.691) / 10); s = 0; c = 0
          for (i = 0; i < n; i++) if (e[i] >= g) { s += e[i]; c++ }
          r = s / c / 10; if (r < g) r = g; s = 0; c = 0
          for (i = 0; i < n; i++) if (e[i] >= r) { s += e[i]; c++ }
          printf "%d %.6f %.6f", n, 10 * log(s / c) / log(10) - 0.691, l }' t4.loudness)
read -r blocks fromblocks lufs <<<"$gated"
check "record: one block each 100 ms after the first 400 ms ($blocks)" test "$blocks" -eq 47
check "record: the blocks gate to the track's loudness ($fromblocks, $lufs)" near "$fromblocks" "$lufs" 0.0001

# --- silence, a track shorter than one gating block ---
sox -R -V1 -n -r 44100 -c 2 -b 16 silent.wav trim 0 3
sox -R -V1 -n -r 44100 -c 2 -b 16 short.wav synth 0.3 pinknoise
for t in silent short; do
    wm -infile=$t.wav -outfile=$t.flac -convert_to=FLAC -replaygain
    check "$t: converts, with a peak and no track gain" \
        test "$?:$(metaflac --export-tags-to=- $t.flac | grep -c REPLAYGAIN_TRACK_GAIN):$(flac_tag $t.flac REPLAYGAIN_TRACK_PEAK)" \
        = "0:0:$(sample_peak $t.wav)"
done
wine "$stage/Wavemill.exe" -infile=silent.wav -outfile=i.flac -convert_to=FLAC -replaygain </dev/null >info.out 2>&1
check "silence: an information line says why there is no gain" grep -q "no track gain is written" info.out

# --- usage ---
wm -infile=t1.wav -outfile=a.flac -convert_to=FLAC -replaygain=album
check "-replaygain=album is the batch's: the converter refuses it" \
    grep -q "album gain is WavemillBatch.exe's" wm.err
wm -infile=t1.wav -outfile=a.flac -convert_to=FLAC -truepeak
check "-truepeak without -replaygain is refused" test $? -eq 1
e2e_verdict replaygain
