#!/bin/sh
# Private Wine prefix for the test suite: made once per build tree, then reused.
set -e
action=$1
. "$(dirname "$0")/wine_env.sh"
use_wine_prefix "$2"
case "$action" in
up)
    # Wine makes the prefix's folder, but not the folders above it.
    mkdir -p "$(dirname "$WINEPREFIX")"
    if [ ! -f "$WINEPREFIX/system.reg" ]; then
        wineboot -i </dev/null >/dev/null 2>&1 || true
        wineserver -w
        # Crash tests must never wait on Wine's crash dialog.
        wine reg add 'HKCU\Software\Wine\WineDbg' /v ShowCrashDialog /t REG_DWORD /d 0 /f \
            </dev/null >/dev/null 2>&1 || true
    fi
    # The suite's server must live until wine_down. A server that is not persistent ends 3 s
    # after its last process, and a process starting just then meets a server going away: Wine
    # fails it before a line of ours runs ("wine: Unhandled page fault ... starting debugger", or
    # "wine client error: ... Connection reset by peer"; 3 of 120 such starts, none of 120 on a
    # persistent server). "wineserver -p" cannot make a running server persistent (it exits 2),
    # so the one the set-up above left is ended first.
    wineserver -k </dev/null >/dev/null 2>&1 || true
    # A killed server takes a moment to let go of its socket, and "wineserver -p" meanwhile
    # finds it still running (status 2): wait for it to go, up to 10 s.
    started=1
    for attempt in $(seq 1 50); do
        started=0
        wineserver -p </dev/null >/dev/null 2>&1 || started=$?
        [ $started -eq 2 ] || break
        sleep 0.2
    done
    if [ $started -ne 0 ]; then
        echo "wine_up: the Wine server of $WINEPREFIX could not be started persistent ($started)"
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
