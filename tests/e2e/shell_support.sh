# Shared by the shell end-to-end scripts (sourced): numbered checks and a silent Wavemill run.
# Expects $stage (the staged program tree) to be set.
# Wine builds the UTF-16 command line through the locale, and grep compares by it: the checks
# must not depend on the caller's.
export LC_ALL=C.UTF-8
failures=0
check() { # check <description> <command...>
    local what=$1
    shift
    if "$@"; then echo "ok   $what"; else echo "FAIL $what" && failures=$((failures + 1)); fi
}
# Runs Wavemill; its error lines (UTF-16) land in wm.err as UTF-8.
wm() {
    wine "$stage/Wavemill.exe" -silent "$@" </dev/null >wm.out 2>wm.err16
    local status=$?
    iconv -f UTF-16LE -t UTF-8 wm.err16 >wm.err
    return $status
}
