#!/bin/bash
# End-to-end checks from a Linux shell under Wine: argument quoting as Wine builds it, a Linux
# pipe on standard input, redirected output, and WAV conversions checked with sox.
# Usage: shell_e2e.sh <stage dir> <wine prefix> <work dir> <wavtool.exe>
set -uo pipefail
. "$(dirname "$0")/shell_support.sh"
e2e_start "$@" sox
mkdir "with space"
# Unlike the shared wm: not silent, its output where the caller sends it.
wm() { wine "$stage/Wavemill.exe" "$@" </dev/null; }
raw_of() { sox "$1" -t raw -; }
utf8() { iconv -f UTF-16LE -t UTF-8; }
# format_of with the sample encoding.
encoded_format_of() { for o in r c b e s; do soxi -$o "$1"; done | tr '\n' ' '; }

# Redirected standard output: UTF-16LE, CR LF, no byte-order mark; -help exits 1.
wm -help >help.txt
check "-help exits 1" test $? -eq 1
check "redirected output starts with CR LF in UTF-16LE, no BOM" \
    test "$(head -c 4 help.txt | od -An -tx1 | tr -d ' ')" = "0d000a00"
check "usage line" grep -q 'Usage: Wavemill.exe -infile="filename" -outfile="filename" -convert_to="codec" \[codec compression CLI\]' <(utf8 <help.txt)

# WAV to WAV, with the arguments quoted whole by Wine (path with a space, folder ending in \).
# Long enough that the run takes more than a tick, so the summary is printed.
sox -n -r 44100 -c 2 -b 16 "with space/in put.wav" synth 30 sine 440 gain -3
win_in=$(winepath -w "with space/in put.wav") win_dir=$(winepath -w "$work/with space")
wm -infile="$win_in" -outfile="$win_dir\\out.wav" -convert_to=Wave -tmpfolder="$win_dir\\" >run.txt
check "WAV to WAV with wrapped quoting exits 0" test $? -eq 0
check "60 progress marks and summary" grep -Pzq '(?s)\*{60}\r\n.*\r\nConversion completed in \d' <(utf8 <run.txt)
check "audio identical" cmp -s <(raw_of "with space/in put.wav") <(raw_of "with space/out.wav")
check "sox reads 44100 Hz 2 ch 16 bit, 3 s" test "$(encoded_format_of "with space/out.wav")" = "44100 2 16 Signed Integer PCM 1323000 "

# Formats sox writes decode to the same samples (24-bit, float, 6 channels, 8-bit).
for spec in "-b 24 -c 2" "-e floating-point -b 32 -c 2" "-b 16 -c 6" "-b 8 -e unsigned -c 1"; do
    sox -n -r 48000 $spec fmt.wav synth 1.5 sine 300 gain -6
    wm -silent -infile=fmt.wav -outfile=fmt-out.wav -convert_to=Wave
    check "same samples and format ($spec)" cmp -s <(raw_of fmt.wav; encoded_format_of fmt.wav) \
        <(raw_of fmt-out.wav; encoded_format_of fmt-out.wav)
done

# Raw PCM through a Linux pipe (PeekNamedPipe fails there; the run must still read it all).
sox "with space/in put.wav" -t raw tone.raw
cat tone.raw | wine "$stage/Wavemill.exe" -infile=- -outfile=piped.wav -convert_to=Wave \
    -sourcefreq=44100 -sourcechannels=2 -sourcebits=16 >/dev/null
check "piped PCM through a Linux pipe arrives whole" test $? -eq 0 -a "$(raw_of piped.wav | cmp - tone.raw && echo same)" = same
head -c 1001 tone.raw | wine "$stage/Wavemill.exe" -silent -infile=- -outfile=half.wav \
    -convert_to=Wave -sourcefreq=44100 -sourcechannels=2 -sourcebits=16 >/dev/null
check "half sample at the end is dropped, run succeeds" test $?:"$(raw_of half.wav | wc -c)" = 0:1000

# Bad input: each fails with a line and status 1, and never replaces an existing output.
printf 'RIF' >tiny.wav
cp "with space/in put.wav" zero.wav
printf '\x00\x00' | dd of=zero.wav bs=1 seek=22 conv=notrunc status=none # channels = 0
mkdir -p dir.wav
for bad in tiny.wav zero.wav dir.wav; do
    echo keep >kept.wav
    wm -silent -infile="$bad" -outfile=kept.wav -convert_to=Wave 2>err.txt
    check "$bad fails with status 1 and a line, keeps the output" \
        test $?:"$(cat kept.wav)" = 1:keep -a -s err.txt
