#!/bin/bash
# The examples as a third party meets them: built alone from a copy of the sdk folder with the
# commands of sdk/README.md and passed by the validator; and, as the project builds them,
# converting through Wavemill.exe, checked with sox.
# Usage: sdk_examples.sh <source dir> <stage dir> <wine prefix> <work dir> <dist dir>
set -uo pipefail
src=$1 stage=$2 work=$4 dist=$5
. "$(dirname "$0")/../wine_env.sh"
use_wine_prefix "$3"
command -v sox >/dev/null || { echo "SKIP: sox is not installed"; exit 77; }
rm -rf "$work" && mkdir -p "$work" && cd "$work" || exit 1
failures=0
check() { # check <description> <command...>
    local what=$1; shift
    if "$@"; then echo "ok   $what"; else echo "FAIL $what"; failures=$((failures + 1)); fi
}
wm() { wine "$stage/Wavemill.exe" "$@" </dev/null >run.txt 2>err.txt; }
said() { cat run.txt err.txt | iconv -f UTF-16LE -t UTF-8 | tr -d '\r' | grep -qF -- "$1"; }
raw_of() { sox "$@" -t raw -e signed -b 16 -L -; }
win() { local p=${1//\//\\}; echo "Z:$p"; }

# A copy of the sdk folder alone, built with the toolchain file and commands of sdk/README.md.
cp -r "$src/sdk" sdk
sed -n '/^```cmake mingw-w64.cmake/,/^```$/p' sdk/README.md | sed '1d;$d' >mingw-w64.cmake
(cd sdk/examples && cmake -S . -B build -DCMAKE_TOOLCHAIN_FILE="$work/mingw-w64.cmake" \
    -DCMAKE_BUILD_TYPE=Release >"$work/configure.txt" 2>&1 &&
    cmake --build build >"$work/build.txt" 2>&1)
check "the examples build from the sdk folder alone" test $? -eq 0
for dll in decoder/ExampleAu.dll encoder/ExampleAu.dll DSPs/ExampleGain.dll; do
    check "standalone $dll imports only Windows DLLs" \
        test -z "$(x86_64-w64-mingw32-objdump -p "sdk/examples/build/$dll" | grep 'DLL Name' |
            grep -iv 'kernel32\|msvcrt\|user32\|advapi32')"
done
sox -n -r 44100 -c 2 -b 16 in.au synth 1 sine 440 gain -10
for dll in decoder/ExampleAu.dll encoder/ExampleAu.dll DSPs/ExampleGain.dll; do
    wine "$dist/plugin-check.exe" "$(win "$work/sdk/examples/build/$dll")" "$(win "$work/in.au")" \
        -settings=50 </dev/null >check.txt 2>&1
    check "the validator passes the standalone $dll" test $? -eq 0
done

# Through Wavemill: WAV to .au and back, with relative paths as a user types them.
sox -n -r 44100 -c 2 -b 16 in.wav synth 3 sine 440 gain -10
wm -infile=in.wav -outfile=out.au -convert_to=ExampleAu
check "WAV to .au through the example encoder exits 0" test $? -eq 0
check "sox reads the .au as 44100 Hz, 2 channels, 16 bits" \
    test "$(for o in r c b; do soxi -$o out.au 2>&1; done | tr '\n' ' ')" = "44100 2 16 "
check ".au samples equal the WAV's" cmp -s <(raw_of in.wav) <(raw_of out.au)
wm -infile=out.au -outfile=back.wav -convert_to=Wave
check ".au to WAV through the example decoder exits 0" test $? -eq 0
check "the progress bar reaches 60 marks (the end comes as an empty block)" \
    grep -q '\*\{60\}' <(iconv -f UTF-16LE -t UTF-8 <run.txt)
check "WAV samples equal the .au's" cmp -s <(raw_of out.au) <(raw_of back.wav)

# The gain effect, live and non-live, doubles every sample exactly as sox does.
for settings in 200 "200 nonlive"; do
    rm -f gain.wav
    wm -infile=in.wav -outfile=gain.wav -convert_to=Wave "-dspeffect1=ExampleGain=$settings"
    check "gain '$settings' exits 0" test $? -eq 0
    check "gain '$settings' equals sox vol 2" cmp -s <(sox -D in.wav -t raw - vol 2) <(raw_of gain.wav)
done

# A plug-in's own reason ends the host's error line.
echo "not audio at all" >bad.au
wm -infile=bad.au -outfile=bad.wav -convert_to=Wave
check "a foreign .au fails the run" test $? -eq 1
check "the decoder's reason ends the error line" said "for decoding: not a Sun audio file."

echo "$failures failure(s)"
[ "$failures" -eq 0 ]
