# Shared by the bench scripts (sourced once $log is set): failing loudly with the log's tail,
# running a step quietly into the log, and the median of numbers on standard input.
die() {
    echo "bench: $*" >&2
    echo "--- last lines of $log:" >&2
    tail -n 20 "$log" >&2
    exit 1
}
quietly() { "$@" >>"$log" 2>&1 || die "failed: $*"; }
median() { sort -n | awk '{ v[NR] = $1 } END { printf "%.4f", NR % 2 ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }
