# Shared by the shell end-to-end scripts (sourced first): the start every script makes, numbered
# checks, a silent Wavemill run, the verdict, and the native tools' views of audio and tags.
# Wine builds the UTF-16 command line through the locale, and grep compares by it: the checks
# must not depend on the caller's.
export LC_ALL=C.UTF-8
failures=0
check() { # check <description> <command...>
    local what=$1
    shift
    if "$@"; then echo "ok   $what"; else echo "FAIL $what" && failures=$((failures + 1)) && last_run; fi
}
# What the last wm run said, for a failed check to show.
last_run() {
    [ -n "${wm_args:-}" ] || return 0
    echo "     last run: Wavemill $wm_args: status $wm_status"
    awk 'NR <= 3 { print "     " $0 }' wm.err
}
# Runs Wavemill once; its error lines (UTF-16) land in wm.err as UTF-8. A failed run always says
# why there, in UTF-16 only: a failure without a line, bytes that are not UTF-16 or Wine's own
# lines are a fault (ours or Wine's) and fail the script at once, with the raw stream shown,
# since a check that expects a failure would otherwise pass on it. No run may take longer than
# $wm_limit seconds: one that does is a hang, killed and reported (status 124), never run again.
wm_limit=${WM_TIME_LIMIT:-120}
wine_start_errors=-all,err+virtual
wine_refusal='failed to map the shared user data'
refused_by_wine() { grep -qa "$wine_refusal" "$1"; }
# Wine's errors of its memory set-up are let through: the one that refuses a start says so there.
wm_once() {
    touch wm.start
    WINEDEBUG=$wine_start_errors timeout -k 5 "$wm_limit" wine "$stage/Wavemill.exe" -silent "$@" \
        </dev/null >wm.out 2>wm.err16
    wm_status=$?
}
# Wine refuses a start now and then before any line of the program runs: the shared user data
# page cannot be mapped where Windows has it, as Linux happened to put something there (status 1,
# nothing on standard output). That start, and only that, is made again, once, counted and
# printed.
refused_start() {
    [ $wm_status -eq 1 ] && [ ! -s wm.out ] && refused_by_wine wm.err16
}
# Counted in a file of the work folder (e2e_start): many starts are made inside $(...), whose
# variables do not come back.
note_refused() {
    echo "$1" >>"$refused_log"
    echo "note: Wine refused the start of $1 ($(grep -ao "$wine_refusal[^[:cntrl:]]*" "$2")): started again" >&2
}
wm() {
    wm_once "$@"
    if refused_start; then
        note_refused "Wavemill $*" wm.err16 2>&1
        wm_once "$@"
    fi
    wm_args="$*"
    if [ $wm_status -eq 124 ] || [ $wm_status -eq 137 ]; then
        echo "HANG: Wavemill $* was killed after $wm_limit s" | tee wm.err
        failures=$((failures + 1))
        return 124
    fi
    if iconv -f UTF-16LE -t UTF-8 wm.err16 >wm.err 2>/dev/null &&
        ! grep -qaE 'wine(server)?( client error)?: ' wm.err16 &&
        { [ $wm_status -eq 0 ] || [ -s wm.err ]; }; then
        return $wm_status
    fi
    echo "FAIL Wavemill $* ended with status $wm_status and no error line of its own; its error stream:"
    tr -d '\0' <wm.err16 | cat -v | awk 'NR <= 5'
    # How far it got: its standard output (the source's length once opened), and a crash dump.
    echo "     its standard output:"
    tr -d '\0\r' <wm.out | awk 'NR <= 5 { print "     " $0 }'
    find "$WINEPREFIX/drive_c/users" -path '*/crashes/*' -newer wm.start 2>/dev/null | sed 's/^/     crash dump: /'
    failures=$((failures + 1))
    return $wm_status
}
# e2e_start <stage dir> <wine prefix> <work dir> <wavtool.exe> <native tool...>: sets $stage,
# $work and $wavtool, uses the suite's Wine prefix, skips the script (exit 77) when a native tool
# is missing and runs it in a fresh work folder.
e2e_start() {
    stage=$1 work=$3 wavtool=$4
    . "$(dirname "${BASH_SOURCE[0]}")/../wine_env.sh"
    use_wine_prefix "$2"
    shift 4
    local tool
    for tool in "$@"; do
        command -v "$tool" >/dev/null || { echo "SKIP: $tool is not installed"; exit 77; }
    done
    rm -rf "$work" && mkdir -p "$work" && cd "$work" || exit 1
    refused_log=$work/refused-starts.txt
    : >"$refused_log"
}
# e2e_verdict <what>: the script's end, failing when a check failed.
e2e_verdict() {
    local refused
    refused=$(wc -l <"$refused_log")
    ((refused)) && echo "$refused start(s) refused by Wine and made again"
    if ((failures)); then echo "$failures check(s) failed"; exit 1; fi
    echo "all $1 checks passed"
}
# Every other Windows program a script starts (the batch, the test tools, Wavemill where its
# output is read directly) goes through this: a start Wine refused (status 1 and its line) is made
# again, once, counted and printed. The program's error stream comes after it ended. A script that
# signals the process itself starts it with `command wine`.
wine() {
    local errors status
    errors=$(mktemp)
    WINEDEBUG=$wine_start_errors command wine "$@" 2>"$errors"
    status=$?
    if [ $status -eq 1 ] && refused_by_wine "$errors"; then
        note_refused "$*" "$errors"
        WINEDEBUG=$wine_start_errors command wine "$@" 2>"$errors"
        status=$?
    fi
    cat "$errors" >&2
    rm -f "$errors"
    return $status
}
wavtool() {
    wine "$wavtool" "$@" </dev/null | tr -d '\r'
    local status=${PIPESTATUS[0]}
    [ "$status" -eq 0 ] || echo "note: wavtool $1 ended with status $status" >&2
    return "$status"
}
raw() { sox -V1 "$1" -t raw -; }
same_audio() { cmp -s <(raw "$1") <(raw "$2"); }
# Largest sample difference between two files, in 16-bit steps.
max_diff() { sox -V1 -m -v 1 "$1" -v -1 "$2" -n stat 2>&1 | awk '/Maximum amplitude/ {printf "%d", $3 * 32768 + 0.5}'; }
# Rate, channels, bits and byte rate as soxi gives them.
format_of() { for o in r c b s; do soxi -$o "$1"; done | tr '\n' ' '; }
# A file's tags as ffprobe reads them, one "TAG:name=value" a line.
tags_of() { ffprobe -v error -show_entries format_tags -of default=nw=1 "$1"; }
