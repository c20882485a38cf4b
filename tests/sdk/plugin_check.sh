#!/bin/bash
# plugin-check.exe over every staged plug-in (bundled, test and example ones must pass) and over
# the plug-ins broken on purpose (each must fail, naming its rule).
# Usage: plugin_check.sh <dist dir> <stage dir> <wine prefix> <work dir> <SDK README>
set -uo pipefail
dist=$1 stage=$2 work=$4 readme=$5
. "$(dirname "$0")/../wine_env.sh"
use_wine_prefix "$3"
# The test decoder's tag writer would accept tags it never reads back.
export WAVEMILL_TEST_IDTAGS=refuse
command -v sox >/dev/null || { echo "SKIP: sox is not installed"; exit 77; }
rm -rf "$work" && mkdir -p "$work/samples" && cd "$work" || exit 1
failures=0
win() { local p=$1; [ "${p#/}" != "$p" ] || p=$PWD/$p; p=${p//\//\\}; echo "Z:$p"; }
run_check() { wine "$dist/plugin-check.exe" "$@" </dev/null 2>&1 | tr -d '\r'; return "${PIPESTATUS[0]}"; }
# The validator always prints its first line: a run that printed nothing fails whatever it was
# expected to do, and is never run again.
check() {
    local out status; out=$(run_check "$@"); status=$?
    if [ -z "$out" ]; then
        echo "plugin-check printed nothing (status $status): $*"
        return 125
    fi
    printf '%s\n' "$out"; return $status
}
expect_pass() { # expect_pass <dll> [arguments...]
    local out status; out=$(check "$(win "$1")" "${@:2}"); status=$?
    if [ $status -eq 0 ]; then echo "ok   passes: ${1##*/} ${*:2}"
    else echo "FAIL should pass (status $status): ${1##*/} ${*:2}"; echo "$out"; failures=$((failures + 1)); fi
}
expect_fail() { # expect_fail <dll> <rule id> [arguments...]
    local out status; out=$(check "$(win "$1")" "${@:3}"); status=$?
    if [ $status -eq 1 ] && grep -qF -- "FAIL  [$2] " <<<"$out"; then echo "ok   fails: ${1##*/}: [$2]"
    else echo "FAIL should fail with [$2] (status $status): ${1##*/}"; echo "$out"
        failures=$((failures + 1)); fi
}
expect_warning() { # expect_warning <dll> <rule id> [arguments...]: a warning, status 0
    local out status; out=$(check "$(win "$1")" "${@:3}"); status=$?
    if [ $status -eq 0 ] && grep -qF -- "warn  [$2] " <<<"$out"; then echo "ok   warns: ${1##*/}: [$2]"
    else echo "FAIL should warn with [$2] (status $status): ${1##*/}"; echo "$out"
        failures=$((failures + 1)); fi
}

# Samples for the decoders' extensions, 16-bit stereo and 24-bit 6-channel: what sox, opusenc and oggenc write, the
# test script, the broken format ("BRK", channels, bits, rate as 4 bytes, then PCM).
for ext in wav au flac aiff; do
    sox -n -r 44100 -c 2 -b 16 "samples/sample.$ext" synth 1.3 sine 440 gain -6 2>/dev/null
    sox -n -r 96000 -c 6 -b 24 "samples/sample24.$ext" synth 0.5 sine 440 gain -6 2>/dev/null
done
cp samples/sample.wav samples/sample.wave
opusenc --quiet samples/sample.wav samples/sample.opus
oggenc -Q -o samples/sample.ogg samples/sample.wav
printf 'FILE "sample.wav" WAVE\nTRACK 01 AUDIO\nINDEX 01 00:00:00\nTRACK 02 AUDIO\nINDEX 01 00:01:00\n' \
    >samples/sample.cue
printf 'format 44100 2 16\nblock 17640 5\n' >samples/sample.wmt
printf 'format 96000 6 24\nblock 17280 5\n' >samples/sample24.wmt
brk_sample() { # brk_sample <file> <channels> <bits> <rate> <hex rate bytes>
    { printf "BRK\\x$(printf %02x "$2")\\x$(printf %02x "$3")$5"
      sox -n -t raw -r "$4" -c "$2" -b "$3" -e signed - synth 1 sine 440 gain -6 2>/dev/null; } >"$1"
}
brk_sample samples/sample.brk 2 16 44100 '\x44\xac\x00\x00'
brk_sample samples/sample24.brk 6 24 96000 '\x00\x77\x01\x00'
samples_for() { # the samples whose extension the decoder claims first
    local ext
    for ext in $(check "$(win "$1")" | sed -n 's/^note  reads \.\([^ ]*\) .*/\1/p'); do
        [ -f "samples/sample.$ext" ] || continue
        win "samples/sample.$ext"
        [ -f "samples/sample24.$ext" ] && win "samples/sample24.$ext"
        return
    done
}

# Every staged plug-in keeps the rules; the two test plug-ins that lack an export on purpose
# are the missing-export cases.
for dll in "$stage"/decoder/*.dll; do
    case ${dll##*/} in
    NoDeleteATag.dll) expect_fail "$dll" export-missing ;;
    *) expect_pass "$dll" $(samples_for "$dll") ;;
    esac
