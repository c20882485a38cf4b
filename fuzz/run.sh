#!/bin/sh
# Builds the libFuzzer targets (preset "fuzz", build/fuzz) and runs each for a while.
# Usage: fuzz/run.sh [--keep] [seconds per target, default 60] [target ...]  (no target: all)
# New inputs go to build/fuzz/corpus/<target>; with --keep, a clean run's corpus is minimised
# back into the checked-in fuzz/corpus/<target>. Crashes are written to build/fuzz/artifacts/
# and make the script fail.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
keep=0
if [ "${1:-}" = "--keep" ]; then
    keep=1
    shift
fi
seconds=${1:-60}
[ $# -gt 0 ] && shift
only=" $* "
build=$root/build/fuzz

cd "$root"
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz

status=0
for target in fuzz_wav_header fuzz_wav_tags fuzz_tagblock_wide fuzz_tagblock_narrow \
    fuzz_image_header fuzz_command_line fuzz_command_file fuzz_vorbis_comments fuzz_mp3_tags \
    fuzz_mp3_layout fuzz_ogg_comments fuzz_picture_block fuzz_ogg_pages fuzz_tag_block_rule \
    fuzz_parent_lines fuzz_parent_line_parser fuzz_cue_sheet fuzz_tag_rewrite; do
    if [ "$only" != "  " ] && [ "${only#* "$target" }" = "$only" ]; then
        continue
    fi
    seeds=$root/fuzz/corpus/$target
    corpus=$build/corpus/$target
    mkdir -p "$seeds" "$corpus" "$build/artifacts"
    echo "== $target for ${seconds}s"
    # An input that takes 10 s is a hang, and a hang is a finding.
    if ! "$build/fuzz/$target" -max_total_time="$seconds" -timeout=10 -print_final_stats=1 \
        -artifact_prefix="$build/artifacts/$target-" "$corpus" "$seeds"; then
        echo "== $target FAILED: see $build/artifacts/" >&2
        status=1
    elif [ $keep = 1 ]; then
        minimised=$build/minimised/$target
        rm -rf "$minimised" && mkdir -p "$minimised"
        "$build/fuzz/$target" -merge=1 "$minimised" "$seeds" "$corpus" 2>/dev/null
        rm -f "$seeds"/* && cp "$minimised"/* "$seeds"/
    fi
done
exit $status
