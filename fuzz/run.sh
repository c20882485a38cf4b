#!/bin/sh
# Builds the libFuzzer targets with clang in build/fuzz and runs each for a while.
# Usage: fuzz/run.sh [seconds per target, default 60] [target ...]   (no target: all of them)
# New inputs go to build/fuzz/corpus/<target>; the checked-in seeds stay untouched.
# Crashes are written to build/fuzz/artifacts/ and make the script fail.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
seconds=${1:-60}
[ $# -gt 0 ] && shift
only=" $* "
build=$root/build/fuzz

cmake -S "$root" -B "$build" -G Ninja -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DWAVEMILL_FUZZ=ON -DWAVEMILL_PORTABLE_ONLY=ON >/dev/null
cmake --build "$build" --target fuzz_targets

status=0
# target:seed-folder
for entry in fuzz_wav_header:wav fuzz_wav_tags:wav_tags fuzz_tagblock_wide:fuzz_tagblock_wide \
    fuzz_tagblock_narrow:fuzz_tagblock_narrow fuzz_image_header:fuzz_image_header \
    fuzz_vorbis_comments:fuzz_vorbis_comments fuzz_mp3_tags:fuzz_mp3_tags; do
    target=${entry%%:*}
    if [ "$only" != "  " ] && [ "${only#* "$target" }" = "$only" ]; then
        continue
    fi
    seeds=$root/fuzz/corpus/${entry#*:}
    corpus=$build/corpus/$target
    mkdir -p "$corpus" "$build/artifacts"
    echo "== $target for ${seconds}s"
    if ! "$build/fuzz/$target" -max_total_time="$seconds" -print_final_stats=1 \
        -artifact_prefix="$build/artifacts/$target-" "$corpus" "$seeds"; then
        echo "== $target FAILED: see $build/artifacts/" >&2
        status=1
    fi
done
exit $status
