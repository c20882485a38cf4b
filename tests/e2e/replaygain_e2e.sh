#!/bin/bash
# Loudness measured while converting (-replaygain), against loudgain on the outputs; the tags as
# the native tools read them; effects that change the level; silence and tracks shorter than a
# gating block.
# Usage: replaygain_e2e.sh <stage dir> <wine prefix> <work dir> <wavtool.exe>
set -uo pipefail
. "$(dirname "$0")/shell_support.sh"
e2e_start "$@" sox flac metaflac loudgain ffprobe ffmpeg mpg123 opusinfo vorbiscomment ogginfo
# loudgain's view of one file: "<loudness LUFS> <true peak> <gain dB>".
loudgain_of() {
    loudgain -O -q "$1" | awk -F'\t' 'NR == 2 {sub(/ LUFS/, "", $2); sub(/ dB/, "", $9); print $2, $4, $9}'
}
flac_tag() { metaflac --show-tag="$2" "$1" | sed -n '1s/^[^=]*=//p'; }
# A tag as ffprobe reads it (ID3v2 TXXX frames by their description), case-blind.
probe_tag() { ffprobe -v error -show_entries format_tags -of default=nw=1 "$1" | sed -n "s/^TAG:$2=//Ip" | head -1; }
number='^[+-]?[0-9]+(\.[0-9]+)?$'
# near <a> <b> <tolerance>: two numbers, |a - b| <= tolerance.
near() {
    [[ $1 =~ $number && $2 =~ $number ]] &&
        awk -v a="$1" -v b="$2" -v d="$3" 'BEGIN { x = a - b; exit !(x <= d + 1e-9 && -x <= d + 1e-9) }'
}
# Two linear peaks within <dB> of each other.
peaks_near() {
    [[ $1 =~ $number && $2 =~ $number ]] &&
        awk -v a="$1" -v b="$2" -v d="$3" 'BEGIN { x = 20 * log(a / b) / log(10); exit !(x <= d && -x <= d) }'
}
# same <a> <b>: equal and not empty.
same() { [ -n "$1" ] && [ "$1" = "$2" ]; }
sample_peak() {
    sox "$1" -n stat 2>&1 | awk '/^Maximum amplitude/ {a = $3} /^Minimum amplitude/ {b = -$3} END {printf "%.6f", (a > b ? a : b) + 0}'
}

# Music-like audio, <seconds> at <rate> on one channel: an A major chord with its overtones over
# pink noise rolled off above 4 kHz, about 15 LU below it. Noise alone is unlike music for the
# lossy codecs: they drop part of its energy (decoded, pink noise measures 0.3 dB quieter from
# Vorbis -q 3 and 0.36 dB from AAC at 128 kbps; see the README).
music() { # music <out.wav> <rate> <seconds>
    local f synth=(synth "$3" sine 110)
    for f in 220 277.2 329.6 440 554.4 659.3 880 1318.5 2217 3520; do
        synth+=(synth "$3" sine mix $f)
    done
    sox -R -V1 -n -r "$2" -c 1 -b 24 chord.wav "${synth[@]}" gain -18
    sox -R -V1 -n -r "$2" -c 1 -b 24 noise.wav synth "$3" pinknoise lowpass -1 4000 gain -22
    sox -R -V1 -m chord.wav noise.wav "$1"
}
# A 4-track album: loud stereo, a quiet interlude, a mono track, a 5.1 track (the chord in front,
# noise in the surrounds, a 55 Hz tone in the LFE); 8-bit beside them.
music m44.wav 44100 7 && sox -R -V1 m44.wav -c 2 -b 16 t1.wav gain 10
sox -R -V1 m44.wav -c 2 -b 16 t2.wav trim 0 4 gain -13
sox -R -V1 -n -r 48000 -c 1 -b 24 t3.wav synth 5 sine 997 gain -14
music m48.wav 48000 5 && sox -R -V1 -n -r 48000 -c 1 -b 24 lfe.wav synth 5 sine 55 gain -12
sox -R -V1 -n -r 48000 -c 1 -b 24 surround.wav synth 5 pinknoise lowpass -1 4000 gain -24
sox -R -V1 -M m48.wav m48.wav m48.wav lfe.wav surround.wav surround.wav -b 16 t4.wav gain 3
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
    # (8-bit WAV is unsigned, FLAC signed: sox's raw bytes differ there.)
    [ $t = t5 ] || check "$t: the audio is the source's" same_audio $t.wav $t.flac
done

