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
    # The suite's server must live until wine_down. A server that is not persistent ends 3 s
    # after its last process, and a process starting just then meets a server going away: it
    # ends with status 1, or prints "wine client error: ... Connection reset by peer", before a
    # line of ours runs. "wineserver -p" cannot make a running server persistent (it exits 2),
    # so the one the set-up above left is ended first.
    wineserver -k </dev/null >/dev/null 2>&1 || true
    wineserver -w </dev/null >/dev/null 2>&1 || true
    if ! wineserver -p </dev/null >/dev/null 2>&1; then
        echo "wine_up: the Wine server of $WINEPREFIX could not be started persistent"
        exit 1
    fi
    wine cmd /c exit </dev/null >/dev/null 2>&1 && exit 0
    echo "wine_up: Wine does not start a process in $WINEPREFIX"
    exit 1
    ;;
down)
    wineserver -k </dev/null >/dev/null 2>&1 || true
    ;;
esac
