#!/bin/sh
# Private Wine prefix for the test suite: made once per build tree, then reused.
set -e
action=$1
. "$(dirname "$0")/wine_env.sh"
use_wine_prefix "$2"
case "$action" in
up)
    if [ ! -f "$WINEPREFIX/system.reg" ]; then
        wineboot -i </dev/null >/dev/null 2>&1 || true
        wineserver -w
        # Crash tests must never wait on Wine's crash dialog.
        wine reg add 'HKCU\Software\Wine\WineDbg' /v ShowCrashDialog /t REG_DWORD /d 0 /f \
            </dev/null >/dev/null 2>&1 || true
    fi
    wineserver -p </dev/null >/dev/null 2>&1 || true
    # The first start after creating a prefix can fail while Wine finishes its set-up.
    for try in 1 2 3; do
        wine cmd /c exit </dev/null >/dev/null 2>&1 && exit 0
        sleep 2
    done
    exit 1
    ;;
down)
    wineserver -k </dev/null >/dev/null 2>&1 || true
    ;;
esac
