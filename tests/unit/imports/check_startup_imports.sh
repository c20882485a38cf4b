#!/bin/sh
# Fails when the program loads the window system, the shell, COM or the dump writer at start:
# they are delay-loaded, because a parent starts many converters and none needs them unless it
# shows a message box or crashes.
# Usage: check_startup_imports.sh PROGRAM
set -u
objdump=${OBJDUMP:-x86_64-w64-mingw32-objdump}
imports=$("$objdump" -p "$1" 2>&1) || { echo "NOT A PE FILE: $1"; exit 1; }
status=0
for dll in $(printf '%s\n' "$imports" | sed -n 's/^[[:space:]]*DLL Name: *//p'); do
    case $(printf '%s' "$dll" | tr '[:upper:]' '[:lower:]') in
    user32.dll | gdi32.dll | comctl32.dll | dbghelp.dll | shell32.dll | ole32.dll)
        echo "LOADED AT START: $1 imports $dll"
        status=1
        ;;
    esac
done
exit $status