# --- WAV: the encoder's "id3 " chunk, TXXX frames; a float source measured as float ---
sox -R -V1 -n -r 48000 -c 2 -e floating-point -b 32 f6.wav synth 5 pinknoise gain -3
for t in t1 f6; do
    wm -infile=$t.wav -outfile=w-$t.wav -convert_to=Wave -replaygain -truepeak
    check "$t: -replaygain to WAV exits 0" test $? -eq 0
    read -r lufs peak gain < <(loudgain_of w-$t.wav)
    ours=$(probe_tag w-$t.wav replaygain_track_gain)
    echo "     w-$t.wav: ours $ours; loudgain $gain dB"
    check "w-$t.wav: track gain within 0.05 dB of loudgain's" near "${ours% dB}" "$gain" 0.05
    check "w-$t.wav: the audio is the source's" same_audio $t.wav w-$t.wav
done

# --- MP3: ID3v2 TXXX frames, rewritten in front of the audio ---
for t in t1 t2 t3; do
    wm -infile=$t.wav -outfile=$t.mp3 -convert_to=MP3 -V 2 -replaygain -truepeak -tag="title=Song $t"
    check "$t: -replaygain to MP3 exits 0" test $? -eq 0
    read -r lufs peak gain < <(loudgain_of $t.mp3)
    ours=$(probe_tag $t.mp3 replaygain_track_gain) ourpeak=$(probe_tag $t.mp3 replaygain_track_peak)
    echo "     $t.mp3: ours $ours, peak $ourpeak; loudgain $gain dB, true peak $peak on the decoded MP3"
    check "$t.mp3: track gain within 0.1 dB of loudgain's" near "${ours% dB}" "$gain" 0.1
    check "$t.mp3: the decoded output's true peak, within 0.1 dB of loudgain's" peaks_near "$ourpeak" "$peak" 0.1
    check "$t.mp3: mpg123 decodes the whole file" test "$(mpg123 -q -s $t.mp3 | wc -c)" -gt 0
done
check "MP3: the other tags survive the rewrite" same "$(probe_tag t1.mp3 title)" "Song t1"
# Without -truepeak the MP3 encoder decodes its own frames for the peak while it writes them:
# the decoded output's sample peak, past full scale too, as ffmpeg's float decoder reads it.
ffmpeg_peak() {
    ffmpeg -nostats -i "$1" -af astats=measure_perchannel=none:measure_overall=Peak_level -f null - 2>&1 |
        awk '/Peak level dB:/ {printf "%.6f", exp($NF / 20 * log(10))}'
}
for t in t1 t3; do
    wm -infile=$t.wav -outfile=sp-$t.mp3 -convert_to=MP3 -V 2 -replaygain
    ours=$(probe_tag sp-$t.mp3 replaygain_track_peak) theirs=$(ffmpeg_peak sp-$t.mp3)
    echo "     sp-$t.mp3: sample peak ours $ours, ffmpeg's $theirs"
    check "sp-$t.mp3: the sample peak is the decoded output's, within 0.02 dB" peaks_near "$ours" "$theirs" 0.02
done
# Carried over, each format its own way: MP3 to FLAC keeps the measured values.
wm -infile=t1.mp3 -outfile=from-mp3.flac -convert_to=FLAC
check "MP3 to FLAC carries the gain as REPLAYGAIN_TRACK_GAIN" \
    same "$(flac_tag from-mp3.flac REPLAYGAIN_TRACK_GAIN)" "$(probe_tag t1.mp3 replaygain_track_gain)"

# --- M4A: iTunes free-form atoms (----:com.apple.iTunes:replaygain_*) in the movie box ---
wm -infile=t1.wav -outfile=t1.m4a -convert_to=ALAC -replaygain -tag="title=Song t1"
check "t1: -replaygain to ALAC exits 0" test $? -eq 0
read -r lufs peak gain < <(loudgain_of t1.m4a)
ours=$(probe_tag t1.m4a replaygain_track_gain)
echo "     t1.m4a (ALAC): ours $ours; loudgain $gain dB"
check "t1.m4a: track gain within 0.05 dB of loudgain's" near "${ours% dB}" "$gain" 0.05
pcm_md5() { ffmpeg -v error -i "$1" -f s16le - | md5sum; }
check "t1.m4a: the title and the samples kept" \
    test "$(probe_tag t1.m4a title):$(pcm_md5 t1.m4a)" = "Song t1:$(pcm_md5 t1.wav)"
