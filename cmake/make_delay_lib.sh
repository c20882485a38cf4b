#!/bin/sh
# Makes a delay-load import library for one system DLL from the toolchain's ordinary import
# library: every function it exports by name, bound on first call instead of at start.
# Usage: make_delay_lib.sh DLL-NAME IMPORT-LIB OUTPUT-LIB NM DLLTOOL
set -eu
name=$1 import=$2 output=$3 nm=$4 dlltool=$5
def=${output%.a}.def
{
    echo "LIBRARY $name.dll"
    echo "EXPORTS"
    # Functions have both a thunk (T) and an import slot (I __imp_); data has only the slot
    # and cannot be delay-loaded.
    "$nm" -g --defined-only "$import" 2>/dev/null | awk '
        $2 == "T" { thunk[$3] = 1 }
        $2 == "I" && $3 ~ /^__imp_/ { slot[substr($3, 7)] = 1 }
        END { for (s in slot) if (s in thunk) print s }' | sort -u
} >"$def"
"$dlltool" --input-def "$def" --dllname "$name.dll" --output-delaylib "$output"