done
for dll in "$stage"/encoder/*.dll; do
    case ${dll##*/} in
    NoRemoveConfig.dll) expect_fail "$dll" export-missing ;;
    # The scripted test encoder takes any option on purpose: the tests steer it by options.
    TestEnc.dll) expect_fail "$dll" options-ignored ;;
    *) expect_pass "$dll" ;;
    esac
done
# The example effect both ways; the bundled effects with settings they need; others with empty
# settings.
for dll in "$stage"/DSPs/*.dll; do
    case ${dll##*/} in
    ExampleGain.dll) expect_pass "$dll" "-settings=50"; expect_pass "$dll" "-settings=50 nonlive" ;;
    BitDepth.dll) expect_pass "$dll" "-settings=bits=16" ;;
    Channels.dll) expect_pass "$dll" "-settings=channels=1" ;;
    Resample.dll) expect_pass "$dll" "-settings=rate=48000" ;;
    Normalize.dll) expect_pass "$dll" "-settings=peak=-1" ;;
    Volume.dll) expect_pass "$dll" "-settings=gain=-3" ;;
    NoAfterConversion.dll) expect_fail "$dll" export-missing ;;
    # The scripted test effect takes any setting on purpose: the tests steer it by settings.
    TestDsp.dll) expect_fail "$dll" settings-ignored ;;
    *) expect_pass "$dll" ;;
    esac
done

# One plug-in per broken rule, each failing with its rule's id; the unbroken build of the same
# source passes.
b=$stage/broken brk=$(win samples/sample.brk) brk24=$(win samples/sample24.brk)
decoder_fails() { expect_fail "$b/BrokenDecoder_$1.dll" "$2" "$brk" "$brk24" "${@:3}"; }
expect_pass "$b/BrokenDecoder_NONE.dll" "$brk" "$brk24"
while read -r break rule; do decoder_fails "$break" "$rule"; done <<'MATRIX'
END_ON_DATA end-with-audio
TORN block-whole-frames
AFTER_CLOSE after-close
LEAK leak
CRASH crash
FORMAT open-format
POSITION block-position
BYTE_TOTAL byte-total
OPEN_FOREIGN open-foreign
UNKNOWN_VALUE unknown-value
TAGS open-tags
LASTERROR_LINES lasterror-lines
DECODES_ENDLESS decodes-endless
DECORATED export-decorated
NULL_DATA block-null
GLOBAL_STATE two-decoders
ZERO_CRASH crash
FIXED_64K memory-damaged
SIZED_FOR_16 memory-damaged
CUT_TORN block-whole-frames
STOP_AT_SILENCE zeroed-length
NO_END stalls
COMMUNICATE_FOREVER communicate-endless
TORN_END block-whole-frames
TAG_UNTERMINATED open-tags
NO_RESET block-position
MSLENGTH_16 open-length
BLOCKALIGN_16 open-format
NO_REASON lasterror-missing
KEEPS_HANDLE close-keeps-file
MATRIX
decoder_fails HANG call-hangs --call-limit=5
expect_fail "$b/BrokenDecoder_NONE.dll" sample-extension "$(win samples/sample.wav)"
expect_warning "$b/BrokenDecoder_CLAIMS_WAV.dll" extension-taken "$brk"