for t in t1 t2 t3 t4; do
    wm -infile=$t.wav -outfile=a-$t.m4a -convert_to=AAC -replaygain -truepeak
    check "$t: -replaygain to AAC exits 0" test $? -eq 0
    read -r lufs peak gain < <(loudgain_of a-$t.m4a)
    ours=$(probe_tag a-$t.m4a replaygain_track_gain) ourpeak=$(probe_tag a-$t.m4a replaygain_track_peak)
    echo "     a-$t.m4a (AAC): ours $ours, peak $ourpeak; loudgain $gain dB, true peak $peak on the decoded AAC"
    check "a-$t.m4a: track gain within 0.1 dB of loudgain's" near "${ours% dB}" "$gain" 0.1
    check "a-$t.m4a: the decoded output's true peak, within 0.1 dB of loudgain's" peaks_near "$ourpeak" "$peak" 0.1
done
# Carried over, each format its own way: FLAC to MP3 to Opus to M4A to FLAC keeps the gain.
wm -infile=t1.flac -outfile=c.mp3 -convert_to=MP3 -V 2 && wm -infile=c.mp3 -outfile=c.opus -convert_to=Opus &&
    wm -infile=c.opus -outfile=c.m4a -convert_to=AAC &&
    wm -infile=c.m4a -outfile=c.flac -convert_to=FLAC -dspeffect1="BitDepth=bits=24"
check "FLAC to MP3 to Opus to M4A to FLAC keeps the track gain" \
    same "$(flac_tag c.flac REPLAYGAIN_TRACK_GAIN)" "$(flac_tag t1.flac REPLAYGAIN_TRACK_GAIN)"

# --- Opus (R128_TRACK_GAIN, Q7.8 to -23 LUFS) and Vorbis: the comment header paged again ---
# The scan measures what the encoder gets: it matches loudgain on the source, and on the decoded
# output within 0.1 dB.
for t in t1 t2 t3 t4; do
    read -r lufs peak source_gain < <(loudgain_of $t.wav)
    wm -infile=$t.wav -outfile=$t.opus -convert_to=Opus -replaygain -tag="title=Song $t"
    check "$t: -replaygain to Opus exits 0" test $? -eq 0
    read -r lufs peak gain < <(loudgain_of $t.opus) # loudgain gives Opus gains to -23 LUFS
    q78=$(opusinfo $t.opus | sed -n 's/^[[:space:]]*R128_TRACK_GAIN=//p')
    ours=$(awk -v q="$q78" 'BEGIN { if (q != "") printf "%.2f", q / 256 + 5 }')
    echo "     $t.opus: R128_TRACK_GAIN=$q78 ($ours dB to -18 LUFS); loudgain on the output $gain dB to -23"
    check "$t.opus: the gain is loudgain's on what the encoder got" near "$ours" "$source_gain" 0.05
    check "$t.opus: within 0.1 dB of loudgain's on the output" near "$(awk -v g="$ours" 'BEGIN { print g - 5 }')" "$gain" 0.1
    check "$t.opus: opusinfo finds the stream whole, the title kept" \
        test "$(opusinfo $t.opus >/dev/null 2>&1 && echo whole):$(opusinfo $t.opus | grep -ci 'title=Song')" = whole:1
    wm -infile=$t.wav -outfile=$t.ogg -convert_to=Vorbis -replaygain -truepeak -tag="title=Song $t"
    check "$t: -replaygain to Vorbis exits 0" test $? -eq 0
    read -r lufs peak gain < <(loudgain_of $t.ogg)
    ours=$(vorbiscomment -l $t.ogg | sed -n 's/^REPLAYGAIN_TRACK_GAIN=//p')
    ourpeak=$(vorbiscomment -l $t.ogg | sed -n 's/^REPLAYGAIN_TRACK_PEAK=//p')
    echo "     $t.ogg: ours $ours, peak $ourpeak; loudgain on the output $gain dB, true peak $peak"
    check "$t.ogg: the gain is loudgain's on what the encoder got" near "${ours% dB}" "$source_gain" 0.05
    check "$t.ogg: within 0.1 dB of loudgain's on the output" near "${ours% dB}" "$gain" 0.1
    check "$t.ogg: the decoded output's true peak, within 0.1 dB of loudgain's" peaks_near "$ourpeak" "$peak" 0.1
    check "$t.ogg: ogginfo finds no fault, the title kept" \
        test "$(ogginfo $t.ogg 2>&1 | grep -ciE 'warning|error'):$(vorbiscomment -l $t.ogg | grep -c 'TITLE=Song')" = 0:1
