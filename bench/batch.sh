#!/bin/bash
# WavemillBatch.exe on many files: COUNT (default 200) sources of LENGTH (default 30) seconds of
# CD audio to FLAC -5 and to MP3 -V 2 (CODECS="FLAC MP3" picks them), the batch with 2 jobs
# against a sequential loop of Wavemill.exe (both under Wine) and against `xargs -P 2` running the
# native flac and lame; plus the batch's own CPU time and peak memory next to its converters'. One
# run each (the batch is minutes long). Details go to bench/out/batch.log.
set -euo pipefail
export LC_ALL=C.UTF-8 # Wine builds the command line through the locale

root=$(cd "$(dirname "$0")/.." && pwd)
out=$root/bench/out
count=${COUNT:-200}
length=${LENGTH:-30}
mkdir -p "$out"
log=$out/batch.log
: >"$log"
. "$(dirname "$0")/common.sh"

quietly "$root/scripts/install-deps.sh"
[ -f "$root/dist/WavemillBatch.exe" ] ||
    (cd "$root" && quietly cmake --preset windows && quietly cmake --build --preset windows &&
        quietly cmake --install build/windows --strip)
. "$root/tests/wine_env.sh"
use_wine_prefix "$out/wineprefix"
quietly "$root/tests/wine_prefix.sh" up "$WINEPREFIX"
trap 'wineserver -k >/dev/null 2>&1 || true' EXIT
cd "$out"

# Music-like sources, each its own: a tone over pink noise, a different tone per file.
src=batch-src
if [ "$(find $src -name '*.wav' 2>/dev/null | wc -l)" -ne "$count" ] ||
    [ "$(soxi -D $src/s1.wav 2>/dev/null)" != "$length.000000" ]; then
    rm -rf $src && mkdir -p $src
    for i in $(seq 1 "$count"); do
        quietly sox -R -n -r 44100 -b 16 -c 2 $src/s$i.wav synth "$length" sine $((200 + i)) pinknoise gain -6
    done
fi
audio_s=$((count * length))
# Every contender reads warm sources: the first to run must not pay the disk for the others.
cat $src/*.wav >/dev/null

# timed NAME COMMAND...: wall seconds into $elapsed, the whole line into the log.
timed() {
    local name=$1 start end
    shift
    rm -rf batch-out && mkdir -p batch-out
    start=$(date +%s.%N)
    "$@" >>"$log" 2>&1 || die "failed: $name"
    end=$(date +%s.%N)
    elapsed=$(echo "$end - $start" | bc)
    echo "$name: $elapsed s" >>"$log"
}
# The batch process alone against the whole run: its own CPU seconds and peak RSS read from /proc
# while it runs (a waited-for total would include the converters it reaped).
batch_cpu() {
    /usr/bin/time -f '%U %S' -o batch.time wine "$root/dist/WavemillBatch.exe" "$@" >>"$log" 2>&1 &
    local runner=$! pid="" ticks=0 hwm=0 line
    while kill -0 $runner 2>/dev/null; do
        [ -n "$pid" ] || pid=$(pgrep -f '^[^ ]*WavemillBatch[.]exe -convert_to' | head -1)
        if [ -n "$pid" ] && line=$(cat /proc/$pid/stat 2>/dev/null); then
            ticks=$(cut -d' ' -f12,13 <<<"${line##*) }" | awk '{print $1 + $2}')
            hwm=$(awk '/VmHWM/ {print $2}' /proc/$pid/status 2>/dev/null || echo $hwm)
        fi
        sleep 0.2
    done
    wait $runner || die "batch failed"
    awk -v t="$ticks" -v hz="$(getconf CLK_TCK)" -v h="$hwm" \
        '{printf "%.2f s CPU of %.2f s for the whole run, peak RSS %.0f MB", t / hz, $1 + $2, h / 1024}' batch.time
}
sequential() {
    for f in $src/*.wav; do
        n=${f##*/}
        wine "$root/dist/Wavemill.exe" -silent -infile="$f" -outfile="batch-out/${n%.wav}.$1" \
            -convert_to="$2" "${@:3}" </dev/null || return 1
    done
}

printf '%-12s %10s %10s %10s %8s %8s\n' codec batch-2 loop-1 xargs-2 vs-loop vs-native
for codec in ${CODECS:-FLAC MP3}; do
    if [ $codec = FLAC ]; then ext=flac opt=-5 native='flac -s -f -5 -o batch-out/$(basename {} .wav).flac {}'
    else ext=mp3 opt="-V 2" native='lame --silent -V 2 {} batch-out/$(basename {} .wav).mp3'
    fi
    timed "batch $codec" wine "$root/dist/WavemillBatch.exe" -convert_to=$codec $opt -jobs=2 -out=batch-out $src
    b=$elapsed
    timed "loop $codec" sequential $ext $codec $opt
    l=$elapsed
    timed "xargs $codec" sh -c "ls $src/*.wav | xargs -P 2 -I {} sh -c '$native'"
    x=$elapsed
    printf '%-12s %9.1fs %9.1fs %9.1fs %7.2fx %7.2fx\n' "$codec $opt" "$b" "$l" "$x" \
        "$(echo "$l / $b" | bc -l)" "$(echo "$x / $b" | bc -l)"
done
echo "audio: $count x $length s = $audio_s s per codec; load average at the end: $(cut -d' ' -f1-3 /proc/loadavg)"
rm -rf batch-out && mkdir -p batch-out
echo "batch process itself (FLAC run): $(batch_cpu -convert_to=FLAC -5 -jobs=2 -out=batch-out $src)"
