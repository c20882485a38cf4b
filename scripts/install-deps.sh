#!/bin/bash
# Installs the Debian packages the build, the tests and the benchmark need, if any is missing,
# and fetches the pinned third-party sources (scripts/fetch-third-party.sh).
set -euo pipefail
packages=(cmake ninja-build clang libclang-rt-14-dev g++-mingw-w64-x86-64-posix
          binutils-mingw-w64-x86-64 wine wine64 googletest clang-format git sox ffmpeg imagemagick time
          make xz-utils bzip2 flac lame mpg123 xvfb xdotool opus-tools vorbis-tools nasm pkg-config
          patch python3 libogg-dev loudgain wavpack shntool cuetools parallel)
missing=()
for p in "${packages[@]}"; do
    dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if ((${#missing[@]})); then
    echo "Installing: ${missing[*]}"
    sudo_cmd=""
    [ "$(id -u)" -eq 0 ] || sudo_cmd="sudo"
    $sudo_cmd apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get install -y -qq --no-install-recommends \
        "${missing[@]}" </dev/null
fi
"$(dirname "$0")/fetch-third-party.sh"