expect_pass "$b/BrokenEncoder_NONE.dll" -options=-level=5
encoder_fails() { expect_fail "$b/BrokenEncoder_$1.dll" "$2" "${@:3}"; }
while read -r break rule; do encoder_fails "$break" "$rule"; done <<'MATRIX'
EMPTY_END encode
KEEP_OPEN output-open
AFTER_END after-end
ELSEWHERE output-elsewhere
FAILED_OPEN failed-open
EXTENSION extension
IGNORES_OPTIONS options-ignored
HOST_OPTIONS options-host
HEADER_UNPATCHED read-back
NULL_LAST crash
COMMUNICATE_FOREVER communicate-endless
ANSWERS_ALL unknown-value
SECOND_BLOCK_BAD second-block
HARDCODED_44K read-back
GLOBAL_PENDING two-encoders
NOT_LOSSLESS lossless
DECODED_PEAK decoded-peak
MATRIX
encoder_fails TYPED_OPTIONS begin -options=-level=5

expect_pass "$b/BrokenEffect_NONE.dll"
effect_fails() { expect_fail "$b/BrokenEffect_$1.dll" "$2"; }
while read -r break rule; do effect_fails "$break" "$rule"; done <<'MATRIX'
LIVE_FORMAT live-format
NONLIVE_TORN nonlive-frames
TORN live-frames
LEAK leak
HARDCODED_FORMAT duration
FLOAT_UNSAID duration
WRITES_INPUT writes-input
ASSUMES_STEREO16 live-frames
NONLIVE_LOCKED nonlive-open
FIXED_BUFFER duration
RATE_UNSAID duration
NULL_END crash
IGNORES_SETTINGS settings-ignored
GLOBAL_DELAY two-in-chain
WIDTH_AS_16 width-garbage
MATRIX

expect_fail "$stage/Wavemill.exe" kind
check >/dev/null; [ $? -eq 2 ] && echo "ok   no arguments: status 2" || { echo "FAIL no arguments"; failures=$((failures + 1)); }
check "$(win "$b/BrokenEffect_NONE.dll")" -bogus >/dev/null
[ $? -eq 2 ] && echo "ok   unknown argument: status 2" || { echo "FAIL unknown argument"; failures=$((failures + 1)); }

# --only reports one rule: the torn decoder fails on it and passes on a rule it keeps; an id
# the table does not hold is a wrong argument.
expect_fail "$b/BrokenDecoder_TORN.dll" block-whole-frames "$brk" --only=block-whole-frames
expect_pass "$b/BrokenDecoder_TORN.dll" "$brk" --only=leak
check "$(win "$b/BrokenEffect_NONE.dll")" --only=no-such-rule >/dev/null
[ $? -eq 2 ] && echo "ok   unknown rule: status 2" || { echo "FAIL unknown rule"; failures=$((failures + 1)); }

# --list holds every rule the matrix asserts, and the "(checked: <id>)" marks of the SDK README
# name rules of the table and each failing rule of the table once at least.
listed=$(check --list | awk '{print $1}')
asserted=$(sed -n 's/^\([A-Z0-9_]*\) \([a-z0-9-]*\)$/\2/p; s/^[a-z]*_fails [A-Z0-9_]* \([a-z0-9-]*\).*/\1/p' "$0" | sort -u)
marked=$(tr -s '\n ' '  ' <"$readme" | grep -o '(checked: [a-z0-9, -]*)' |
    sed 's/(checked: //; s/)//; s/, /\n/g' | sort -u)
failing=$(check --list | grep -v '(warning)' | awk '{print $1}' | sort -u)
for id in $asserted $marked; do
    grep -qx -- "$id" <<<"$listed" || { echo "FAIL rule '$id' is not in --list"; failures=$((failures + 1)); }
done
for id in $failing; do
    grep -qx -- "$id" <<<"$marked" || { echo "FAIL rule '$id' has no (checked: $id) mark in the SDK README"; failures=$((failures + 1)); }
done
echo "ok   --list: $(wc -w <<<"$listed") rules, $(wc -w <<<"$marked") marked in the SDK README"

echo "$failures failure(s)"
[ "$failures" -eq 0 ]
