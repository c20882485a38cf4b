# Sourced by the layer checks' negative controls: copies the tree at $1 (without its builds and
# history) into a scratch folder, $scratch, removed when the script ends.
scratch=$(mktemp -d) || exit 1
trap 'rm -rf "$scratch"' EXIT
tar -C "$1" --exclude=./build --exclude=./dist --exclude=./.git -cf - . | tar -C "$scratch" -xf - || exit 1

# Configures the scratch copy's portable core natively, its output in $scratch/out.txt.
configure_scratch() {
    cmake -S "$scratch" -B "$scratch/build" -G Ninja -DWAVEMILL_PORTABLE_ONLY=ON \
        -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ >"$scratch/out.txt" 2>&1
}
