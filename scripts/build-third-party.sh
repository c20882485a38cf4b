#!/bin/bash
# Cross-builds the pinned third-party libraries once per build tree:
#   scripts/build-third-party.sh <build-tree>/third_party <toolchain-file>
# Each library is unpacked, built and installed under the given folder; a stamp naming the
# version and the flags marks it done, so later configures and builds reuse it untouched.
# Optimisation flags follow Debian's own builds (-O2; libFLAC adds -funroll-loops) so that the
# bundled codecs run the same code as the native tools they are compared with; libFLAC is the one
# exception (see build_flac).
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

# -O3: about a tenth less processor time per encode than -O2 (the autocorrelation loop is
# unrolled and vectorised), which a batch of short files under Wine needs to keep up with the
# native flac. CD audio at -0, -5 and -8 gave the same bytes as -O2; 24-bit noise at -8 let a few
# frames pick another predictor (12 bytes in 3.4 MB): libFLAC's own -fassociative-math.
build_flac() {
    local src
    src=$(unpack flac)
    cmake_lib flac "$src" "-O3 -funroll-loops" -DBUILD_PROGRAMS=OFF -DBUILD_EXAMPLES=OFF \
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
    # shlwapi serves only mpg123's own file-name opening, which the plug-in never calls: loaded
    # at start it would bring user32 and gdi32 into every MP3 conversion, so it is delay-loaded.
    local delay="$out/build/mpg123-delayload"
    mkdir -p "$delay"
    sh "$here/cmake/make_delay_lib.sh" shlwapi "/usr/$host/lib/libshlwapi.a" \
        "$delay/libshlwapi.a" "$host-nm" "$host-dlltool"
    cmake_lib mpg123 "$src/ports/cmake" "-O2 -DNDEBUG" -DBUILD_PROGRAMS=OFF \
        -DBUILD_LIBOUT123=OFF -DBUILD_SHARED_LIBS=ON -DCMAKE_SHARED_LINKER_FLAGS="-static -L$delay"
    cp "$src/COPYING" "$prefix/licenses/mpg123.txt"
}

build_libsoxr() {
    local src
    src=$(unpack libsoxr)
    cmake_lib libsoxr "$src" "-O2 -DNDEBUG" -DBUILD_TESTS=OFF -DBUILD_EXAMPLES=OFF \
        -DWITH_OPENMP=OFF -DBUILD_SHARED_LIBS=ON -DWITH_LSR_BINDINGS=OFF
    cat "$src/LICENCE" "$src/COPYING.LGPL" >"$prefix/licenses/libsoxr.txt"
}

# Our one change to libebur128 (third_party/patches): its K-weighting filter runs two channels
# side by side with its state in registers, half the time for the same results to the bit.
build_libebur128() {
    local src
    src=$(unpack libebur128)
    patch -d "$src" -p1 <"$here/third_party/patches/libebur128-filter-two-channels.patch"
    cmake_lib libebur128 "$src" "-O2 -DNDEBUG" -DBUILD_STATIC_LIBS=ON -DBUILD_SHARED_LIBS=OFF \
        -DENABLE_INTERNAL_QUEUE_H=ON
    cp "$src/COPYING" "$prefix/licenses/libebur128.txt"
}

# autotools_lib <name> <src> <cflags> [configure options]: a static library into the prefix,
# found by the next one through pkg-config.
autotools_lib() {
    local name=$1 src=$2 cflags=$3
    shift 3
    mkdir -p "$out/build/$name"
    (cd "$out/build/$name" && PKG_CONFIG_LIBDIR="$prefix/lib/pkgconfig" "$src/configure" \
        --host=$host --prefix="$prefix" --enable-static --disable-shared CFLAGS="$cflags" "$@" &&
        make -j "$jobs" && make install)
}

