#!/bin/sh
# A library sees the headers of another library of its own folder only by linking it: in a
# scratch copy of the tree, the converter's sample frames (which do not link the converter's
# options) include a command-file header and must fail to compile for that header alone.
. "$(dirname "$0")/scratch_copy.sh"
sed -i '1i #include "converter/CommandFileText.h"' "$scratch/converter/SampleFrames.cpp"
configure_scratch || { echo "FAIL: the scratch copy did not configure:"; cat "$scratch/out.txt"; exit 1; }
if cmake --build "$scratch/build" --target wm_sample_frames >"$scratch/out.txt" 2>&1; then
    echo "FAIL: a header of an unlinked library of the same folder was found"
    exit 1
fi
if grep -q "'converter/CommandFileText.h' file not found" "$scratch/out.txt"; then
    echo "refused as expected"
else
    echo "FAIL: the build failed for another reason:"
    cat "$scratch/out.txt"
    exit 1
fi
