#!/bin/bash
# Cross-builds the pinned third-party libraries once per build tree:
#   scripts/build-third-party.sh <build-tree>/third_party <toolchain-file>
# Each library is unpacked, built and installed under the given folder; a stamp naming the
# version and the flags marks it done, so later configures and builds reuse it untouched.
# Optimisation flags follow Debian's own builds (-O2; libFLAC adds -funroll-loops) so that the
# bundled codecs run the same code as the native tools they are compared with.
set -euo pipefail
here="$(cd "$(dirname "$0")/.." && pwd)"
out="$1"
toolchain="$2"
sources="$here/build/third_party/sources"
prefix="$out/install"
host=x86_64-w64-mingw32
export CC=$host-gcc-posix
jobs=$(nproc)

"$here/scripts/fetch-third-party.sh"
mkdir -p "$prefix/licenses"

version_of() { awk -v n="$1" '$1 == n { print $2 }' "$here/third_party/versions.txt"; }

# unpack <package> -> prints the unpacked upstream source folder
unpack() {
    local dir="$out/src/$1"
    rm -rf "$dir" && mkdir -p "$dir"
    tar xf "$sources/$1"/*.orig.tar.* -C "$dir"
    find "$dir" -mindepth 1 -maxdepth 1 -type d
}

cmake_lib() {
    local name=$1 src=$2 cflags=$3
    shift 3
    cmake -S "$src" -B "$out/build/$name" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
        -DCMAKE_BUILD_TYPE=Release "-DCMAKE_C_FLAGS_RELEASE=$cflags" \
        -DCMAKE_INSTALL_PREFIX="$prefix" -DCMAKE_INSTALL_LIBDIR=lib "$@"
    cmake --build "$out/build/$name" -j "$jobs"
    cmake --install "$out/build/$name"
}

build_flac() {
    local src
    src=$(unpack flac)
    cmake_lib flac "$src" "-O2 -funroll-loops" -DBUILD_PROGRAMS=OFF -DBUILD_EXAMPLES=OFF \
        -DBUILD_TESTING=OFF -DBUILD_DOCS=OFF -DINSTALL_MANPAGES=OFF -DWITH_OGG=OFF \
        -DBUILD_CXXLIBS=OFF -DBUILD_SHARED_LIBS=OFF -DINSTALL_PKGCONFIG_MODULES=OFF \
        -DINSTALL_CMAKE_CONFIG_MODULE=OFF
    cp "$src/COPYING.Xiph" "$prefix/licenses/libFLAC.txt"
}

build_lame() {
    local src
    src=$(unpack lame)
    # 3.100 no longer defines lame_init_old, which its export list still names.
    sed -i '/^lame_init_old$/d' "$src/include/libmp3lame.sym"
    mkdir -p "$out/build/lame"
    (cd "$out/build/lame" && "$src/configure" --host=$host --prefix="$prefix" \
        --disable-frontend --enable-shared --disable-static --disable-rpath \
        CFLAGS="-O2" LDFLAGS="-static-libgcc" &&
        make -j "$jobs" && make install)
    cp "$src/COPYING" "$prefix/licenses/LAME.txt"
}

build_mpg123() {
    local src
    src=$(unpack mpg123)
    cmake_lib mpg123 "$src/ports/cmake" "-O2 -DNDEBUG" -DBUILD_PROGRAMS=OFF \
        -DBUILD_LIBOUT123=OFF -DBUILD_SHARED_LIBS=ON -DCMAKE_SHARED_LINKER_FLAGS="-static"
    cp "$src/COPYING" "$prefix/licenses/mpg123.txt"
}

build_libsoxr() {
    local src
    src=$(unpack libsoxr)
    cmake_lib libsoxr "$src" "-O2 -DNDEBUG" -DBUILD_TESTS=OFF -DBUILD_EXAMPLES=OFF \
        -DWITH_OPENMP=OFF -DBUILD_SHARED_LIBS=ON -DWITH_LSR_BINDINGS=OFF
    cat "$src/LICENCE" "$src/COPYING.LGPL" >"$prefix/licenses/libsoxr.txt"
}

build_libebur128() {
    local src
    src=$(unpack libebur128)
    cmake_lib libebur128 "$src" "-O2 -DNDEBUG" -DBUILD_STATIC_LIBS=ON -DBUILD_SHARED_LIBS=OFF \
        -DENABLE_INTERNAL_QUEUE_H=ON
    cp "$src/COPYING" "$prefix/licenses/libebur128.txt"
}

# The DLLs ship: no symbols, as for every other binary of the installation tree.
strip_shared() {
    local dll
    for dll in "$prefix"/bin/*.dll; do
        $host-strip --strip-all "$dll"
    done
}

for lib in flac lame mpg123 libsoxr libebur128; do
    # The stamp names the version and a hash of the recipe, so a change of flags rebuilds.
    recipe=$(declare -f "build_$lib" cmake_lib unpack | sha1sum | cut -c1-12)
    stamp="$prefix/.built-$lib-$(version_of $lib)-$recipe"
    [ -f "$stamp" ] && continue
    echo "Building third-party $lib $(version_of $lib) (once per build tree)"
    rm -f "$prefix/.built-$lib-"*
    mkdir -p "$out/logs"
    if ! ("build_$lib") >"$out/logs/$lib.log" 2>&1; then
        tail -40 "$out/logs/$lib.log"
        echo "Building $lib failed; the whole log: $out/logs/$lib.log" >&2
        exit 1
    fi
    touch "$stamp"
done
strip_shared
