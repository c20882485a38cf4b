#!/bin/sh
# Checks the WAV plug-ins' tags against ffmpeg and ffprobe:
#   the text tags ffmpeg writes (LIST/INFO) decode to the values given;
#   tags and two covers written through "IDTags" read back in ffprobe (ID3 in an "id3 " chunk,
#   pictures as attached-picture streams) and in the decoder, byte for byte;
#   the audio samples stay what they were.
# Usage: tag_check.sh <wavtool.exe> <stage dir> <work dir> <wine prefix>
set -eu
tool=$1 stage=$2 work=$3 prefix=$4

for t in ffmpeg ffprobe sox; do
    if ! command -v $t >/dev/null 2>&1; then
        echo "SKIP: $t is not installed; the WAV tags were not checked against it" >&2
        exit 77
    fi
done

rm -rf "$work"
mkdir -p "$work/pictures"
cd "$work"
failures=0

wavtool() {
    env -u DISPLAY WINEPREFIX="$prefix" WINEDEBUG=-all WINEDLLOVERRIDES=mscoree,mshtml= \
        wine "$tool" "$@" </dev/null | tr -d '\r'
}
win() { echo "Z:$work/$1"; }
fail() {
    echo "FAIL: $*" >&2
    failures=$((failures + 1))
}
expect_line() { # expect_line <what> <line> <text>
    printf '%s\n' "$3" | grep -qxF -- "$2" || fail "$1: no line '$2' in: $3"
}

title='Café ♫ title'
ffmpeg -v error -f lavfi -i "sine=frequency=440:duration=1.5" -ac 2 -c:a pcm_s16le \
    -metadata title="$title" -metadata artist='Some Artist' -metadata album='An Album' \
    -metadata comment='A comment' in.wav

# ffmpeg's LIST/INFO -> decoder
tags=$(wavtool tags "Z:$stage" "$(win in.wav)" "$(win pictures)") || fail "reading ffmpeg's tags"
echo "ffmpeg's file: $tags"
expect_line "ffmpeg title" "title=$title" "$tags"
expect_line "ffmpeg artist" "artist=Some Artist" "$tags"
expect_line "ffmpeg album" "album=An Album" "$tags"
expect_line "ffmpeg comment" "comment=A comment" "$tags"

# Covers: real images when ImageMagick is there, else tiny hand-made ones.
im=/usr/bin/convert-im6.q16
if [ -x "$im" ]; then
    "$im" -size 64x48 gradient:red-blue front.png
    "$im" -size 40x40 plasma:fractal -quality 80 back.jpg
else
    printf '\211PNG\r\n\032\n\0\0\0\rIHDR\0\0\0\1\0\0\0\1\10\2\0\0\0\220wS\336\0\0\0\14IDATx\234c\370\377\377?\0\5\376\2\376\247\65\201\204\0\0\0\0IEND\256B`\202' >front.png
    printf '\377\330\377\340\0\20JFIF\0\1\1\0\0\1\0\1\0\0\377\331' >back.jpg
fi

cp in.wav out.wav
sox -V1 in.wav -t raw before.raw
new_title='Neuer Titel ♪ 2'
wavtool settags "Z:$stage" "$(win out.wav)" "title=$new_title" 'artist=Other Artist' \
    'album=Other Album' 'comment=Other comment' 'album artist=Band' \
    "@Front Album Cover=$(win front.png)" "@Back Album Cover=$(win back.jpg)" ||
    fail "Set IDTags failed"

# ffprobe reads the new tags (from the ID3 chunk) ...
probe=$(ffprobe -v error -show_entries format_tags -of default=nw=1 out.wav)
echo "ffprobe: $probe"
expect_line "ffprobe title" "TAG:title=$new_title" "$probe"
expect_line "ffprobe artist" "TAG:artist=Other Artist" "$probe"
expect_line "ffprobe album" "TAG:album=Other Album" "$probe"
expect_line "ffprobe comment" "TAG:comment=Other comment" "$probe"
# ... and the two covers as attached pictures.
streams=$(ffprobe -v error -show_entries stream=codec_name:stream_disposition=attached_pic \
    -of csv=p=0 out.wav)
echo "ffprobe streams: $(echo "$streams" | tr '\n' ' ')"
expect_line "front cover stream" "png,1" "$streams"
expect_line "back cover stream" "mjpeg,1" "$streams"
expect_line "audio stream" "pcm_s16le,0" "$streams"

# The decoder reads the same tags and pictures back.
back=$(wavtool tags "Z:$stage" "$(win out.wav)" "$(win pictures)") || fail "reading our tags"
expect_line "decoded title" "title=$new_title" "$back"
expect_line "decoded album artist" "album artist=Band" "$back"
expect_line "front picture" "picture 1 _albumart_1_Front Album Cover $(wc -c <front.png)" "$back"
expect_line "back picture" "picture 2 _albumart_2_Back Album Cover $(wc -c <back.jpg)" "$back"
cmp -s front.png pictures/picture1.bin || fail "front cover changed"
cmp -s back.jpg pictures/picture2.bin || fail "back cover changed"

# The audio is untouched.
sox -V1 out.wav -t raw after.raw
cmp -s before.raw after.raw || fail "the samples changed"
[ "$(soxi -s in.wav)" = "$(soxi -s out.wav)" ] || fail "sample count changed"

# Writing again replaces the tags instead of adding to them; an empty set removes them.
wavtool settags "Z:$stage" "$(win out.wav)" 'title=Third' || fail "second Set IDTags failed"
probe=$(ffprobe -v error -show_entries format_tags -of default=nw=1 out.wav)
[ "$probe" = "TAG:title=Third" ] || fail "after the second write: $probe"
wavtool settags "Z:$stage" "$(win out.wav)" || fail "clearing the tags failed"
[ -z "$(ffprobe -v error -show_entries format_tags -of default=nw=1 out.wav)" ] ||
    fail "tags left after clearing"
sox -V1 out.wav -t raw cleared.raw
cmp -s before.raw cleared.raw || fail "the samples changed after clearing"

if [ "$failures" -ne 0 ]; then
    echo "$failures check(s) failed" >&2
    exit 1
fi
echo "all tag checks passed"