done
# A cover makes the comment header span pages: the audio pages are renumbered.
cp t1.wav big.wav && convert -size 400x400 plasma:fractal big.png
wavtool settags "Z:$stage" "Z:$work/big.wav" "title=Big" "@Front Album Cover=Z:$work/big.png" >/dev/null
wm -infile=big.wav -outfile=big.opus -convert_to=Opus -replaygain
check "a comment header over many pages: the stream whole, the cover and the gain in it" \
    test "$(opusinfo big.opus >/dev/null 2>&1 && echo whole):$(opusinfo big.opus | grep -c 'METADATA_BLOCK_PICTURE\|R128_TRACK_GAIN=')" = whole:2

# --- the sample peak by default ---
wm -infile=t1.wav -outfile=s1.flac -convert_to=FLAC -replaygain
check "sample peak: sox's maximum amplitude" \
    same "$(flac_tag s1.flac REPLAYGAIN_TRACK_PEAK)" "$(sample_peak t1.wav)"

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
sox -R -D -V1 -n -r 44100 -c 2 -b 16 silent.wav trim 0 3
sox -R -V1 -n -r 44100 -c 2 -b 16 short.wav synth 0.3 pinknoise
for t in silent short; do
    wm -infile=$t.wav -outfile=$t.flac -convert_to=FLAC -replaygain
    check "$t: converts, with a peak and no track gain" \
        test "$?:$(metaflac --export-tags-to=- $t.flac | grep -c REPLAYGAIN_TRACK_GAIN):$(flac_tag $t.flac REPLAYGAIN_TRACK_PEAK)" \
        = "0:0:$(sample_peak $t.wav)"
done
wine "$stage/Wavemill.exe" -infile=silent.wav -outfile=i.flac -convert_to=FLAC -replaygain </dev/null 2>&1 |
    tr -d '\0' >info.out
check "silence: an information line says why there is no gain" grep -q "no track gain is written" info.out
check "silence: the peak is 0" same "$(flac_tag silent.flac REPLAYGAIN_TRACK_PEAK)" 0.000000

# --- album gain in the batch: the album's audio gated together, written once its last track ends ---
mkdir -p album bad
for t in t1 t2 t3 t4; do
    wm -infile=$t.wav -outfile=album/$t.flac -convert_to=FLAC -tag="album=Loud Album" -tag="artist=A"
done
wm -infile=t1.wav -outfile=bad/b1.flac -convert_to=FLAC -tag="album=Broken" -tag="artist=A"
wm -infile=t2.wav -outfile=bad/b2.flac -convert_to=FLAC -tag="album=Broken" -tag="artist=A"
head -c 30000 bad/b2.flac >bad/b2-cut.flac && rm bad/b2.flac
# A folder given keeps its name under -out (out/album/...), as a copy would.
wine "$stage/WavemillBatch.exe" -convert_to=FLAC -replaygain=album -truepeak -jobs=2 -out=out \
    -report=report.csv album bad </dev/null >batch.out 2>&1
check "batch with a failed track exits 1" test $? -eq 1
read -r alufs apeak again < <(loudgain -O -q -a out/album/t?.flac | awk -F'\t' '$1 == "Album" {sub(/ LUFS/, "", $2); sub(/ dB/, "", $9); print $2, $4, $9}')
for t in t1 t2 t3 t4; do
    got=$(flac_tag out/album/$t.flac REPLAYGAIN_ALBUM_GAIN)
    check "$t: album gain $got within 0.05 dB of loudgain -a's $again dB" near "${got% dB}" "$again" 0.05
    check "$t: album peak within 0.05 dB of loudgain's" \
        peaks_near "$(flac_tag out/album/$t.flac REPLAYGAIN_ALBUM_PEAK)" "$apeak" 0.05
done
mean=$(for t in t1 t2 t3 t4; do loudgain_of out/album/$t.flac; done | awk '{s += $1} END {printf "%.2f", s / 4}')
echo "     album: $alufs LUFS gated together; the mean of its tracks would be $mean"
check "the album's loudness is not the mean of its tracks'" awk -v a="$alufs" -v m="$mean" 'BEGIN { exit !(a - m > 1) }'
check "a failed track leaves its album without album gain" \
    test "$(metaflac --export-tags-to=- out/bad/b1.flac | grep -c REPLAYGAIN_ALBUM):$(flac_tag out/bad/b1.flac REPLAYGAIN_TRACK_GAIN | grep -c dB)" = 0:1
