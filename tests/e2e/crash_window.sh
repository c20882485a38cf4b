#!/bin/bash
# The crash report window on a real X server (Xvfb): a plug-in crash opens it with the right
# title, a screenshot is kept, and a click on "Exit" ends the second copy with status 0.
# Usage: crash_window.sh STAGE WINEPREFIX OUTDIR      (exit 77: a tool is missing, skipped)
set -u
stage=$1
out=$3
export WINEDEBUG=-all WINEDLLOVERRIDES=mscoree,mshtml=
title="Tonewerk Wavemill has stopped working"
for tool in Xvfb xdotool import; do
    command -v "$tool" >/dev/null || { echo "SKIP: $tool is not installed"; exit 77; }
done
mkdir -p "$out"
rm -rf "$out"/*.png "$out"/*.wmt "$out"/*.raw "$out/wineprefix"
# A copy of the suite's prefix with a server of its own: Wine's desktop process, once started
# without a display by another test, would keep every later window off the X server. The users'
# Temp folders stay behind (made empty): tests running beside this one make and remove their
# scratch folders there while the copy is taken.
copy_prefix() {
    mkdir -p "$2" || return 1
    tar -C "$1" --exclude='./drive_c/users/*/Temp' -cf - . | tar -C "$2" -xf -
    [ "${PIPESTATUS[0]}${PIPESTATUS[1]}" = 00 ] || return 1
    for user in "$2"/drive_c/users/*/; do mkdir -p "$user/Temp" || return 1; done
}
copy_prefix "$2" "$out/wineprefix" || { echo "FAIL: cannot copy the prefix"; exit 1; }
export WINEPREFIX=$out/wineprefix

fail() {
    echo "FAIL: $*"
    exit 1
}

# A display of our own, whatever number is free.
exec 3> >(cat >"$out/display")
Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp >"$out/xvfb.log" 2>&1 &
xvfb=$!
exec 3>&-
second=""
cleanup() {
    [ -n "$second" ] && kill "$second" 2>/dev/null
    wineserver -k 2>/dev/null
    kill "$xvfb" 2>/dev/null
    wait 2>/dev/null
    rm -rf "$WINEPREFIX"
}
trap cleanup EXIT
for _ in $(seq 50); do
    [ -s "$out/display" ] && break
    sleep 0.1
done
[ -s "$out/display" ] || fail "Xvfb did not start"
export DISPLAY=":$(cat "$out/display")"
# Without a window manager Wine must draw the title bar itself.
wine reg add 'HKCU\Software\Wine\X11 Driver' /v Decorated /t REG_SZ /d N /f >/dev/null 2>&1

# Waits (bounded) for the report window; prints its X id.
find_window() {
    timeout 90 xdotool search --sync --onlyvisible --name "^$title\$" 2>/dev/null | head -1
}
# Clicks at (x, y) inside the window: real pointer events, which Wine takes as the user's
# (there is no window manager to activate the window, and Wine ignores synthetic events).
click() {
    local X Y WIDTH HEIGHT SCREEN WINDOW
    eval "$(xdotool getwindowgeometry --shell "$1")"
    xdotool mousemove --sync $((X + $2)) $((Y + $3)) click 1
}
# Activates the window by a click on its empty left margin, and lets it paint.
focus() {
    click "$1" 8 60
    sleep 1
}
gone() {
    for _ in $(seq 20); do
        xdotool search --onlyvisible --name "^$title\$" >/dev/null 2>&1 || return 0
        sleep 0.1
    done
    return 1
}
# Clicks "Exit", centred in the bottom strip, and waits (bounded) for the window to go.
press_exit() {
    local X Y WIDTH HEIGHT SCREEN WINDOW
    eval "$(xdotool getwindowgeometry --shell "$1")"
    for _ in 1 2 3; do
        click "$1" $((WIDTH / 2)) $((HEIGHT - 26))
        gone && return 0
    done
    return 1
}

crashes="$WINEPREFIX/drive_c/users/$(id -un)/AppData/Roaming/Vrx/crashes"
mkdir -p "$crashes"

# 1. Started by hand for a dump in the crashes folder: a click on Exit ends it with status 0.
# (This also brings up Wine's desktop on the X server: a crashing process that did so itself
# could end before the desktop is ready.)
dump=crash-window-test.dmp
echo "not a real dump: only its existence counts" >"$crashes/$dump"
wine "$stage/Wavemill.exe" -crashed "$dump" >/dev/null 2>&1 &
second=$!
window=$(find_window)
[ -n "$window" ] || fail "the second copy showed no window"
focus "$window"
press_exit "$window" || fail "a click on Exit did not close the window"
wait "$second"
status=$?
second=""
[ "$status" -eq 0 ] || fail "the second copy ended with $status, not 0"

# 2. A crash in the decoder opens the window through the second copy (the run itself fails).
printf 'block 4000 4\ncrash access\n' >"$out/crash.wmt"
(cd "$out" && timeout 120 wine "$stage/Wavemill.exe" -infile=crash.wmt -outfile=out.raw \
    -convert_to=TestEnc -silent >"$out/crash-run.log" 2>&1)
status=$?
[ "$status" -eq 1 ] || fail "the crashed run ended with $status, not 1 (a crash fails the run)"
window=$(find_window)
[ -n "$window" ] || fail "no window titled '$title' after the crash"
focus "$window"
import -window root "$out/crash_report.png" || fail "no screenshot"
echo "screenshot: $out/crash_report.png"
press_exit "$window" || fail "a click on Exit did not close the window"

# 3. Values that name no dump in the crashes folder end the second copy at once, without a
# window (a window would wait for a click until the time limit).
touch "$out/crash-outside.dmp"
long=$(printf 'x%.0s' $(seq 3000))
for value in "" "C:\\no\\such\\crash-1.dmp" "Z:${out//\//\\}\\crash-outside.dmp" \
    "..\\..\\$dump\\.." "$long"; do
    timeout 60 wine "$stage/Wavemill.exe" -crashed "$value" >/dev/null 2>&1
    status=$?
    [ "$status" -eq 0 ] || fail "-crashed '${value:0:80}' ended with $status, not 0"
done
echo "PASS"
