#!/bin/bash
# The plug-ins on FFmpeg's libraries (the FFmpeg decoder, compressed WAV, the AAC and ALAC
# encoders) against Debian's native ffmpeg/ffprobe of the same 5.1 libraries and sox; formats
# changing midway in the FLAC and MP3 decoders; damaged input.
# Usage: ffmpeg_e2e.sh <stage dir> <wine prefix> <work dir> <wavtool.exe>
set -uo pipefail
. "$(dirname "$0")/shell_support.sh"
e2e_start "$@" sox ffmpeg ffprobe flac lame
probe() { ffprobe -v error -show_entries format_tags -of flat=s=_ "$1" | sed 's/^format_tags_//'; }
# The native ffmpeg's samples of a file's first audio stream, in the given raw form.
native() { ffmpeg -v error -i "$1" -map 0:a:0 -f "$2" -; }
sample_form() { # the raw form of a WAV Wavemill wrote: s16le, s24le, s32le or f32le
    local bits enc
    bits=$(soxi -b "$1") enc=$(soxi -e "$1")
    [[ $enc == *Float* ]] && echo f32le || echo "s${bits}le"
}
# The frequency of a tone half a second long from <second> on, by its rising zero crossings.
hz_at() {
    sox -V1 "$1" -t f32 -c 1 - trim "$2" 0.5 2>/dev/null | python3 -c 'import sys,struct
d=sys.stdin.buffer.read(); a=struct.unpack("<%df" % (len(d)//4), d)
print(sum(1 for i in range(1, len(a)) if a[i-1] < 0 <= a[i]) * 2)'
}
# Largest difference between two raw f32le streams over the first's length.
max_float_diff() {
    python3 -c 'import struct,sys
a=open(sys.argv[1],"rb").read(); b=open(sys.argv[2],"rb").read()[:len(a)]
n=min(len(a),len(b))//4; A=struct.unpack("<%df"%n,a[:4*n]); B=struct.unpack("<%df"%n,b[:4*n])
print(max((abs(x-y) for x,y in zip(A,B)), default=1) if len(b)>=len(a) else 1)' "$1" "$2"
}

sox -R -V1 -n -r 44100 -c 2 -b 16 src.wav synth 6.0001 sine 440 pinknoise gain -4
sox -R -V1 -n -r 48000 -c 2 -b 24 src24.wav synth 4 sine 300 pinknoise gain -6
sox -R -V1 -n -r 44100 -c 2 -b 16 tone.wav synth 6 sine 440 sine 660 gain -8
/usr/bin/convert-im6.q16 -size 40x30 gradient:red-blue cover.jpg 2>/dev/null ||
    printf '\377\330\377\340cover-bytes\377\331' >cover.jpg
tags=('title=Tëst Title' 'artist=An Artist' 'album=The Album' 'album artist=Various'
    'track=3/12' 'disc=1/2' 'year=2024' 'genre=Jazz' 'comment=Said so' 'composer=Some One'
    'replaygain_track_gain=-3.20 dB' 'MOOD=calm')
wavtool settags "Z:$stage" "Z:$work/src.wav" "${tags[@]}" "@Front Album Cover=Z:$work/cover.jpg"

# --- The FFmpeg decoder against the native ffmpeg: exact for lossless and integer sources ---
exact=("m4a -c:a alac" "m4a24 -c:a alac" "aiff -c:a pcm_s16be" "caf -c:a alac" "caf -c:a pcm_s24le"
    "wv -c:a wavpack" "tta -c:a tta" "w64 -c:a pcm_s24le" "au -c:a pcm_s16be" "mka -c:a flac")
for entry in "${exact[@]}"; do
    read -r ext codec <<<"$entry"
    source=src.wav && [[ $ext == *24 || $codec == *24* ]] && source=src24.wav
    file=n-$ext-${codec##* }.${ext%24}
    # shellcheck disable=SC2086
    ffmpeg -v error -y -i $source -vn $codec "$file"
    # The previous file's output is replaced each time; a failed run is reported with its reason
    # rather than compared through what the previous file left.
    if ! wm -infile="$file" -outfile=d.wav -convert_to=Wave; then
        check "$file: decoded ($(tr -d '\r' <wm.err | head -c 300))" false
        continue
    fi
    form=$(sample_form d.wav)
    check "$file: exactly the native ffmpeg's samples ($form)" cmp -s <(raw d.wav) <(native "$file" $form)
done
sox -V1 src.wav sox.aiff && wm -infile=sox.aiff -outfile=d.wav -convert_to=Wave
check "an AIFF made by sox gives the source's samples" cmp -s <(raw d.wav) <(raw src.wav)
# Lossy formats decode to float; this build and the native one differ in the last bit of a float
# here and there (measured: 6e-8, the C runtime's maths), so the tolerance is 1e-6.
for entry in "m4a -c:a aac" "wma -c:a wmav2" "ac3 -c:a ac3" "aac -c:a aac"; do
    read -r ext codec <<<"$entry"
    file=n-${codec##* }.$ext
    # shellcheck disable=SC2086
    ffmpeg -v error -y -i src.wav -vn $codec -b:a 192k "$file"
    wm -infile="$file" -outfile=d.wav -convert_to=Wave
    raw d.wav >d.f32 && native "$file" f32le >n.f32
    check "$file: the native ffmpeg's samples within 1e-6" \
        python3 -c "import sys; sys.exit(float('$(max_float_diff d.f32 n.f32)') > 1e-6)"
done
check "native M4A AAC: tags arrive" \
    grep -qx 'title=Lossy' <<<"$(ffmpeg -v error -y -i src.wav -vn -metadata title=Lossy -c:a aac t.m4a &&
        wm -infile=t.m4a -outfile=t.wav -convert_to=Wave && wavtool tags "Z:$stage" "Z:$work/t.wav" "Z:$work")"
ffmpeg -v error -y -f lavfi -i testsrc=d=2:s=64x48 -i src.wav -map 0:v -map 1:a:0 -c:v mpeg4 -c:a alac -t 2 video.mp4
wm -infile=video.mp4 -outfile=v.wav -convert_to=Wave
check "a video file gives its audio stream" cmp -s <(raw v.wav) <(native video.mp4 s16le)

# --- Compressed WAV through libavcodec: sox and ffmpeg make them ---
for encoding in u-law a-law ima-adpcm ms-adpcm gsm-full-rate; do
    rate=44100 && [ $encoding = gsm-full-rate ] && rate=8000
    sox -V1 src.wav -r $rate -c 1 -e $encoding c-$encoding.wav
    wm -infile=c-$encoding.wav -outfile=d.wav -convert_to=Wave
    # The "fact" chunk's count: the native ffmpeg keeps the padding of the last block.
    n=$(ffprobe -v error -show_entries stream=duration_ts -of csv=p=0 c-$encoding.wav)
    check "WAV $encoding: the fact chunk's $n samples, as the native ffmpeg decodes them" \
        test "$(soxi -s d.wav):$(cmp -s <(raw d.wav) <(native c-$encoding.wav s16le | head -c $((2 * n))) && echo same)" = "$n:same"
done
ffmpeg -v error -y -i src.wav -vn -c:a adpcm_ima_wav -metadata title=Packed ima.wav
wm -infile=ima.wav -outfile=d.wav -convert_to=Wave
check "WAV IMA ADPCM by ffmpeg: the native ffmpeg's samples" cmp -s <(raw d.wav) <(native ima.wav s16le)
check "WAV IMA ADPCM by ffmpeg: its INFO title" grep -qx 'title=Packed' <(wavtool tags "Z:$stage" "Z:$work/d.wav" "Z:$work")
cp c-ms-adpcm.wav unknown.wav && printf '\042\042' | dd of=unknown.wav bs=1 seek=20 conv=notrunc status=none
wm -infile=unknown.wav -outfile=d.wav -convert_to=Wave
check "an unknown WAV format tag keeps its named error" grep -q "WAV format 0x2222 is not supported" wm.err

# --- ALAC: lossless both ways; tags and cover as ffprobe reads them ---
for source in src src24; do
    wm -infile=$source.wav -outfile=$source.m4a -convert_to=ALAC
    wm -infile=$source.m4a -outfile=$source-back.wav -convert_to=Wave
    check "ALAC round trip of $source.wav is exact (and the native ffmpeg agrees)" \
        test "$(cmp -s <(raw $source.wav) <(raw $source-back.wav) && echo same):$(cmp -s <(raw $source.wav) <(native $source.m4a "$(sample_form $source.wav)") && echo same)" = same:same
done
tags_m4a=$(probe src.m4a)
for field in 'title="Tëst Title"' 'artist="An Artist"' 'album="The Album"' 'album_artist="Various"' \
    'track="3/12"' 'disc="1/2"' 'date="2024"' 'genre="Jazz"' 'comment="Said so"' \
    'composer="Some One"' 'replaygain_track_gain="-3.20 dB"' 'MOOD="calm"'; do
    check "ffprobe reads $field from the M4A" grep -qxF "$field" <<<"$tags_m4a"
done
ffmpeg -v error -y -i src.m4a -map 0:v -c copy -f image2 cover-m4a.jpg
check "the cover is covr, byte for byte" cmp -s cover.jpg cover-m4a.jpg

# --- AAC: gapless, aligned with the source, clean for the native ffmpeg ---
wm -infile=tone.wav -outfile=tone.m4a -convert_to=AAC -b 256
check "AAC to M4A exits 0" test $? -eq 0
check "the native ffmpeg plays it with no warnings" test -z "$(ffmpeg -v warning -i tone.m4a -map 0:a -f null - 2>&1)"
wm -infile=tone.m4a -outfile=tone-back.wav -convert_to=Wave
check "our decoder gives exactly the source's length" test "$(soxi -s tone-back.wav)" = "$(soxi -s tone.wav)"
# Aligned: the difference from the source (measured 0.0045 RMS at 256 kbps) stays well below
# what a shift of one sample leaves on this tone (0.022).
residue=$(sox -V1 -m -v 1 tone.wav -v -1 tone-back.wav -n stat 2>&1 | awk '/RMS +amplitude/ {print $3}')
check "the first sample lines up with the source (residue RMS $residue < 0.01)" \
    python3 -c "import sys; sys.exit(not $residue < 0.01)"
raw tone-back.wav >d.f32 && native tone.m4a f32le >n.f32
check "the native ffmpeg decodes it to our samples (it keeps the end padding)" \
    python3 -c "import sys; sys.exit(float('$(max_float_diff d.f32 n.f32)') > 1e-6)"
wm -infile=tone.wav -outfile=q.m4a -convert_to=AAC -q 1.5
check "-q gives a variable-rate AAC" test "$?:$(ffprobe -v error -select_streams a -show_entries stream=codec_name -of csv=p=0 q.m4a)" = 0:aac

cp src.m4a "Tëst 日本.m4a"
wm -infile="Tëst 日本.m4a" -outfile="Ausgabe ö.m4a" -convert_to=ALAC
check "names outside ASCII, read and written" cmp -s <(raw src.wav) <(native "Ausgabe ö.m4a" s16le)

# --- WAV -> AAC -> FLAC -> ALAC -> WAV keeps every tag and the cover ---
wm -infile=src.wav -outfile=c.m4a -convert_to=AAC
# AAC decodes to float (the decoder's rule for lossy sources), which FLAC does not store.
wm -infile=c.m4a -outfile=c.flac -convert_to=FLAC -dspeffect1="BitDepth=bits=16"
wm -infile=c.flac -outfile=c2.m4a -convert_to=ALAC
wm -infile=c2.m4a -outfile=c.wav -convert_to=Wave
listed=$(wavtool tags "Z:$stage" "Z:$work/c.wav" "Z:$work")
for tag in "${tags[@]}"; do
    # The Wave encoder asks for no ReplayGain tags: the host drops them before the WAV.
    [[ $tag == replaygain* ]] && continue
    check "the chain keeps $tag" grep -qxF "$tag" <<<"$listed"
done
check "ReplayGain crosses AAC, FLAC and ALAC" test "$(probe c2.m4a | grep -cxF 'replaygain_track_gain="-3.20 dB"')" = 1
check "the chain keeps the cover byte for byte" cmp -s cover.jpg picture1.bin
check "the chain keeps the source's length" test "$(soxi -s c.wav)" = "$(soxi -s src.wav)"

# --- Formats changing midway ---
sox -V1 -n -r 44100 -c 1 -b 16 m1.wav synth 2 sine 500
lame --silent -t -b 128 m1.wav mono.mp3 && lame --silent -t -b 128 tone.wav stereo.mp3
cat mono.mp3 stereo.mp3 >modes.mp3
wm -infile=modes.mp3 -outfile=modes.wav -convert_to=Wave
check "an MPEG stream switching from mono to stereo decodes whole, in its first mode" \
    test "$?:$(soxi -c modes.wav):$(($(soxi -s modes.wav) / 44100))" = 0:1:8
sox -V1 -n -r 22050 -c 1 -b 16 m22.wav synth 2 sine 440 && lame --silent -t -b 64 m22.wav m22.mp3
sox -V1 -n -r 44100 -c 1 -b 16 m44.wav synth 2 sine 440 && lame --silent -t -b 64 m44.wav m44.mp3
cat m44.mp3 m22.mp3 >rates.mp3
wm -infile=rates.mp3 -outfile=rates-mp3.wav -convert_to=Wave
check "an MPEG stream going from 44.1 to 22.05 kHz keeps 44.1 kHz and its speed" \
    test "$(soxi -r rates-mp3.wav):$(soxi -D rates-mp3.wav | cut -c1):$(hz_at rates-mp3.wav 3)" = 44100:4:440
sox -V1 -n -r 48000 -c 1 -b 16 r48.wav synth 2 sine 500
flac -s -f -o r44.flac m1.wav && flac -s -f -o r48.flac r48.wav
cat r44.flac r48.flac >rates.flac
wm -infile=rates.flac -outfile=rates.wav -convert_to=Wave
check "a FLAC stream whose rate changes midway is refused with the reason" \
    test "$?:$(grep -c 'changes the sample rate midway (44100 to 48000 Hz)' wm.err)" = 1:1

sox -V1 -n -r 44100 -c 2 -b 16 p1.wav synth 2 sine 440 && sox -V1 -n -r 22050 -c 1 -b 16 p2.wav synth 2 sine 440
ffmpeg -v error -y -i p1.wav -c:a aac p1.aac && ffmpeg -v error -y -i p2.wav -c:a aac p2.aac
cat p1.aac p2.aac >switch.aac
wm -infile=switch.aac -outfile=switch.wav -convert_to=Wave
# 440 Hz in the second half: resampled to the first format, not played at the wrong speed.
check "an AAC stream going from 44.1 kHz stereo to 22 kHz mono keeps its first format and speed" \
    test "$(soxi -r switch.wav 2>/dev/null):$(soxi -c switch.wav 2>/dev/null):$(soxi -D switch.wav 2>/dev/null | cut -c1):$(hz_at switch.wav 3)" = 44100:2:4:440

# --- Bad input and bad options: status 1, a reason, an existing output kept, no leftovers ---
size=$(stat -c %s src.m4a)
head -c $((size / 2)) src.m4a >cut.m4a
ffmpeg -v error -y -f lavfi -i testsrc=d=1:s=64x48 -c:v mpeg4 silent.mp4
: >empty.m4a
sox -V1 src.wav -e ms-adpcm adpcm.wav && head -c $(($(stat -c %s adpcm.wav) - 700)) adpcm.wav >cutblock.wav
cp src.m4a holed.m4a && head -c 2000 /dev/zero | tr '\0' U | dd of=holed.m4a bs=1 seek=300000 conv=notrunc status=none
for bad in cut.m4a silent.mp4 empty.m4a holed.m4a; do
    echo precious >kept.wav
    wm -infile=$bad -outfile=kept.wav -convert_to=Wave
    check "$bad fails with a reason and keeps the output" \
        test "$?:$(grep -c 'Error: ' wm.err):$(cat kept.wav)" = "1:1:precious"
done
check "damage midway is named with the time decoded" grep -q "damaged after [0-9]* ms" wm.err
wm -infile=cutblock.wav -outfile=cutblock-out.wav -convert_to=Wave
check "a compressed WAV cut mid block gives its whole blocks (status $?)" \
    test "$(soxi -s cutblock-out.wav)" -gt 44100
sox -V1 -n -r 37000 -c 2 -b 16 odd.wav synth 1 sine 400
sox -V1 -n -r 48000 -c 7 -b 16 seven.wav synth 1 sine 400
sox -V1 -n -r 48000 -c 6 -b 24 six.wav synth 1 sine 400
wm -infile=six.wav -outfile=six.m4a -convert_to=AAC
check "5.1 AAC: six channels, as ffprobe reads them" \
    test "$?:$(ffprobe -v error -show_entries stream=channels -of csv=p=0 six.m4a | head -1)" = 0:6
for run in "odd.wav AAC" "seven.wav AAC" "src.wav AAC -b 9999" "src.wav AAC -q 7" "src.wav ALAC -x 1" "f.wav ALAC"; do
    read -r in codec opts <<<"$run"
    [ "$in" = f.wav ] && sox -V1 src.wav -e floating-point f.wav
    echo precious >kept.m4a
    # shellcheck disable=SC2086
    wm -infile=$in -outfile=kept.m4a -convert_to=$codec $opts
    check "$codec $opts on $in: refused with a reason, output kept, nothing left over" \
        test "$?:$(grep -c 'Error: ' wm.err):$(cat kept.m4a):$(ls | grep -c '\.tmp')" = "1:1:precious:0"
done
grep -h "Error" wm.err | head -1 | sed 's/^/     /'

e2e_verdict FFmpeg
