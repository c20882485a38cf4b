#!/bin/sh
# The layer check refuses a link that runs up: a scratch copy of the tree where the text layer
# links the converter's options must fail to configure, naming both layers.
. "$(dirname "$0")/scratch_copy.sh"
echo 'target_link_libraries(wm_text PUBLIC wm_options)' >>"$scratch/converter/CMakeLists.txt"
if configure_scratch; then
    echo "FAIL: the upward link configured"
    exit 1
fi
# CMake rewraps the message: join its lines before looking.
message=$(tr -s ' \n' '  ' <"$scratch/out.txt")
case $message in
*"Layer 'text' (rank 2) may not link layer 'converter' (rank 9): wm_text links wm_options."*)
    echo "refused as expected" ;;
*)
    echo "FAIL: the configure failed for another reason:"
    cat "$scratch/out.txt"
    exit 1 ;;
esac
