#!/bin/sh
# The layer check refuses a link that runs up: a scratch copy of the tree where the text layer
# links the converter's options must fail to configure, naming both layers.
src=$1
scratch=$(mktemp -d) || exit 1
trap 'rm -rf "$scratch"' EXIT
tar -C "$src" --exclude=./build --exclude=./dist --exclude=./.git -cf - . | tar -C "$scratch" -xf - || exit 1
echo 'target_link_libraries(wm_text PUBLIC wm_options)' >>"$scratch/converter/CMakeLists.txt"
if cmake -S "$scratch" -B "$scratch/build" -G Ninja -DWAVEMILL_PORTABLE_ONLY=ON \
    -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ >"$scratch/out.txt" 2>&1; then
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