# debian_patch <package> <src> <patch>: one of Debian's own fixes to the upstream source.
debian_patch() {
    local dir="$out/src/$1-debian"
    rm -rf "$dir" && mkdir -p "$dir"
    tar xf "$sources/$1"/*.debian.tar.* -C "$dir"
    patch -d "$2" -p1 <"$dir/debian/patches/$3"
}

build_libogg() {
    local src
    src=$(unpack libogg)
    autotools_lib libogg "$src" "-O2"
    cp "$src/COPYING" "$prefix/licenses/libogg.txt"
}

# Debian configures opus with its custom modes on; run-time CPU detection is on by default.
build_opus() {
    local src
    src=$(unpack opus)
    autotools_lib opus "$src" "-O2" --enable-custom-modes --disable-doc --disable-extra-programs
    cp "$src/COPYING" "$prefix/licenses/opus.txt"
}

build_libopusenc() {
    local src
    src=$(unpack libopusenc)
    autotools_lib libopusenc "$src" "-O2" --disable-doc --disable-examples
    cp "$src/COPYING" "$prefix/licenses/libopusenc.txt"
}

build_opusfile() {
    local src
    src=$(unpack opusfile)
    debian_patch opusfile "$src" CVE-2022-47021.patch
    autotools_lib opusfile "$src" "-O2" --disable-http --disable-doc --disable-examples
    cp "$src/COPYING" "$prefix/licenses/opusfile.txt"
}

# On x86 Linux libvorbis's configure adds -ffast-math, so Debian's build has it; its mingw branch
# does not, so it is named here to run the same code.
build_libvorbis() {
    local src
    src=$(unpack libvorbis)
    debian_patch libvorbis "$src" 0002-Avoid-SIGFPE-when-bytespersample-is-zero.patch
    autotools_lib libvorbis "$src" "-O2 -ffast-math" --disable-docs --disable-examples
    cp "$src/COPYING" "$prefix/licenses/libvorbis.txt"
}

# mingw-w64's own maths functions are x87 code (exp2 through f2xm1, log2 through fyl2x, cos
# through fcos); FFmpeg's AAC coder calls them per band and per coefficient, where glibc's SSE
# versions run several times faster. musl's C versions of exactly those functions (the same
# table-driven algorithms glibc uses) are built into a static library that FFmpeg links ahead of
# the toolchain's.
build_musl() {
    local src functions obj=$out/build/musl shim=$out/build/musl/shim
    rm -rf "$out/src/musl" && mkdir -p "$out/src/musl"
    tar xf "$(ls "$sources"/musl/*.orig.tar.* | grep -v '\.asc$')" -C "$out/src/musl"
    src=$(ls -d "$out/src/musl"/musl-*)
    functions="exp exp2 expf exp2f log log2 logf log2f pow powf cbrtf cos sin sincos cosf sinf
        sincosf ldexp scalbn frexp __cos __sin __cosdf __sindf __rem_pio2 __rem_pio2f
        __rem_pio2_large exp_data exp2f_data log_data log2_data logf_data log2f_data pow_data
        powf_data __math_divzero __math_divzerof __math_invalid __math_invalidf __math_oflow
        __math_oflowf __math_uflow __math_uflowf __math_xflow __math_xflowf"
    rm -rf "$obj" && mkdir -p "$shim"
    # The two headers of musl's own C library that its maths sources expect.
    printf '#define __LITTLE_ENDIAN 1234\n#define __BIG_ENDIAN 4321\n#define __BYTE_ORDER __LITTLE_ENDIAN\n' >"$shim/endian.h"
    printf '#define weak __attribute__((__weak__))\n' >"$shim/features.h"
    cp "$src/arch/generic/fp_arch.h" "$shim/"
    for f in $functions; do
        $CC -O2 -std=gnu99 -fno-math-errno -Dhidden= -I"$shim" -I"$src/src/internal" \
            -c "$src/src/math/$f.c" -o "$obj/$f.o"
    done
    $host-ar rcs "$prefix/lib/libmuslmaths.a" "$obj"/*.o
    cp "$src/COPYRIGHT" "$prefix/licenses/musl.txt"
}

# FFmpeg's codecs and formats the plug-ins use, and nothing else: the M4A coders (AAC, ALAC),
# the decoders of every other format they read, the compressed WAV formats (the wav demuxer reads
# them for the WAV decoder) and Ogg (the ogg demuxer reads FLAC in Ogg for the Ogg decoders). LGPL only (no --enable-gpl, no non-free parts); no programs or
# devices; --disable-autodetect keeps the DLLs' imports to Windows' own (no Media Foundation, no
# Schannel, no winpthread). Debian's build keeps FFmpeg's own optimisation (-O3) and its x86
# assembly (nasm), and applies its patches: so does this one.
build_ffmpeg() {
    local decoders="aac aac_latm alac als ape tta wavpack ac3 eac3 truehd mlp dca mp1float
        mp2float mp3float flac vorbis opus wmav1 wmav2 wmapro wmalossless wmavoice mace3 mace6
        qdm2 qdmc tak shorten mpc7 mpc8 amrnb amrwb gsm gsm_ms adpcm_g722 adpcm_g726
        adpcm_g726le g723_1 g729 truespeech adpcm_ms adpcm_ima_wav adpcm_ima_qt adpcm_yamaha
        adpcm_ima_dk3 adpcm_ima_dk4 adpcm_ima_oki adpcm_swf adpcm_ct dsd_lsbf dsd_msbf
        dsd_lsbf_planar dsd_msbf_planar pcm_alaw pcm_mulaw pcm_s8 pcm_u8 pcm_s16le pcm_s16be
        pcm_u16le pcm_u16be pcm_s24le pcm_s24be pcm_u24le pcm_u24be pcm_s32le pcm_s32be pcm_u32le
        pcm_u32be pcm_s64le pcm_s64be pcm_f16le pcm_f24le pcm_f32le pcm_f32be pcm_f64le pcm_f64be
        pcm_s8_planar pcm_s16le_planar pcm_s16be_planar pcm_s24le_planar pcm_s32le_planar"
    local demuxers="mov aac aiff caf asf xwma ape tta wv ac3 eac3 w64 au mpc mpc8 tak shorten
        truehd mlp dts matroska voc amr dsf wav ogg"
    local parsers="aac aac_latm ac3 dca mlp mpegaudio flac tak gsm amr vorbis opus g723_1 g729"
    local dir="$out/src/ffmpeg" src flags=() item
    rm -rf "$dir" && mkdir -p "$dir"
    tar xf "$(ls "$sources"/ffmpeg/*.orig.tar.* | grep -v '\.asc$')" -C "$dir"
    tar xf "$sources"/ffmpeg/*.debian.tar.* -C "$dir"
    src=$(ls -d "$dir"/ffmpeg-*)
    while read -r patch; do
        patch -d "$src" -p1 <"$dir/debian/patches/$patch"
    done <"$dir/debian/patches/series"
    for item in $decoders; do flags+=("--enable-decoder=$item"); done
    for item in $demuxers; do flags+=("--enable-demuxer=$item"); done
    for item in $parsers; do flags+=("--enable-parser=$item"); done
    mkdir -p "$out/build/ffmpeg"
    (cd "$out/build/ffmpeg" && "$src/configure" --prefix="$prefix" --target-os=mingw32 \
        --arch=x86_64 --cross-prefix=$host- --cc=$CC --enable-shared --disable-static \
        --disable-programs --disable-doc --disable-network --disable-autodetect \
        --disable-everything --disable-avdevice --disable-avfilter --disable-swscale \
        --disable-postproc --disable-pthreads --enable-w32threads --enable-protocol=file \
        --enable-encoder=aac,alac --enable-muxer=ipod,mp4 "${flags[@]}" \
        --extra-ldflags="-static -L$prefix/lib" --extra-libs=-lmuslmaths >configure.out && cat configure.out &&
        grep -q "License: LGPL version 2.1 or later" configure.out &&
        make -j "$jobs" && make install)
    cp "$src/COPYING.LGPLv2.1" "$prefix/licenses/FFmpeg.txt"
}

# The DLLs ship: no symbols, as for every other binary of the installation tree.
strip_shared() {
    local dll
    for dll in "$prefix"/bin/*.dll; do
        $host-strip --strip-all "$dll"
    done
}

ogg_libs="libogg opus libopusenc opusfile libvorbis"
for lib in flac lame mpg123 libsoxr libebur128 $ogg_libs musl ffmpeg; do
    # The stamp names the version and a hash of the recipe and of our patches to the library, so
    # a change of flags or of a patch rebuilds.
    helpers="cmake_lib unpack"
    [[ " $ogg_libs " == *" $lib "* ]] && helpers="$helpers autotools_lib debian_patch"
    [ "$lib" = ffmpeg ] && helpers="$helpers build_musl" # FFmpeg links musl's maths
    recipe=$( (
        declare -f "build_$lib" $helpers
        cat "$here/third_party/patches/$lib"-*.patch 2>/dev/null || true
    ) | sha1sum | cut -c1-12)
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
