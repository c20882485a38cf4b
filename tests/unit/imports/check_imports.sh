#!/bin/sh
# Fails when a shipped program or plug-in imports a DLL that Windows does not provide itself and
# the tree does not ship beside Wavemill.exe (the third-party codec libraries): such a file would
# not start on a user's machine (status 53, nothing printed).
# Usage: check_imports.sh TREE...   (each TREE holds Wavemill.exe, decoder\ and encoder\)
set -u
objdump=${OBJDUMP:-x86_64-w64-mingw32-objdump}
[ $# -ge 1 ] || { echo "usage: $0 TREE..." >&2; exit 2; }
status=0
checked=0
for tree in "$@"; do
    # Without these the check would pass on an empty or half-built tree.
    for required in Wavemill.exe decoder/WavDecoder.dll encoder/Wave.dll; do
        [ -f "$tree/$required" ] || { echo "MISSING: $tree/$required"; status=1; }
    done
    shipped=" $(find "$tree" -maxdepth 1 -type f -iname '*.dll' -printf '%f ' | tr '[:upper:]' '[:lower:]')"
    while IFS= read -r file; do
        [ -n "$file" ] || continue
        imports=$("$objdump" -p "$file" 2>&1) || { echo "NOT A PE FILE: $file"; status=1; continue; }
        checked=$((checked + 1))
        for dll in $(printf '%s\n' "$imports" | sed -n 's/^[[:space:]]*DLL Name: *//p'); do
            case $(printf '%s' "$dll" | tr '[:upper:]' '[:lower:]') in
            kernel32.dll | user32.dll | gdi32.dll | advapi32.dll | shell32.dll | ole32.dll | \
                oleaut32.dll | comctl32.dll | dbghelp.dll | msvcrt.dll | ws2_32.dll | shlwapi.dll | \
                version.dll | bcrypt.dll | ntdll.dll | comdlg32.dll | api-ms-win-crt-*.dll) ;;
            *)
                case "$shipped" in *" $(printf '%s' "$dll" | tr '[:upper:]' '[:lower:]') "*) continue ;; esac
                echo "FOREIGN IMPORT: $file imports $dll"; status=1 ;;
            esac
        done
    done <<LIST
$(find "$tree" -type f \( -iname '*.dll' -o -iname '*.exe' \) 2>/dev/null)
LIST
done
echo "checked $checked files"
exit $status
