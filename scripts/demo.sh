#!/bin/bash
# The main job on a fresh machine: install what is missing, build, make a 30-second tone and
# convert it with Wavemill under Wine, showing the settings, the progress bar and the summary.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
scripts/build.sh windows
mkdir -p build/demo
sox -n -r 44100 -c 2 -b 16 build/demo/tone.wav synth 30 sine 440 sine 660 gain -6
export WINEPREFIX="$PWD/build/windows/wineprefix" WINEDEBUG=-all WINEDLLOVERRIDES=mscoree,mshtml=
tests/wine_prefix.sh up "$WINEPREFIX"
rm -f build/demo/tone-out.wav
wine dist/Wavemill.exe -infile=build/demo/tone.wav -outfile=build/demo/tone-out.wav -convert_to=Wave \
    | iconv -f UTF-16LE -t UTF-8
echo "Wavemill exit status: ${PIPESTATUS[0]}"
soxi build/demo/tone-out.wav
