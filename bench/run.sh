#!/bin/bash
# Wavemill's WAV-to-WAV throughput under Wine against native sox and ffmpeg, its peak memory and
# its start-up cost. Prints only the results; details of every step go to bench/out/run.log.
set -euo pipefail
# UTF-8 for Wine's command lines; decimal points in $EPOCHREALTIME and printf.
export LC_ALL=C.UTF-8

root=$(cd "$(dirname "$0")/.." && pwd)
bench=$root/bench
out=$bench/out
runs=5
startup_runs=10
seconds=600 # length of each test file
limit=300   # no single run may take longer than this (a hung Wine must not stall the bench)
mkdir -p "$out"
log=$out/run.log
: >"$log"

. "$(dirname "$0")/common.sh"

# --- tools -------------------------------------------------------------------------------------
quietly "$root/scripts/install-deps.sh"
if [ ! -f "$root/dist/Wavemill.exe" ] || [ ! -f "$root/dist/DSPs/Volume.dll" ]; then
    (cd "$root" && quietly cmake --preset windows && quietly cmake --build --preset windows)
fi
for name in empty peakmem; do
    if [ ! "$out/$name.exe" -nt "$bench/$name.c" ]; then
        quietly x86_64-w64-mingw32-gcc-posix -O2 -Wall -Wextra -Werror -static \
            -DUNICODE -D_WIN32_WINNT=0x0601 -o "$out/$name.exe" "$bench/$name.c"
    fi
done

