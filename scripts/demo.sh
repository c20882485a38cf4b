#!/bin/bash
# The main job on a fresh machine: install what is missing, build, make a tagged 30-second sample
# with a cover, convert it with Wavemill under Wine to FLAC and on to MP3, and check each output
# with its native tool (flac and metaflac, ffprobe and mpg123).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/build.sh windows
demo=build/demo
mkdir -p $demo
# Wine builds the UTF-16 command line through the locale: UTF-8 keeps non-ASCII tags whole.
export LC_ALL=C.UTF-8
. tests/wine_env.sh
use_wine_prefix "$PWD/build/windows/wineprefix"
tests/wine_prefix.sh up "$WINEPREFIX"
wm() { wine dist/Wavemill.exe "$@" </dev/null | iconv -f UTF-16LE -t UTF-8; }

sox -n -r 44100 -c 2 -b 16 $demo/sample.wav synth 30 sine 440 sine 660 gain -6
/usr/bin/convert-im6.q16 -size 300x300 gradient:navy-gold $demo/cover.jpg
wine build/windows/tests/unit/wav/wavtool.exe settags "Z:$PWD/dist" "Z:$PWD/$demo/sample.wav" \
    'title=Demo Tone' 'artist=Wavemill' 'album=Demo' 'track=1/1' 'year=2026' \
    "@Front Album Cover=Z:$PWD/$demo/cover.jpg" </dev/null
rm -f $demo/sample.flac $demo/sample.mp3

wm -infile=$demo/sample.wav -outfile=$demo/sample.flac -convert_to=FLAC -8
echo "Wavemill exit status: ${PIPESTATUS[0]}"
flac -t $demo/sample.flac
metaflac --list --block-type=VORBIS_COMMENT,PICTURE $demo/sample.flac | grep -E 'comment\[|type: [0-9]+ \(|MIME'

wm -infile=$demo/sample.flac -outfile=$demo/sample.mp3 -convert_to=MP3 -V 2
echo "Wavemill exit status: ${PIPESTATUS[0]}"
ffprobe -v error -show_entries format_tags:stream=codec_name:stream_disposition=attached_pic -of compact $demo/sample.mp3
mpg123 -t -q $demo/sample.mp3 && echo "mpg123 decodes it: ok"
