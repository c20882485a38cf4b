#!/bin/bash
# End-to-end checks from a Linux shell under Wine: argument quoting as Wine builds it, a Linux
# pipe on standard input, redirected output, and WAV conversions checked with sox.
# Usage: shell_e2e.sh <source dir> <stage dir> <wine prefix> <work dir>
set -uo pipefail
src=$1 stage=$2 work=$4
export WINEPREFIX=$3 WINEDEBUG=-all WINEDLLOVERRIDES=mscoree,mshtml=
unset DISPLAY
command -v sox >/dev/null || { echo "SKIP: sox is not installed"; exit 77; }
rm -rf "$work" && mkdir -p "$work/with space" && cd "$work"
failures=0
check() { # check <description> <command...>
    local what=$1; shift
    if "$@"; then echo "ok   $what"; else echo "FAIL $what"; failures=$((failures + 1)); fi
}
wm() { wine "$stage/Wavemill.exe" "$@" </dev/null; }
raw_of() { sox "$1" -t raw -; }
utf8() { iconv -f UTF-16LE -t UTF-8; }
format_of() { echo "$(soxi -r "$1") $(soxi -c "$1") $(soxi -b "$1") $(soxi -e "$1") $(soxi -s "$1")"; }

# Redirected standard output: UTF-16LE, CR LF, no byte-order mark; -help exits 1.
wm -help >help.txt; status=$?
check "-help exits 1" test "$status" -eq 1
check "redirected output starts with CR LF in UTF-16LE, no BOM" \
    test "$(head -c 4 help.txt | od -An -tx1 | tr -d ' ')" = "0d000a00"
check "usage line" grep -q 'Usage: Wavemill.exe -infile="filename" -outfile="filename" -convert_to="codec" \[codec compression CLI\]' <(utf8 <help.txt)

# WAV to WAV, with the arguments quoted whole by Wine (path with a space, folder ending in \).
sox -n -r 44100 -c 2 -b 16 "with space/in put.wav" synth 3 sine 440 gain -3
win_in=$(winepath -w "with space/in put.wav") win_dir=$(winepath -w "$work/with space")
wm -infile="$win_in" -outfile="$win_dir\\out.wav" -convert_to=Wave -tmpfolder="$win_dir\\" >run.txt
check "WAV to WAV with wrapped quoting exits 0" test $? -eq 0
check "progress bar and summary" grep -q 'Conversion completed in ' <(utf8 <run.txt)
check "60 progress marks" grep -q '\*\{60\}' <(utf8 <run.txt)
check "audio identical" cmp -s <(raw_of "with space/in put.wav") <(raw_of "with space/out.wav")
check "sox reads 44100 Hz 2 ch 16 bit, 3 s" test "$(format_of "with space/out.wav")" = "44100 2 16 Signed Integer PCM 132300"

# Formats sox writes decode to the same samples (24-bit, float, 6 channels, 8-bit).
for spec in "-b 24 -c 2" "-e floating-point -b 32 -c 2" "-b 16 -c 6" "-b 8 -e unsigned -c 1"; do
    sox -n -r 48000 $spec fmt.wav synth 1.5 sine 300 gain -6
    wm -silent -infile=fmt.wav -outfile=fmt-out.wav -convert_to=Wave
    check "decode/encode keeps samples ($spec)" cmp -s <(raw_of fmt.wav) <(raw_of fmt-out.wav)
    check "sox reads the same format ($spec)" \
        test "$(format_of fmt.wav)" = "$(format_of fmt-out.wav)"
done

# Raw PCM through a Linux pipe (PeekNamedPipe fails there; the run must still read it all).
sox "with space/in put.wav" -t raw tone.raw
cat tone.raw | wine "$stage/Wavemill.exe" -infile=- -outfile=piped.wav -convert_to=Wave \
    -sourcefreq=44100 -sourcechannels=2 -sourcebits=16 >/dev/null
check "Linux pipe on standard input exits 0" test $? -eq 0
check "piped PCM arrives whole" cmp -s tone.raw <(raw_of piped.wav)
head -c 1001 tone.raw | wine "$stage/Wavemill.exe" -silent -infile=- -outfile=half.wav \
    -convert_to=Wave -sourcefreq=44100 -sourcechannels=2 -sourcebits=16 >/dev/null
check "half sample at the end is dropped, run succeeds" test $? -eq 0
check "only whole frames kept" test "$(raw_of half.wav | wc -c)" -eq 1000

# Bad input: each fails with a line and status 1, and never replaces an existing output.
printf 'RIF' >tiny.wav
cp "with space/in put.wav" zero.wav
printf '\x00\x00' | dd of=zero.wav bs=1 seek=22 conv=notrunc status=none # channels = 0
mkdir -p dir.wav
for bad in tiny.wav zero.wav dir.wav; do
    echo keep >kept.wav
    wm -silent -infile="$bad" -outfile=kept.wav -convert_to=Wave 2>err.txt
    check "$bad fails with status 1" test $? -eq 1
    check "$bad gives an error line" test -s err.txt
    check "$bad keeps the existing output" test "$(cat kept.wav)" = keep
done
# A data size that claims more than the file holds: what is there converts.
cp "with space/in put.wav" lying.wav
printf '\xff\xff\xff\x7f' | dd of=lying.wav bs=1 seek=40 conv=notrunc status=none
wm -silent -infile=lying.wav -outfile=lying-out.wav -convert_to=Wave
check "lying data size converts what is there" cmp -s <(raw_of "with space/in put.wav") <(raw_of lying-out.wav)

if ((failures)); then echo "$failures check(s) failed"; exit 1; fi
echo "all shell end-to-end checks passed"
