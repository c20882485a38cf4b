#!/bin/bash
# Files as other programs leave them, which the usual round trips never make: tags stacked around
# MP3 audio, WAV files with two tags of one kind, WavPack with an ID3v1 tag after its APE tag,
# Ogg with a video stream beside the audio, FLAC in Ogg, AIFF ending in half a sample frame, DSD. Each file is
# made here (by the native tools where they write it, by bytes where not) and checked against
# the native decoders; every run has a hard time limit (shell_support.sh), so a hang fails.
# Usage: odd_files_e2e.sh <stage dir> <wine prefix> <work dir> <wavtool.exe>
set -uo pipefail
. "$(dirname "$0")/shell_support.sh"
e2e_start "$@" sox lame mpg123 ffmpeg ffprobe flac metaflac
wm_limit=${WM_TIME_LIMIT:-60}

# --- tag bytes ---
byte() { printf "\\$(printf %03o $(($1 & 255)))"; }
be32() { byte $(($1 >> 24)); byte $(($1 >> 16)); byte $(($1 >> 8)); byte $1; }
le32() { byte $1; byte $(($1 >> 8)); byte $(($1 >> 16)); byte $(($1 >> 24)); }
le64() { le32 $(($1 & 0xFFFFFFFF)); le32 $(($1 >> 32)); }
syncsafe() { byte $(($1 >> 21 & 127)); byte $(($1 >> 14 & 127)); byte $(($1 >> 7 & 127)); byte $(($1 & 127)); }
# id3v2 <version 3|4> <title>: one TIT2 frame (Latin-1); version 4 with a footer.
id3v2() {
    local body=$((10 + 1 + ${#2})) flags=0
    [ "$1" = 4 ] && flags=16
    printf ID3 && byte "$1" && byte 0 && byte $flags && syncsafe $body
    printf TIT2 && { [ "$1" = 4 ] && syncsafe $((1 + ${#2})) || be32 $((1 + ${#2})); }
    printf '\0\0\0%s' "$2"
    if [ "$1" = 4 ]; then printf 3DI && byte 4 && byte 0 && byte $flags && syncsafe $body; fi
}
# apev2 <title>: header, one Title item, footer.
apev2() {
    local flags
    for flags in 0xA0000000 0x80000000; do
        printf APETAGEX && le32 2000 && le32 $((8 + 6 + ${#1} + 32)) && le32 1 && le32 $flags
        printf '\0\0\0\0\0\0\0\0'
        [ $flags = 0xA0000000 ] && le32 ${#1} && le32 0 && printf 'Title\0%s' "$1"
    done
}
id3v1() { printf 'TAG%-30.30s%-30s%-30s%-4s%-30s\377' "$1" "" "" "" ""; }
# riff_chunk <id> <body file>: the chunk, padded to an even length.
riff_chunk() {
    local size
    size=$(stat -c %s "$2")
    printf %s "$1" && le32 "$size" && cat "$2"
    [ $((size % 2)) = 1 ] && byte 0
    return 0
}
# wave_with <output> <chunk file...>: src.wav's fmt and data chunks, then the given chunks.
wave_with() {
    local out=$1 body=wave-body.bin
    shift
    sox -V1 src.wav -t raw data.bin
    { printf WAVE; printf 'fmt \020\0\0\0\1\0\2\0'; le32 44100; le32 176400; printf '\4\0\20\0'
      riff_chunk data data.bin; cat "$@"; } >$body
    { printf RIFF; le32 "$(stat -c %s $body)"; cat $body; } >"$out"
}
# info_list <file> <title>: a LIST/INFO chunk holding INAM.
info_list() {
    printf '%s\0' "$2" >inam.bin
    { printf INFO && riff_chunk INAM inam.bin; } >info.bin && riff_chunk LIST info.bin >"$1"
}
flac_titles() { metaflac --export-tags-to=- "$1" | grep -ai '^title=' | cat -A; }

sox -R -V1 -n -r 44100 -c 2 -b 16 src.wav synth 3 sine 440 gain -4

# --- MP3: tags where the decoder does not expect them ---
lame --silent -b 128 src.wav xing.mp3 # LAME's info frame: the exact length
lame --silent -t -b 128 src.wav plain.mp3
for audio in xing plain; do
    { id3v2 3 First; id3v2 4 Second; cat $audio.mp3; } >$audio-two-front.mp3
    { id3v2 3 First; cat $audio.mp3; id3v2 3 End; } >$audio-end23.mp3
    { cat $audio.mp3; id3v2 4 First; } >$audio-end24.mp3
    { cat $audio.mp3; id3v2 3 First; apev2 Ape; } >$audio-end-ape.mp3
    { cat $audio.mp3; apev2 Ape; id3v2 4 First; } >$audio-ape-end.mp3
    { cat $audio.mp3; apev2 Ape; id3v2 3 First; } >$audio-ape-end23.mp3
    { cat $audio.mp3; id3v2 3 First; id3v1 Old; } >$audio-end-v1.mp3
    { cat $audio.mp3; id3v1 Old; id3v2 4 First; } >$audio-v1-end.mp3
    for layout in two-front end23 end24 end-ape ape-end ape-end23 end-v1 v1-end; do
        file=$audio-$layout.mp3
        wm -infile=$file -outfile=d.wav -convert_to=Wave
        status=$?
        want=$(($(mpg123 -q -s $file | wc -c) / 4))
        title=$(wavtool tags "Z:$stage" "Z:$work/d.wav" "Z:$work" | sed -n 's/^title=//p')
        check "MP3 $file: ends (status $status), mpg123's $want samples, the first tag's title" \
            test "$status:$(soxi -s d.wav 2>/dev/null):$title" = "0:$want:First"
    done
done

# --- WAV: two tags of one kind ---
info_list info1.chunk Title1
info_list info2.chunk Title2
id3v2 3 Id3Title >id3.bin && riff_chunk 'id3 ' id3.bin >id3.chunk
id3v2 3 Second >id3b.bin && riff_chunk 'ID3 ' id3b.bin >id3b.chunk
# A title holding a CR and a control character: one line, nothing else carried.
info_list crlf.chunk "$(printf 'Line1\rLine2\001')"
wave_with two-info.wav info1.chunk info2.chunk
wave_with info-id3.wav info1.chunk id3.chunk
wave_with two-id3.wav id3.chunk id3b.chunk
wave_with control.wav crlf.chunk
while read -r file want; do
    wm -infile=$file -outfile=t.flac -convert_to=FLAC
    check "WAV $file to FLAC: one TITLE comment, '$want'" test "$(flac_titles t.flac)" = "TITLE=$want\$"
    wm -infile=$file -outfile=t.mp3 -convert_to=MP3
    check "WAV $file to MP3: the title '$want'" \
        test "$(ffprobe -v error -show_entries format_tags=title -of csv=p=0 t.mp3 | cat -A)" = "$want\$"
    wm -infile=$file -outfile=t.wav -convert_to=Wave
    check "WAV $file to Wave: the title '$want'" \
        test "$(wavtool tags "Z:$stage" "Z:$work/t.wav" "Z:$work" | grep '^title=' | cat -A)" = "title=$want\$"
done <<'EOF2'
two-info.wav Title1
info-id3.wav Id3Title
two-id3.wav Id3Title
control.wav Line1 Line2
EOF2

# --- WavPack with an ID3v1 tag after its APE tag ---
ffmpeg -v error -y -i src.wav -c:a wavpack -metadata title=Packed packed.wv
{ cat packed.wv; id3v1 Old; } >packed-v1.wv
check "the native ffmpeg reads the WavPack file with the ID3v1 tag whole" \
    test "$(ffmpeg -v quiet -i packed-v1.wv -f s16le - | wc -c)" = "$(sox -V1 src.wav -t raw - | wc -c)"
wm -infile=packed-v1.wv -outfile=d.wav -convert_to=Wave
# libavformat finds no APE tag behind the ID3v1 tag: the title is the ID3v1 tag's, as ffprobe says.
check "WavPack with APE and ID3v1 tags: decoded whole, the title ffprobe reads" \
    test "$(same_audio src.wav d.wav && echo same):$(wavtool tags "Z:$stage" "Z:$work/d.wav" "Z:$work" | grep '^title=')" = "same:title=$(ffprobe -v error -show_entries format_tags=title -of csv=p=0 packed-v1.wv)"

# --- Ogg: a Theora video stream beside the Vorbis audio ---
ffmpeg -v error -y -f lavfi -i testsrc=size=64x48:rate=5:duration=3 -i src.wav -c:v libtheora \
    -c:a libvorbis -shortest video.ogg
note=$(timeout 60 wine "$stage/Wavemill.exe" -infile=video.ogg -outfile=d.wav -convert_to=Wave </dev/null 2>/dev/null |
    iconv -f UTF-16LE -t UTF-8)
n=$(ffmpeg -v quiet -i video.ogg -map 0:a -f s16le - | wc -c)
check "Ogg with Theora and Vorbis: the Vorbis audio whole, the Theora stream named as skipped" \
    test "$(soxi -s d.wav 2>/dev/null):$(grep -c "Information: Decoder: the file's Theora stream was not read" <<<"$note")" = "$((n / 4)):1"

# --- FLAC in Ogg (.oga): through the FFmpeg decoder, lossless, with its comments ---
sox -V1 src.wav -b 24 -t wavpcm src24.wav
for source in src src24; do
    flac -s -f --ogg -T TITLE=Oga -o flac.oga $source.wav
    wm -infile=flac.oga -outfile=d.wav -convert_to=Wave
    check "FLAC in Ogg from $source.wav: its samples exactly, its title" \
        test "$(same_audio $source.wav d.wav && echo same):$(soxi -b d.wav):$(wavtool tags "Z:$stage" "Z:$work/d.wav" "Z:$work" | grep '^title=')" = "same:$(soxi -b $source.wav):title=Oga"
done

# --- AIFF whose sound data ends in half a sample frame ---
for frames in 3072 44032; do # the half frame alone in the demuxer's last packet of 1024
    sox -V1 src.wav -t aiff -b 16 half.aiff trim 0 ${frames}s
    size=$(stat -c %s half.aiff)
    ssnd=$(grep -obUa SSND half.aiff | cut -d: -f1)
    # Half a frame more, and the FORM and SSND sizes saying so (SSND is the last chunk).
    printf '\1\2' >>half.aiff
    be32 $((size + 2 - 8)) | dd of=half.aiff bs=1 seek=4 conv=notrunc status=none
    be32 $((8 + frames * 4 + 2)) | dd of=half.aiff bs=1 seek=$((ssnd + 4)) conv=notrunc status=none
    note=$(timeout 60 wine "$stage/Wavemill.exe" -infile=half.aiff -outfile=d.wav -convert_to=Wave </dev/null 2>/dev/null |
        iconv -f UTF-16LE -t UTF-8)
    n=$(ffmpeg -v quiet -i half.aiff -f s16le - | wc -c)
    check "AIFF of $frames frames and a half: ffmpeg's $((n / 4)) frames, the rest named" \
        test "$(soxi -s d.wav 2>/dev/null):$(grep -c "Information: Decoder: the file ends inside a packet" <<<"$note")" = "$((n / 4)):1"
done

# --- DSD (DSF, 5.6 MHz) to FLAC ---
# dsf <output> <bytes per channel>: stereo DSD128, the idle pattern in every bit.
dsf() {
    local bytes=$2 blocks=$((($2 + 4095) / 4096))
    {
        printf 'DSD ' && le64 28 && le64 $((28 + 52 + 12 + blocks * 4096 * 2)) && le64 0
        printf 'fmt ' && le64 52 && le32 1 && le32 0 && le32 2 && le32 2 && le32 5644800 && le32 1
        le64 $((bytes * 8)) && le32 4096 && le32 0
        printf data && le64 $((12 + blocks * 4096 * 2))
        head -c $((blocks * 4096 * 2)) /dev/zero | tr '\0' '\151'
    } >"$1"
}
dsf dsd.dsf $((5644800 / 8)) # one second
want=$(($(ffmpeg -v quiet -i dsd.dsf -f s16le - | wc -c) / 4 / 4)) # at 705.6 kHz, a quarter
for options in "" "-b 4608"; do
    # shellcheck disable=SC2086
    wm -infile=dsd.dsf -outfile=dsd.flac -convert_to=FLAC $options
    check "DSD128 to FLAC${options:+ with $options}: 176.4 kHz 24-bit, $want samples, flac -t passes" \
        test "$(metaflac --show-sample-rate --show-bps --show-total-samples dsd.flac 2>/dev/null | tr '\n' ' ')$(flac -s -t dsd.flac 2>&1 && echo ok)" = "176400 24 $want ok"
done

# The advice for a PCM source above FLAC's subset works when followed.
sox -V1 -n -r 705600 -c 2 -b 24 fast.wav synth 0.2 sine 1000
wm -infile=fast.wav -outfile=fast.flac -convert_to=FLAC
check "705.6 kHz PCM to FLAC: refused with the resampling that makes it fit" \
    grep -qF 'resample it first (-dspeffect1="Resample=rate=176400")' wm.err
wm -infile=fast.wav -outfile=fast.flac -convert_to=FLAC -dspeffect1="Resample=rate=176400"
check "... and with that effect it converts" test "$?:$(metaflac --show-sample-rate fast.flac)" = 0:176400

e2e_verdict "odd file"