check "the report says why" grep -q 'b1.flac.*no album gain: another track of its album failed (b2-cut.flac failed)' report.csv
wine "$stage/WavemillBatch.exe" -convert_to=FLAC -replaygain=album -out=one album/t3.flac </dev/null >batch.out 2>&1
check "an album of one track: album gain = track gain" \
    same "$(flac_tag one/t3.flac REPLAYGAIN_ALBUM_GAIN)" "$(flac_tag one/t3.flac REPLAYGAIN_TRACK_GAIN)"

# Album gain written into M4A, MP3, Opus and Vorbis outputs, each format's way, within 0.1 dB of
# loudgain -a's on the decoded outputs (for Opus both to -23 LUFS); the album peak, the largest
# of the decoded tracks' true peaks, too.
loudgain_album_gain() { loudgain -O -q -a "$@" | awk -F'\t' '$1 == "Album" {sub(/ dB/, "", $9); print $9}'; }
loudgain_album_peak() { loudgain -O -q -a "$@" | awk -F'\t' '$1 == "Album" {print $4}'; }
wine "$stage/WavemillBatch.exe" -convert_to=AAC -replaygain=album -truepeak -out=aac album </dev/null >batch.out 2>&1
check "album gain into AAC outputs: the free-form atom in every one" \
    test "$(for t in t1 t2 t3 t4; do probe_tag aac/album/$t.m4a replaygain_album_gain; done | grep -c ' dB$')" -eq 4
again=$(loudgain_album_gain aac/album/t?.m4a) got=$(probe_tag aac/album/t1.m4a replaygain_album_gain)
check "AAC album gain $got within 0.1 dB of loudgain -a's $again dB" near "${got% dB}" "$again" 0.1
apeak=$(loudgain_album_peak aac/album/t?.m4a) got=$(probe_tag aac/album/t2.m4a replaygain_album_peak)
check "AAC album peak $got within 0.1 dB of loudgain -a's $apeak" peaks_near "$got" "$apeak" 0.1
wine "$stage/WavemillBatch.exe" -convert_to=MP3 -replaygain=album -truepeak -out=mp3 album </dev/null >batch.out 2>&1
apeak=$(loudgain_album_peak mp3/album/t?.mp3) got=$(probe_tag mp3/album/t3.mp3 replaygain_album_peak)
check "MP3 album peak $got within 0.1 dB of loudgain -a's $apeak" peaks_near "$got" "$apeak" 0.1
wine "$stage/WavemillBatch.exe" -convert_to=Opus -replaygain=album -out=opus album </dev/null >batch.out 2>&1
check "album gain into Opus outputs: R128_ALBUM_GAIN, one value for all" \
    test "$(for t in t1 t2 t3 t4; do opusinfo opus/album/$t.opus | sed -n 's/^[[:space:]]*R128_ALBUM_GAIN=//p'; done | sort -u | grep -c .)" -eq 1
again=$(loudgain_album_gain opus/album/t?.opus)
got=$(opusinfo opus/album/t1.opus | awk '{ sub(/^[ \t]*/, "") } sub(/^R128_ALBUM_GAIN=/, "") { printf "%.2f", $0 / 256 }')
check "Opus album gain $got within 0.1 dB of loudgain -a's $again dB" near "$got" "$again" 0.1
wine "$stage/WavemillBatch.exe" -convert_to=Vorbis -replaygain=album -truepeak -out=vorbis album </dev/null >batch.out 2>&1
again=$(loudgain_album_gain vorbis/album/t?.ogg) apeak=$(loudgain_album_peak vorbis/album/t?.ogg)
got=$(vorbiscomment -l vorbis/album/t4.ogg | sed -n 's/^REPLAYGAIN_ALBUM_GAIN=//p')
check "Vorbis album gain $got within 0.1 dB of loudgain -a's $again dB" near "${got% dB}" "$again" 0.1
got=$(vorbiscomment -l vorbis/album/t1.ogg | sed -n 's/^REPLAYGAIN_ALBUM_PEAK=//p')
check "Vorbis album peak $got within 0.1 dB of loudgain -a's $apeak" peaks_near "$got" "$apeak" 0.1

