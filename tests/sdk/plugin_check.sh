#!/bin/bash
# plugin-check.exe over every staged plug-in (bundled, test and example ones must pass) and over
# the plug-ins broken on purpose (each must fail, naming its rule).
# Usage: plugin_check.sh <dist dir> <stage dir> <wine prefix> <work dir>
set -uo pipefail
dist=$1 stage=$2 work=$4
export WINEPREFIX=$3 WINEDEBUG=-all WINEDLLOVERRIDES=mscoree,mshtml=
# The test decoder's tag writer would accept tags it never reads back.
export WAVEMILL_TEST_IDTAGS=refuse
unset DISPLAY
command -v sox >/dev/null || { echo "SKIP: sox is not installed"; exit 77; }
rm -rf "$work" && mkdir -p "$work/samples" && cd "$work" || exit 1
failures=0
win() { local p=$1; [ "${p#/}" != "$p" ] || p=$PWD/$p; p=${p//\//\\}; echo "Z:$p"; }
run_check() { wine "$dist/plugin-check.exe" "$@" </dev/null 2>&1 | tr -d '\r'; return "${PIPESTATUS[0]}"; }
# The validator always prints its first line; nothing at all means the process never started
# (seen once under a loaded Wine server), so that case alone is tried a second time.
check() {
    local out status; out=$(run_check "$@"); status=$?
    [ -n "$out" ] || { out=$(run_check "$@"); status=$?; }
    printf '%s\n' "$out"; return $status
}
expect_pass() { # expect_pass <dll> [arguments...]
    local out status; out=$(check "$(win "$1")" "${@:2}"); status=$?
    if [ $status -eq 0 ]; then echo "ok   passes: ${1##*/} ${*:2}"
    else echo "FAIL should pass (status $status): ${1##*/} ${*:2}"; echo "$out"; failures=$((failures + 1)); fi
}
expect_fail() { # expect_fail <dll> <words> [arguments...]
    local out status; out=$(check "$(win "$1")" "${@:3}"); status=$?
    if [ $status -eq 1 ] && grep -qF -- "$2" <<<"$out"; then echo "ok   fails: ${1##*/}: $2"
    else echo "FAIL should fail with \"$2\" (status $status): ${1##*/}"; echo "$out"
        failures=$((failures + 1)); fi
}

# Samples for the decoders' extensions: what sox writes, the test script, the broken format.
for ext in wav au flac aiff; do
    sox -n -r 44100 -c 2 -b 16 "samples/sample.$ext" synth 1.3 sine 440 gain -6 2>/dev/null
done
cp samples/sample.wav samples/sample.wave
printf 'format 44100 2 16\nblock 17640 5\n' >samples/sample.wmt
printf 'BRK' >samples/sample.brk
sample_for() { # the first sample whose extension the decoder claims
    local ext
    for ext in $(check "$(win "$1")" | sed -n 's/^note  reads \.\([^ ]*\) .*/\1/p'); do
        [ -f "samples/sample.$ext" ] && { win "samples/sample.$ext"; return; }
    done
}

# Every staged plug-in keeps the rules; the two test plug-ins that lack an export on purpose
# are the missing-export cases.
for dll in "$stage"/decoder/*.dll; do
    case ${dll##*/} in
    NoDeleteATag.dll) expect_fail "$dll" "does not export 'DeleteATag'" ;;
    *) expect_pass "$dll" $(sample_for "$dll") ;;
    esac
done
for dll in "$stage"/encoder/*.dll; do
    case ${dll##*/} in
    NoRemoveConfig.dll) expect_fail "$dll" "does not export 'ENC_RemoveConfigBit'" ;;
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
    NoAfterConversion.dll) expect_fail "$dll" "does not export 'DSP_AfterConversion'" ;;
    *) expect_pass "$dll" ;;
    esac
done

