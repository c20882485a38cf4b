#!/bin/bash
# plugin-check.exe over every staged plug-in (bundled, test and example ones must pass) and over
# the plug-ins broken on purpose (each must fail, naming its rule).
# Usage: plugin_check.sh <dist dir> <stage dir> <wine prefix> <work dir>
set -uo pipefail
dist=$1 stage=$2 work=$4
. "$(dirname "$0")/../wine_env.sh"
use_wine_prefix "$3"
# The test decoder's tag writer would accept tags it never reads back.
export WAVEMILL_TEST_IDTAGS=refuse
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
    NoDeleteATag.dll) expect_fail "$dll" "does not export 'DeleteATag'" ;;
    *) expect_pass "$dll" $(samples_for "$dll") ;;
    esac
done
for dll in "$stage"/encoder/*.dll; do
    case ${dll##*/} in
    NoRemoveConfig.dll) expect_fail "$dll" "does not export 'ENC_RemoveConfigBit'" ;;
    # The scripted test encoder takes any option on purpose: the tests steer it by options.
    TestEnc.dll) expect_fail "$dll" "began a conversion with the made-up option" ;;
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
    # The scripted test encoder takes any option on purpose: the tests steer it by options.
    TestEnc.dll) expect_fail "$dll" "began a conversion with the made-up option" ;;
    *) expect_pass "$dll" ;;
    esac
done

# One plug-in per broken rule; the unbroken build of the same source passes.
b=$stage/broken brk=$(win samples/sample.brk) brk24=$(win samples/sample24.brk)
decoder_fails() { expect_fail "$b/BrokenDecoder_$1.dll" "$2" "$brk" "$brk24"; }
expect_pass "$b/BrokenDecoder_NONE.dll" "$brk" "$brk24"
decoder_fails END_ON_DATA "the end flag came on a block that carries audio"
decoder_fails TORN "bytes, not whole 4-byte frames: the host fails the run"
decoder_fails AFTER_CLOSE "\"DecodeBlock\" after \"Close\" returned non-zero"
decoder_fails LEAK "the blocks handed back are not freed"
decoder_fails CRASH "the plug-in crashed in Create"
decoder_fails FORMAT "avgBytesPerSec 88200 is not samplesPerSec x blockAlign"
decoder_fails POSITION "the bytes before it make"
decoder_fails BYTE_TOTAL "\"Open\" announced byteLength 176404"
decoder_fails OPEN_FOREIGN "accepted a file of 4096 'x' characters"
decoder_fails UNKNOWN_VALUE "answer 0 for every name you do not know"
decoder_fails TAGS "the source's tag block is damaged"
decoder_fails LASTERROR_LINES "\"LastError\" holds a line break"
decoder_fails DECODES_ENDLESS "keeps answering \"Decodes\""
decoder_fails DECORATED "exports '_DeleteATag' but the host looks for the plain name 'DeleteATag'"
decoder_fails NULL_DATA "bytes but no data pointer"
decoder_fails GLOBAL_STATE "two instances decoding at once deliver other audio"
expect_fail "$b/BrokenDecoder_NONE.dll" "does not claim '.wav'" "$(win samples/sample.wav)"
decoder_fails ZERO_CRASH "with a 0-byte copy of the sample: the plug-in crashed in Open"
decoder_fails FIXED_64K "DecodeBlock"
decoder_fails SIZED_FOR_16 "DecodeBlock"
decoder_fails CUT_TORN "with a copy of the sample cut mid-frame: the block at byte"
decoder_fails STOP_AT_SILENCE "zeros are silence, not the end of the stream"
decoder_fails NO_END "the host waits for the end flag forever"
decoder_fails COMMUNICATE_FOREVER "answered \"Communicate\" at \"BeforeOpen\" non-zero 1000 times"
decoder_fails TORN_END "(it carries the end flag): the host drops this whole last block"
decoder_fails TAG_UNTERMINATED "entry 1's value has no 0 terminator"
decoder_fails NO_RESET "is positioned at"
decoder_fails MSLENGTH_16 "does not follow from byteLength"
decoder_fails BLOCKALIGN_16 "blockAlign 12 is not channels x bytes per sample"

expect_pass "$b/BrokenEncoder_NONE.dll"
encoder_fails() { expect_fail "$b/BrokenEncoder_$1.dll" "$2"; }
encoder_fails EMPTY_END "refused the empty last block"
encoder_fails KEEP_OPEN "the output is still open after \"ENC_EndConversion\""
encoder_fails AFTER_END "\"ENC_EncodeBlock\" after \"ENC_EndConversion\" returned non-zero"
encoder_fails ELSEWHERE "wrote 'output.wav.log' beside the output"
encoder_fails FAILED_OPEN "after a failed run (runError 1) the output is still open"
encoder_fails EXTENSION "\"Extension\" needs pointer1 = the output's extension with its dot"
encoder_fails IGNORES_OPTIONS "began a conversion with the made-up option"
encoder_fails HOST_OPTIONS "refused the options the host passes to every encoder"
encoder_fails HEADER_UNPATCHED "read back"
encoder_fails NULL_LAST "crashed in ENC_EncodeBlock of the empty last block (null data)"
encoder_fails COMMUNICATE_FOREVER "answered \"Communicate\" at \"BeforeOpen\" non-zero 1000 times"
encoder_fails ANSWERS_ALL "takes a yes as a raw take-over"
encoder_fails SECOND_BLOCK_BAD "(the files written) is damaged: entry 1's value has no 0 terminator"

expect_pass "$b/BrokenEffect_NONE.dll"
effect_fails() { expect_fail "$b/BrokenEffect_$1.dll" "$2"; }
effect_fails LIVE_FORMAT "the block handed back has a wrong format"
effect_fails NONLIVE_TORN "not whole 4-byte frames"
effect_fails TORN "not whole 4-byte frames"
effect_fails LEAK "the blocks handed back are not freed"
effect_fails HARDCODED_FORMAT "with 24-bit 6-channel 96000 Hz audio: the audio handed back lasts"
effect_fails FLOAT_UNSAID "with 16-bit 2-channel 44100 Hz audio: the audio handed back lasts 2000 ms"
effect_fails WRITES_INPUT "wrote into the block it was given"
effect_fails ASSUMES_STEREO16 "not whole 18-byte frames of the format it declares"
effect_fails NONLIVE_LOCKED "the rendered file is still open (locked)"
effect_fails FIXED_BUFFER "with 32-bit 8-channel 192000 Hz audio: the audio handed back lasts"
effect_fails RATE_UNSAID "the audio handed back lasts 1088 ms"
effect_fails NULL_END "crashed in DSP_PassAudioBlock of the empty last block (null data)"

expect_fail "$stage/Wavemill.exe" "exports none of the entry points"
check >/dev/null; [ $? -eq 2 ] && echo "ok   no arguments: status 2" || { echo "FAIL no arguments"; failures=$((failures + 1)); }
check "$(win "$b/BrokenEffect_NONE.dll")" -bogus >/dev/null
[ $? -eq 2 ] && echo "ok   unknown argument: status 2" || { echo "FAIL unknown argument"; failures=$((failures + 1)); }

echo "$failures failure(s)"
[ "$failures" -eq 0 ]