# --- Wine: a private prefix with its server kept up, so that every start is warm -----------------
. "$root/tests/wine_env.sh"
use_wine_prefix "$out/wineprefix"
settings='HKCU\Software\Brightfold\Tonewerk'
no_precache() { # on|off
    if [ "$1" = on ]; then
        quietly wine reg add "$settings" /v VrxNoPreCache /t REG_DWORD /d 1 /f
    else
        wine reg delete "$settings" /v VrxNoPreCache /f >>"$log" 2>&1 || true
    fi
}
cleanup() {
    no_precache off
    wineserver -k >/dev/null 2>&1 || true
    rm -f "$out"/*.out.wav
}
quietly "$root/tests/wine_prefix.sh" up "$WINEPREFIX"
trap cleanup EXIT
no_precache off

wavemill=$root/dist/Wavemill.exe
wavemill_win="Z:${root//\//\\}\\dist\\Wavemill.exe"

# --- inputs ------------------------------------------------------------------------------------
# name rate bits channels: 10 s of distinct tones per channel, repeated to the full length.
inputs=("cd_44k16_2ch 44100 16 2" "hr_96k24_6ch 96000 24 6")
make_input() {
    local name=$1 rate=$2 bits=$3 channels=$4 file=$out/$1.wav tones="" c
    if [ -f "$file" ] && [ "$(soxi -r "$file") $(soxi -b "$file") $(soxi -c "$file") $(soxi -s "$file")" \
        = "$rate $bits $channels $((rate * seconds))" ]; then
        return
    fi
    for ((c = 1; c <= channels; c++)); do tones+=" sine $((110 * (c + 1)))"; done
    # shellcheck disable=SC2086
    quietly sox -n -r "$rate" -b "$bits" -c "$channels" "$out/seed.wav" synth 10 $tones gain -6
    quietly sox "$out/seed.wav" "$file" repeat $((seconds / 10 - 1))
    rm -f "$out/seed.wav"
}
for spec in "${inputs[@]}"; do
    # shellcheck disable=SC2086
    make_input $spec
done

# --- one timed run -----------------------------------------------------------------------------
# timed COMMAND...: one run of the command; sets $elapsed (s) and $rss_kb (Linux max RSS).
timed() {
    sync # the previous run's dirty pages must not be written back during this one
    local start=$EPOCHREALTIME
    if ! /usr/bin/time -f %M -o "$out/rss.txt" timeout "$limit" "$@" >/dev/null 2>"$out/stderr.txt"; then
        tr -d '\000' <"$out/stderr.txt" >>"$log" # Wavemill writes UTF-16LE
        die "failed: $*"
    fi
    local end=$EPOCHREALTIME
    elapsed=$(awk -v s="$start" -v e="$end" 'BEGIN { printf "%.4f", e - s }')
    rss_kb=$(tail -n 1 "$out/rss.txt")
}

# run_tool TOOL INPUT OUTPUT: one conversion, timed.
run_tool() {
    local tool=$1 in=$2 dst=$3 codec
    case "$(soxi -b "$in")" in 16) codec=pcm_s16le ;; *) codec=pcm_s24le ;; esac
    local cmd
    case "$tool" in
    wavemill*) cmd=(wine "$wavemill" "-infile=$in" "-outfile=$dst" -convert_to=Wave -silent) ;;
    sox) cmd=(sox "$in" "$dst") ;;
    ffmpeg) cmd=(ffmpeg -nostdin -y -v error -i "$in" -c:a "$codec" "$dst") ;;
    esac
    rm -f "$dst"
    timed "${cmd[@]}"
}


# The same audio must come out: a benchmark of a wrong conversion means nothing.
same_audio() {
    cmp -s <(sox "$1" -t raw -) <(sox "$2" -t raw -) || die "$2 differs from $1 in its samples"
    [ "$(soxi -r "$1") $(soxi -b "$1") $(soxi -c "$1")" = "$(soxi -r "$2") $(soxi -b "$2") $(soxi -c "$2")" ] ||
        die "$2 differs from $1 in its format"
}

cd "$out" # Wavemill gets short relative names; Wine maps the folder to Z:
tools=(wavemill sox ffmpeg)
declare -A label=([wavemill]="Wavemill (Wine)" [sox]="sox" [ffmpeg]="ffmpeg"
    [wavemill_noprecache]="Wavemill, VrxNoPreCache=1")

# Untimed first runs: programs and the input files into the page cache, the decoder cache into
# Wavemill's registry.
for spec in "${inputs[@]}"; do
    read -r name _ <<<"$spec"
    cat "$name.wav" >/dev/null
done
for tool in "${tools[@]}"; do run_tool "$tool" cd_44k16_2ch.wav "warm.$tool.out.wav"; done
rm -f ./*.out.wav

report_file() {
    local name=$1 rate=$2 bits=$3 channels=$4 in=$1.wav tool r
    local bytes
    bytes=$(stat -c %s "$in")
    declare -A times=() rss=() med=()
    # The run without read-ahead takes its turn in every round too, so that all four see the
    # same conditions; the registry value is set and removed outside the timed part.
    for ((r = 1; r <= runs; r++)); do
        for tool in "${tools[@]}" wavemill_noprecache; do
            [ "$tool" != wavemill_noprecache ] || no_precache on
            run_tool "$tool" "$in" "$name.$tool.out.wav"
            [ "$tool" != wavemill_noprecache ] || no_precache off
            times[$tool]+="$elapsed "
            rss[$tool]=$((rss_kb > ${rss[$tool]:-0} ? rss_kb : ${rss[$tool]:-0}))
        done
    done
    same_audio "$in" "$name.wavemill.out.wav"
    same_audio "$in" "$name.wavemill_noprecache.out.wav"
    rm -f ./"$name".*.out.wav

    printf '\n== %s: %s Hz, %s-bit, %s ch, %d s, %.1f MB (%s) ==\n' \
        "$name" "$rate" "$bits" "$channels" "$seconds" "$(awk -v b="$bytes" 'BEGIN { print b / 1e6 }')" "$in"
    printf '%-27s %9s %8s %8s %11s %9s %14s %12s\n' tool "median s" "min s" "max s" \
        "x realtime" "MB/s" "Wavemill/tool" "Linux RSS MB"
    for tool in wavemill sox ffmpeg wavemill_noprecache; do
        med[$tool]=$(tr ' ' '\n' <<<"${times[$tool]}" | grep . | median)
    done
    for tool in wavemill sox ffmpeg wavemill_noprecache; do
        # shellcheck disable=SC2086
        awk -v t="${label[$tool]}" -v m="${med[$tool]}" -v w="${med[wavemill]}" -v b="$bytes" \
            -v len="$seconds" -v kb="${rss[$tool]}" -v all="${times[$tool]}" 'BEGIN {
                n = split(all, v, " "); lo = v[1]; hi = v[1]
                for (i = 2; i <= n; i++) { if (v[i] < lo) lo = v[i]; if (v[i] > hi) hi = v[i] }
                printf "%-27s %9.3f %8.3f %8.3f %11.0f %9.0f %14.2f %12.1f\n",
                       t, m, lo, hi, len / m, b / 1e6 / m, w / m, kb / 1024 }'
    done
    awk -v w="${med[wavemill]}" -v s="${med[sox]}" -v f="${med[ffmpeg]}" 'BEGIN {
        printf "Wavemill/tool = Wavemill median / tool median (below 1: Wavemill faster). "
        printf "Wavemill is %.2fx %s sox, %.2fx %s ffmpeg.\n",
               w < s ? s / w : w / s, w < s ? "faster than" : "slower than",
               w < f ? f / w : w / f, w < f ? "faster than" : "slower than" }'
}

echo "Wavemill WAV->WAV benchmark: median of $runs runs per tool, runs interleaved, page cache warm,"
echo "output deleted and 'sync' done before each run (not timed); Wavemill runs under Wine with"
echo "'wineserver -p' (warm start), sox and ffmpeg natively. MB = 10^6 bytes of input."
read -r load _ </proc/loadavg
echo "Machine: $(nproc) cores, load average $load at the start (other work skews the figures)."
for spec in "${inputs[@]}"; do
    # shellcheck disable=SC2086
    report_file $spec
done

# --- DSP effects -------------------------------------------------------------------------------
# The shipped effects through Wavemill.exe (WAV in, effect, WAV out), against sox doing the same
# work in the same run. Normalize is non-live: Wavemill renders the source into a temporary file
# first, as sox --norm reads its input twice.
effect_names=(Volume Resample Normalize)
declare -A effect_setting=([Volume]="Volume=gain=-3.5" [Resample]="Resample=rate=48000"
    [Normalize]="Normalize=peak=-1")
declare -A effect_sox=([Volume]="-D @in @out gain -3.5" [Resample]="-D @in @out rate -v 48000"
    [Normalize]="--norm=-1 @in @out")
sox_effect() { # sox_effect EFFECT IN OUT: sox's command for the same work
    local word args=()
    for word in ${effect_sox[$1]}; do
        case "$word" in @in) args+=("$2") ;; @out) args+=("$3") ;; *) args+=("$word") ;; esac
    done
    echo "${args[@]}"
}
report_effects() {
    local in=cd_44k16_2ch.wav effect r
    printf '\n== DSP effects on %s (%d s), median of %d runs, runs interleaved ==\n' "$in" "$seconds" "$runs"
    printf '%-10s %-40s %9s %8s %8s %11s %12s %12s\n' effect tool "median s" "min s" "max s" \
        "x realtime" "effect/sox" "Linux RSS MB"
    for effect in "${effect_names[@]}"; do
        local dsp_times="" sox_times="" dsp_rss=0 sox_rss=0
        for ((r = 1; r <= runs; r++)); do
            rm -f effect.wm.wav effect.out.wav
            timed wine "$wavemill" -silent "-infile=$in" -outfile=effect.wm.wav -convert_to=Wave \
                "-dspeffect1=${effect_setting[$effect]}"
            dsp_times+="$elapsed " && dsp_rss=$((rss_kb > dsp_rss ? rss_kb : dsp_rss))
            # shellcheck disable=SC2046
            timed sox $(sox_effect "$effect" "$in" effect.out.wav)
            sox_times+="$elapsed " && sox_rss=$((rss_kb > sox_rss ? rss_kb : sox_rss))
        done
        # Both must have made the same length of audio (the suite checks the samples).
        [ "$(soxi -s effect.wm.wav)" -eq "$(soxi -s effect.out.wav)" ] ||
            die "$effect: Wavemill and sox made different lengths"
        local dm sm
        dm=$(tr ' ' '\n' <<<"$dsp_times" | grep . | median)
        sm=$(tr ' ' '\n' <<<"$sox_times" | grep . | median)
        for row in "Wavemill ${effect_setting[$effect]} (Wine)|$dsp_times|$dm|$dsp_rss" \
            "sox $(sox_effect "$effect" in out)|$sox_times|$sm|$sox_rss"; do
            IFS='|' read -r label all m kb <<<"$row"
            awk -v e="$effect" -v t="$label" -v all="$all" -v m="$m" -v d="$dm" -v s="$sm" \
                -v len="$seconds" -v kb="$kb" 'BEGIN {
                    n = split(all, v, " "); lo = v[1]; hi = v[1]
                    for (i = 2; i <= n; i++) { if (v[i] < lo) lo = v[i]; if (v[i] > hi) hi = v[i] }
                    printf "%-10s %-40s %9.3f %8.3f %8.3f %11.0f %12.2f %12.1f\n",
                           e, t, m, lo, hi, len / m, d / s, kb / 1024 }'
        done
    done
    echo "effect/sox = Wavemill median / sox median (below 1: Wavemill is faster)."
    rm -f effect.wm.wav effect.out.wav
}
report_effects

# --- peak memory -------------------------------------------------------------------------------
peak() { # prints "working_set_mb private_mb" of a Windows command line run by peakmem.exe
    local line
    # msvcrt's stderr is in text mode: the line ends in CR LF.
    line=$(timeout "$limit" wine "$out/peakmem.exe" "$@" 2>&1 >/dev/null | tr -d '\r' | grep -a '^peakmem ') ||
        die "peakmem failed: $*"
    [[ $line =~ working_set_mb=([0-9.]+)\ private_mb=([0-9.]+)\ .*\ exit=0$ ]] ||
        die "child failed under peakmem: $line"
    echo "${BASH_REMATCH[1]} ${BASH_REMATCH[2]}"
}
echo
echo "== Peak memory of Wavemill.exe, one run per file =="
echo "Windows figures from GetProcessMemoryInfo of the child (bench/peakmem.exe). Under Wine they come"
echo "from the process's /proc status: working set = VmHWM, private = RssAnon (sampled every 2 ms, max"
echo "kept), both including Wine's own code and data. Linux max RSS = /usr/bin/time %M of 'wine ...'."
printf '%-28s %18s %18s %16s\n' process "peak working set MB" "peak private MB" "Linux max RSS MB"
for spec in "${inputs[@]}"; do
    read -r name _ <<<"$spec"
    figures=$(peak "$wavemill_win" "-infile=$name.wav" "-outfile=$name.mem.out.wav" -convert_to=Wave -silent)
    read -r ws priv <<<"$figures"
    run_tool wavemill "$name.wav" "$name.mem.out.wav"
    printf '%-28s %18s %18s %16.1f\n' "Wavemill.exe $name" "$ws" "$priv" "$(awk -v k="$rss_kb" 'BEGIN { print k / 1024 }')"
    rm -f "$name.mem.out.wav"
done
# With each effect: memory must not grow with the 10-minute input.
for effect in "${effect_names[@]}"; do
    figures=$(peak "$wavemill_win" -infile=cd_44k16_2ch.wav -outfile=mem.out.wav -convert_to=Wave \
        -silent "-dspeffect1=${effect_setting[$effect]}")
    read -r ws priv <<<"$figures"
    timed wine "$wavemill" -silent -infile=cd_44k16_2ch.wav -outfile=mem.out.wav -convert_to=Wave \
        "-dspeffect1=${effect_setting[$effect]}"
    printf '%-28s %18s %18s %16.1f\n' "Wavemill + $effect" "$ws" "$priv" "$(awk -v k="$rss_kb" 'BEGIN { print k / 1024 }')"
    rm -f mem.out.wav
done
figures=$(peak "Z:${out//\//\\}\\empty.exe")
read -r ws priv <<<"$figures"
/usr/bin/time -f %M -o rss.txt wine "$out/empty.exe" >/dev/null 2>>"$log"
printf '%-28s %18s %18s %16.1f\n' "empty.exe (Wine baseline)" "$ws" "$priv" "$(awk -v k="$(tail -n 1 rss.txt)" 'BEGIN { print k / 1024 }')"

# --- start-up ----------------------------------------------------------------------------------
STARTUP_RUNS=$startup_runs "$bench/startup.sh"