# One plug-in per broken rule; the unbroken build of the same source passes.
b=$stage/broken brk=$(win samples/sample.brk)
expect_pass "$b/BrokenDecoder_NONE.dll" "$brk"
expect_fail "$b/BrokenDecoder_END_ON_DATA.dll" "the end flag came on a block that carries audio" "$brk"
expect_fail "$b/BrokenDecoder_TORN.dll" "bytes, not whole 4-byte frames" "$brk"
expect_fail "$b/BrokenDecoder_AFTER_CLOSE.dll" "\"DecodeBlock\" after \"Close\" returned non-zero" "$brk"
expect_fail "$b/BrokenDecoder_LEAK.dll" "the blocks handed back are not freed" "$brk"
expect_fail "$b/BrokenDecoder_CRASH.dll" "the plug-in crashed in Create" "$brk"
expect_fail "$b/BrokenDecoder_FORMAT.dll" "avgBytesPerSec 88200 is not samplesPerSec x blockAlign" "$brk"
expect_fail "$b/BrokenDecoder_POSITION.dll" "the bytes before it make" "$brk"
expect_fail "$b/BrokenDecoder_BYTE_TOTAL.dll" "\"Open\" announced byteLength 176404" "$brk"
expect_fail "$b/BrokenDecoder_OPEN_FOREIGN.dll" "accepted a file of 4096 'x' characters" "$brk"
expect_fail "$b/BrokenDecoder_UNKNOWN_VALUE.dll" "answer 0 for every name you do not know" "$brk"
expect_fail "$b/BrokenDecoder_TAGS.dll" "the source's tag block is damaged" "$brk"
expect_fail "$b/BrokenDecoder_LASTERROR_LINES.dll" "\"LastError\" holds a line break" "$brk"
expect_fail "$b/BrokenDecoder_DECODES_ENDLESS.dll" "keeps answering \"Decodes\"" "$brk"
expect_fail "$b/BrokenDecoder_DECORATED.dll" "exports '_DeleteATag' but the host looks for the plain name 'DeleteATag'" "$brk"
expect_fail "$b/BrokenDecoder_NULL_DATA.dll" "bytes but no data pointer" "$brk"
expect_fail "$b/BrokenDecoder_GLOBAL_STATE.dll" "two instances decoding at once deliver other audio" "$brk"
expect_fail "$b/BrokenDecoder_NONE.dll" "does not claim '.wav'" "$(win samples/sample.wav)"
expect_pass "$b/BrokenEncoder_NONE.dll"
expect_fail "$b/BrokenEncoder_EMPTY_END.dll" "refused the empty last block"
expect_fail "$b/BrokenEncoder_KEEP_OPEN.dll" "the output is still open after \"ENC_EndConversion\""
expect_fail "$b/BrokenEncoder_AFTER_END.dll" "\"ENC_EncodeBlock\" after \"ENC_EndConversion\" returned non-zero"
expect_fail "$b/BrokenEncoder_ELSEWHERE.dll" "wrote 'output.pcm.log' beside the output"
expect_fail "$b/BrokenEncoder_FAILED_OPEN.dll" "after a failed run (runError 1) the output is still open"
expect_fail "$b/BrokenEncoder_EXTENSION.dll" "\"Extension\" needs pointer1 = the output's extension with its dot"
expect_pass "$b/BrokenEffect_NONE.dll"
expect_fail "$b/BrokenEffect_LIVE_FORMAT.dll" "the block handed back has a wrong format"
expect_fail "$b/BrokenEffect_NONLIVE_TORN.dll" "not whole 4-byte frames"
expect_fail "$b/BrokenEffect_TORN.dll" "not whole 4-byte frames"
expect_fail "$b/BrokenEffect_LEAK.dll" "the blocks handed back are not freed"
expect_fail "$stage/Wavemill.exe" "exports none of the entry points"
check >/dev/null; [ $? -eq 2 ] && echo "ok   no arguments: status 2" || { echo "FAIL no arguments"; failures=$((failures + 1)); }

echo "$failures failure(s)"
[ "$failures" -eq 0 ]