# --- -albumloudness: one gain for the whole album, measured first, under the true-peak ceiling ---
# ffmpeg's ebur128 filter gives the loudness of every 400 ms block (one each 100 ms at 48 kHz;
# the first three, before 400 ms of audio, at -120.7); gated together (absolute gate -70 LUFS,
# relative gate 10 LU below the mean) they give the album's loudness: "<blocks> <LUFS>".
ffmpeg_album_loudness() {
    local f
    for f in "$@"; do
        ffmpeg -v error -i "$f" -af "aresample=48000,asetnsamples=n=4800:p=0,ebur128=metadata=1,ametadata=mode=print:key=lavfi.r128.M:file=-" -f null - |
            sed -n 's/^lavfi.r128.M=//p'
    done | awk '$1 >= -70 { e[n++] = 10 ^ (($1 + 0.691) / 10); s += e[n - 1] }
        END { if (!n) exit 1; g = s / n / 10
              for (i = 0; i < n; i++) if (e[i] >= g) { t += e[i]; c++ }
              printf "%d %.3f\n", n, 10 * log(t / c) / log(10) - 0.691 }'
}
wine "$stage/WavemillBatch.exe" -convert_to=FLAC -albumloudness=-16 -out=lev album </dev/null >batch.out 2>&1
check "-albumloudness=-16 exits 0" test $? -eq 0
read -r blocks alufs < <(ffmpeg_album_loudness lev/album/t?.flac)
echo "     leveled album: $alufs LUFS over $blocks blocks (ffmpeg's ebur128)"
check "the album measures -16 LUFS within 0.1 LU (ffmpeg's ebur128)" near "$alufs" -16 0.1
before=$(for t in t1 t2; do loudgain_of $t.wav; done | awk 'NR == 1 {a = $1} NR == 2 {printf "%.2f", a - $1}')
after=$(for t in t1 t2; do loudgain_of lev/album/$t.flac; done | awk 'NR == 1 {a = $1} NR == 2 {printf "%.2f", a - $1}')
check "the interlude stays $before dB below the loud track ($after)" near "$after" "$before" 0.05
check "one loudness for the album: no Normalize per track" test "$(awk -v b="$before" 'BEGIN { print (b > 15) }')" = 1
wine "$stage/WavemillBatch.exe" -convert_to=FLAC -albumloudness=-5 -out=loud album </dev/null >batch.out 2>&1
read -r alufs apeak again < <(loudgain -O -q -a loud/album/t?.flac | awk -F'\t' '$1 == "Album" {sub(/ LUFS/, "", $2); print $2, $4}')
echo "     -5 LUFS asked: $alufs LUFS, true peak $apeak"
check "a target above the ceiling: the true peak stays at -1 dBTP" peaks_near "$apeak" 0.891251 0.1
check "a target above the ceiling: the album stays below it" awk -v a="$alufs" 'BEGIN { exit !(a < -5.5) }'

# --- which outputs are decoded again for their peak ---
# The scripted test encoder writes raw PCM; its ".wmt" output goes to the test decoder, which
# refuses anything that is not a script. Said lossy, the output is decoded, the decode fails and
# the run says so; said lossless, it is not decoded at all.
for lossless in 0 1; do
    wine "$stage/Wavemill.exe" -infile=t3.wav -outfile=l$lossless.wmt -convert_to=TestEnc \
        -lossless=$lossless -replaygain -loudnessrecord=l$lossless.loudness </dev/null 2>&1 |
        tr -d '\0' >decode$lossless.out
done
check "a lossy output that cannot be decoded: the run says the peak is the one before the codec, and why" \
    grep -q "the peak written is the one before the codec, as the output could not be decoded again: no test script" decode0.out
check "... and keeps that peak (sox's maximum amplitude of the source)" \
    same "$(sed -n 's/^peak=//p' l0.loudness | awk '{printf "%.6f", $1}')" "$(sample_peak t3.wav)"
check "an output its encoder calls lossless is not decoded again" \
    test "$(grep -c "could not be decoded" decode1.out):$(grep -c '^peak=' l1.loudness)" = 0:1

# --- usage ---
wm -infile=t1.wav -outfile=a.flac -convert_to=FLAC -replaygain=album
check "-replaygain=album is the batch's: the converter refuses it" \
    grep -q "album gain is WavemillBatch.exe's" wm.err
wm -infile=t1.wav -outfile=a.flac -convert_to=FLAC -truepeak
check "-truepeak without -replaygain is refused" test $? -eq 1
# The scripted test encoder (tests/plugins) converting the source itself.
wm -infile=t1.wav -outfile=raw.raw -convert_to=TestEnc -raw=1 -replaygain
check "an encoder that converts the source itself: -replaygain fails, saying why" \
    test "$?:$(grep -c 'nothing was measured' wm.err)" = 1:1
e2e_verdict replaygain