done
# The error line says why a source does not open.
for bad in "missing.wav:the file does not exist" "dir.wav:it is a folder, not a file" \
    "tone.raw:not a RIFF WAVE file"; do
    cp -n tone.raw tone.raw.wav 2>/dev/null
    name=${bad%%:*}
    [ "$name" = tone.raw ] && name=tone.raw.wav
    wm -silent -infile="$name" -outfile=kept.wav -convert_to=Wave 2>err.txt
    check "$name: the line says '${bad#*:}'" grep -q "for decoding: ${bad#*:}\." <(utf8 <err.txt) ||
        utf8 <err.txt
done
# Options that reach an encoder: a misspelt one is named, an effect the converter could not take
# is explained, a value the codec would quietly change is refused with what is allowed, and
# libFLAC's refusals are said in words.
sox -V1 -n -r 8000 -c 10 -b 16 ten.wav synth 0.5 sine 300
sox -V1 -n -r 8000 -c 1 -b 16 low.wav synth 0.5 sine 300
while IFS='|' read -r codec input options words; do
    echo keep >kept.out
    # shellcheck disable=SC2086
    wm -silent -infile="$input" -outfile=kept.out -convert_to=$codec $options 2>err.txt
    check "$codec $options: fails, output kept, the line says '$words'" \
        test $?:"$(cat kept.out)":"$(utf8 <err.txt | grep -c -- "$words")" = 1:keep:1
