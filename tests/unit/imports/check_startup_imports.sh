#!/bin/sh
# Fails when the program, or a plug-in or library a conversion loads, brings the window system,
# the shell, COM, the dump writer or the crypto provider in at start: a parent starts many
# converters and none needs them unless it shows a message box or crashes. (Under Wine each costs
# milliseconds per run: the crypto provider alone loads rsaenh, crypt32, user32 and gdi32.)
# Usage: check_startup_imports.sh FILE...
set -u
objdump=${OBJDUMP:-x86_64-w64-mingw32-objdump}
status=0
for file in "$@"; do
    imports=$("$objdump" -p "$file" 2>&1) || { echo "NOT A PE FILE: $file"; status=1; continue; }
    for dll in $(printf '%s\n' "$imports" | sed -n 's/^[[:space:]]*DLL Name: *//p'); do
        case $(printf '%s' "$dll" | tr '[:upper:]' '[:lower:]') in
        user32.dll | gdi32.dll | comctl32.dll | dbghelp.dll | shell32.dll | ole32.dll | shlwapi.dll)
            echo "LOADED AT START: $file imports $dll"
            status=1
            ;;
        esac
    done
    # The import table's function lines: "<hint-rva> <ordinal> <name>".
    for name in $(printf '%s\n' "$imports" | awk 'NF == 3 && $2 ~ /^[0-9]+$/ { print $3 }'); do
        case $name in
        CryptAcquireContext* | CryptGenRandom)
            echo "CRYPTO PROVIDER AT START: $file imports $name"
            status=1
            ;;
        esac
    done
done
exit $status