done <<'EOF'
Wave|fmt.wav|-bits=16|unknown option -bits: the Wave encoder has no options of its own
Wave|fmt.wav|-dspeffect1=Normalize|-dspeffect1: not an encoder option: an effect is written Name=settings, and the numbers must not skip one
FLAC|fmt.wav|-dspeffect2=Volume=gain=1|-dspeffect2: not an encoder option: an effect is written
MP3|fmt.wav|-dspeffect1=Volume|-dspeffect1: not an encoder option
MP3|fmt.wav|-b 100|MP3 bit rates are 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, 192, 224, 256 and 320 kbps
MP3|low.wav|-b 320|-b 320 does not exist for MP3 at 8000 Hz; the bit rates there are 8, 16, .* and 160 kbps
MP3|ten.wav|-b 128|MP3 holds one or two channels; the source has 10 (the Channels effect
FLAC|ten.wav||FLAC holds 1 to 8 channels; the source has 10 (the Channels effect
EOF
# The converter's own options that reach the encoders are harmless there: float PCM from
# standard input (-sourceisfloat stays on the encoder's command line) encodes to MP3, and FLAC
# names the effect setting that stores it.
sox -V1 -n -r 44100 -c 2 -b 32 -e floating-point -t raw float.raw synth 1 sine 440 gain -6
for codec in MP3 FLAC; do
    wine "$stage/Wavemill.exe" -silent -infile=- -outfile=float.$codec -convert_to=$codec \
        -sourcefreq=44100 -sourcechannels=2 -sourcebits=32 -sourceisfloat <float.raw 2>err.txt
    statuses+="$codec:$?:$(utf8 <err.txt | grep -c 'dspeffect1="BitDepth=bits=24"') "
done
check "float PCM on standard input: MP3 encodes it, FLAC names BitDepth=bits=24" \
    test "$statuses" = "MP3:0:0 FLAC:1:1 "
# A data size that claims more than the file holds: what is there converts.
cp "with space/in put.wav" lying.wav
printf '\xff\xff\xff\x7f' | dd of=lying.wav bs=1 seek=40 conv=notrunc status=none
wm -silent -infile=lying.wav -outfile=lying-out.wav -convert_to=Wave >/dev/null
check "lying data size converts what is there" cmp -s <(raw_of "with space/in put.wav") <(raw_of lying-out.wav)

# A full disk for the output (a small tmpfs, when this user may mount one): the line says so, a
# new output leaves no partial file, an existing one is kept and no temporary file stays.
mkdir -p full
if mount -t tmpfs -o size=256k tmpfs full 2>/dev/null; then
    for codec in Wave FLAC; do
        wm -silent -infile="$win_in" -outfile="full\\new.out" -convert_to=$codec 2>err.txt
        check "$codec on a full disk: status 1, 'disk full', no partial file" \
            test $?:"$(ls full | wc -l)" = 1:0 -a -n "$(utf8 <err.txt | grep -i 'disk full')"
    done
    echo keep >full/kept.wav
    wm -silent -infile="$win_in" -outfile="full\\kept.wav" -convert_to=Wave 2>err.txt
    check "full disk keeps the existing output and leaves no temporary file" \
        test $?:"$(cat full/kept.wav)":"$(ls full | wc -l)" = 1:keep:1
    umount full
else
    echo "note: cannot mount a tmpfs here; the full-disk cases are not run"
fi

# Ctrl-C (SIGINT reaches the console handler under Wine) stops a slow run like the quit event:
# status 1, a line saying so, the existing output kept, no temporary output left.
printf 'format 44100 2 16\nsleep 50\nblock 4000 400\n' >slow.wmt
echo keep >stopped.raw
command wine "$stage/Wavemill.exe" -silent -infile=slow.wmt -outfile=stopped.raw -convert_to=TestEnc \
    </dev/null >/dev/null 2>stop-err.txt &
pid=$!
sleep 2
kill -INT "$pid"
wait "$pid"
status=$?
check "Ctrl-C ends the run with status 1" test "$status" -eq 1
check "Ctrl-C says why" grep -q 'stopped (Ctrl-C)' <(utf8 <stop-err.txt)
check "Ctrl-C keeps the existing output, leaves no temporary file" \
    test "$(cat stopped.raw):$(ls stopped.raw.tmp* 2>/dev/null | wc -l)" = keep:0
# A killed run leaves its temporary output behind; the next run to that output removes it.
echo partial >fresh.raw.tmp.raw
printf 'block 400\n' >short.wmt
wm -silent -infile=short.wmt -outfile=fresh.raw -convert_to=TestEnc >/dev/null
check "a killed run's temporary output is removed by the next run" \
    test $?:"$(wc -c <fresh.raw)":"$(ls fresh.raw.tmp* 2>/dev/null | wc -l)" = 0:400:0

# Tags and album art through a whole conversion, checked with ffprobe: text tags ffmpeg wrote
# (LIST/INFO), a "tag" option winning over the source, and two covers from an "id3 " chunk.
if command -v ffmpeg >/dev/null && command -v ffprobe >/dev/null; then
    ffmpeg -v error -y -f lavfi -i "sine=frequency=330:duration=2" -ac 2 -c:a pcm_s16le -metadata \
        title='Tagged Title' -metadata artist='Source Artist' -metadata album='Source Album' \
        -metadata comment='Source comment' tagged.wav
    wm -silent -infile=tagged.wav -outfile=tagged-out.wav -convert_to=Wave \
        -tag="artist=Command {qt}Line{qt} Artist" >/dev/null
    check "tagged conversion exits 0" test $? -eq 0
    probe=$(tags_of tagged-out.wav)
    for tag in 'title=Tagged Title' 'album=Source Album' 'comment=Source comment' \
        'artist=Command "Line" Artist'; do
        check "tag $tag (the tag option wins)" grep -qxF "TAG:$tag" <<<"$probe"
    done
    check "tagged audio identical" cmp -s <(raw_of tagged.wav) <(raw_of tagged-out.wav)

    mkdir -p pics-in pics-out
    printf '\211PNG\r\n\032\nfront-cover-bytes' >pics-in/front.png
    printf '\377\330\377\340back-cover-bytes\377\331' >pics-in/back.jpg
    cp "with space/in put.wav" covers.wav
    wavtool settags "Z:$stage" "Z:$work/covers.wav" 'title=With Covers' \
        "@Front Album Cover=Z:$work/pics-in/front.png" "@Back Album Cover=Z:$work/pics-in/back.jpg"
    wm -silent -infile=covers.wav -outfile=covers-out.wav -convert_to=Wave >/dev/null
    check "conversion with covers exits 0" test $? -eq 0
    check "ffprobe sees the title" grep -qxF 'TAG:title=With Covers' <<<"$(tags_of covers-out.wav)"
    check "ffprobe sees two attached pictures" test "$(ffprobe -v error -show_entries \
        stream_disposition=attached_pic -of csv=p=0 covers-out.wav | grep -c '^1$')" -eq 2
    listed=$(wavtool tags "Z:$stage" "Z:$work/covers-out.wav" "Z:$work/pics-out")
    check "covers keep their types" test "$(grep -c '^picture \([12]\) _albumart_\1_\(Front\|Back\) Album Cover ' <<<"$listed")" -eq 2
    check "covers byte-identical" cmp -s <(cat pics-in/front.png pics-in/back.jpg) <(cat pics-out/picture1.bin pics-out/picture2.bin)
    wm -silent -noidtag -infile=covers.wav -outfile=untagged.wav -convert_to=Wave >/dev/null
    check "noidtag writes no tags" test -z "$(tags_of untagged.wav)"
else
    echo "FAIL ffmpeg/ffprobe missing: tag checks not run"; failures=$((failures + 1))
fi

e2e_verdict "shell end-to-end"
