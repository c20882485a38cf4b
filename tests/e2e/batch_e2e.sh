#!/bin/bash
# WavemillBatch.exe as a real parent of Wavemill.exe: a nested tree of mixed formats with Unicode
# names (samples and tags checked with the native tools), resume, Ctrl-C and the rerun, a hung
# and a crashed conversion among good ones, a full disk, the plan, naming patterns, collisions
# settled by their policy, selected folders, outputs beside their sources with reruns, and
# settings refused before the run, filters and copies, and sources adapted to the encoder.
# Usage: batch_e2e.sh <stage dir> <wine prefix> <work dir> <wavtool.exe>
set -uo pipefail
. "$(dirname "$0")/shell_support.sh"
e2e_start "$@" sox flac metaflac lame mpg123 parallel
# Runs the batch; its output lands in batch.out (UTF-8).
batch() {
    wine "$stage/WavemillBatch.exe" "$@" </dev/null >batch.out 2>&1
}
# The batch's lines, shown under a failed check.
shown() { sed 's/^/    | /' batch.out; }
leftovers() { find "$@" -name '*.wmbatch-part.*' | grep -c .; }

# --- 40 sources: WAV, FLAC and MP3 in a nested tree with Unicode names, each tagged ---
folders=("lib/Ünïcode ñame" "lib/日本語/深い" "lib/Ελληνικά" "lib")
for i in $(seq 1 40); do
    dir=${folders[i % 4]} && mkdir -p "$dir"
    base="$dir/trâck $i"
    sox -R -V1 -n -r 44100 -c 2 -b 16 "$base.wav" synth 0.$((i % 7 + 2)) sine $((200 + 37 * i))
    case $((i % 3)) in
    0) wine "$wavtool" settags "Z:$stage" "Z:$work/$base.wav" "title=Tïtle $i" </dev/null >/dev/null ;;
    1) flac -s -f --delete-input-file -T "TITLE=Tïtle $i" "$base.wav" ;;
    2) lame --quiet -V 2 --tt "Tïtle $i" "$base.wav" "$base.mp3" && rm "$base.wav" ;;
    esac
done
echo 'not audio' >lib/notes.txt
batch -convert_to=FLAC -jobs=2 -out=out -report=report.csv lib
check "40 sources convert, exit 0" test $? -eq 0
check "the text file is listed as skipped with the reason" \
    grep -qF "notes.txt: no installed decoder reads '.txt' files" batch.out
samples_ok=0 tags_ok=0
while IFS= read -r -d '' src; do
    rel=${src#lib/} out="out/lib/${rel%.*}.flac" n=${rel##*trâck } n=${n%.*}
    case $src in
    *.mp3) cmp -s <(mpg123 -q -s "$src") <(flac -s -d -c --force-raw-format --endian=little --sign=signed "$out") ;;
    *) cmp -s <(raw "$src") <(raw "$out") ;;
    esac && samples_ok=$((samples_ok + 1))
    [ "$(metaflac --show-tag=TITLE "$out")" = "TITLE=Tïtle $n" ] && tags_ok=$((tags_ok + 1))
done < <(find lib -type f ! -name '*.txt' -print0)
check "every output decodes to its source's samples (40)" test $samples_ok -eq 40
check "every output carries its title (40)" test $tags_ok -eq 40
check "the report lists each conversion" test "$(grep -c ',converted,' report.csv)" -eq 40
check "the report's audio length of a 0.5 s source" grep -q 'trâck 3\.wav,.*,converted,,500,' report.csv
check "no temporary file is left" test "$(leftovers out)" -eq 0
before=$(find out -type f -printf '%T@ %p\n' | sort | md5sum)
batch -convert_to=FLAC -jobs=2 -out=out lib
check "a second run exits 0 and converts nothing" grep -q '^Converted 0, skipped 41, failed 0\.' batch.out
check "... and says so" grep -q 'Nothing to convert' batch.out
check "... leaving every output untouched" test "$(find out -type f -printf '%T@ %p\n' | sort | md5sum)" = "$before"

# --- Ctrl-C in the middle; the rerun finishes the rest ---
mkdir -p slow stopped
for i in 1 2 3 4 5 6; do printf 'format 8000 1 16\nsleep 250\nblock 1600 24\n' >slow/s$i.wmt; done
# Two at a time: s3 and s4 run when the user stops the batch, after the first two ended.
mkdir -p stopped/slow
echo 'older output' >stopped/slow/s4.raw && touch -d 2020-01-01 stopped/slow/s4.raw
command wine "$stage/WavemillBatch.exe" -convert_to=TestEnc -jobs=2 -out=stopped slow </dev/null >batch.out 2>&1 &
pid=$!
for _ in $(seq 50); do grep -q '^\[1/' batch.out 2>/dev/null && break; sleep 0.2; done
# The wine command becomes the Windows process itself: the signal reaches only this batch.
sleep 1 && kill -INT $pid
wait $pid
check "Ctrl-C: status 1" test $? -eq 1
check "Ctrl-C: the running conversions were stopped" grep -q 'stopped by Ctrl-C' batch.out
check "Ctrl-C: the existing output is kept" test "$(cat stopped/slow/s4.raw)" = 'older output'
check "Ctrl-C: every output present is complete" \
    test "$(find stopped -name '*.raw' ! -name s4.raw -size -38400c | grep -c .)" -eq 0
check "Ctrl-C: no temporary file is left" test "$(leftovers stopped)" -eq 0
batch -convert_to=TestEnc -jobs=2 -out=stopped slow
status=$?
check "the rerun exits 0" test $status -eq 0
[ $status -eq 0 ] || shown
check "the rerun finishes all six" test "$(find stopped -name '*.raw' -size 38400c | grep -c .)" -eq 6

# --- A hung and a crashed conversion among good ones (a crash takes Wine seconds to dump, many
# on a busy machine, hence the long limit) ---
mkdir -p faults
for i in 1 2 3; do printf 'format 8000 1 16\nblock 1600 4\n' >faults/good$i.wmt; done
printf 'format 8000 1 16\nblock 1600 2\nsleep 600000\nblock 1600 2\n' >faults/hang.wmt
printf 'format 8000 1 16\nblock 1600 2\ncrash access DecodeBlock 2\n' >faults/crash.wmt
batch -convert_to=TestEnc -jobs=2 -hang=30 -out=faults-out -report=faults.json faults
check "faults: status 1" test $? -eq 1
check "faults: the hang is reported as hung" grep -q 'hang.wmt: hung: no progress for 30 s' batch.out
dump=$(grep -o 'crash.wmt: crashed (.*crash-[0-9-]*\.dmp)' batch.out | head -1 | grep -o 'crash-[0-9-]*\.dmp')
check "faults: the crash is reported with its dump" test -n "$dump"
check "faults: ... and with the plug-in, its call and the exception" grep -qi \
    "crash.wmt: crashed (.*\.dmp): The plug-in 'TestDecoder.dll' crashed in DecodeBlock: access violation" batch.out
[ -n "$dump" ] || shown
check "faults: ... and that dump exists" \
    test -f "$WINEPREFIX/drive_c/users/$(id -un)/AppData/Roaming/Vrx/crashes/$dump"
check "faults: the good files converted" test "$(grep -c '"status":"converted"' faults.json)" -eq 3
check "faults: no output or temporary file for the failed ones" \
    test "$(find faults-out -name 'hang*' -o -name 'crash*' | grep -c .)" -eq 0

# --- Lost starts: a converter whose first start of each command line ends at once with Wine's
# words that it could not map the process; each is started again once and said, and the files
# convert whole ---
cp -rl "$stage" lost-stage && mv lost-stage/Wavemill.exe lost-stage/WavemillReal.exe &&
    cp "$LOST_START_CONVERTER" lost-stage/Wavemill.exe
mkdir -p lost && for i in 1 2 3; do sox -R -V1 -n -r 44100 -c 2 -b 16 lost/l$i.wav synth 0.5 sine $((300 * i)); done
wine lost-stage/WavemillBatch.exe -convert_to=FLAC -jobs=2 -out=lost-out -report=lost.csv lost \
    </dev/null >batch.out 2>&1
check "lost starts: every file converted, exit 0" test $? -eq 0 -a "$(grep -c ',converted,' lost.csv)" -eq 3
check "lost starts: ... with their samples" \
    test "$(for i in 1 2 3; do same_audio lost/l$i.wav lost-out/lost/l$i.flac && echo ok; done | grep -c ok)" -eq 3
check "lost starts: each file's notes say it was started again" \
    test "$(grep -c "started again: the system lost the converter's first start" lost.csv)" -eq 3
check "lost starts: the count at the end, the settings trial's included" \
    grep -q "^The system lost 4 converter start(s) (ended before the converter ran); each was made again." batch.out
grep -q '^The system lost 4' batch.out || shown

# --- A full disk: the files that fit are complete, the batch stops starting more once, saying why;
# a read-only destination likewise ---
mkdir -p big small readonly
for i in 1 2 3 4; do sox -R -V1 -n -r 44100 -c 2 -b 16 big/b$i.wav synth 2.5 sine $((300 * i)); done
if mount -t tmpfs -o size=1200k tmpfs small 2>/dev/null; then
    batch -convert_to=Wave -jobs=1 -out=small -report=full.csv big
    status=$?
    fits=0
    for f in small/big/*.wav; do [ -f "$f" ] && cmp -s <(raw "$f") <(raw "big/${f##*/}") && fits=$((fits + 1)); done
    check "full disk: status 1" test $status -eq 1
    check "full disk: the two files that fit are complete" test $fits -eq 2
    check "full disk: the one that did not fit names the folder and the cause" \
        test "$(grep -c "^\[3/4\] FAILED .*b3.wav: no space left in '.*small.big' (" batch.out)" -eq 1
    check "full disk: no more were started, said once" \
        test "$(grep -c '^Starting no more conversions: no space left in' batch.out)" -eq 1
    check "full disk: the rest is reported as not started, with the cause" \
        grep -q "b4.wav,.*,skipped,not started: no space left in" full.csv
    check "full disk: no temporary file is left" test "$(leftovers small)" -eq 0
    umount small
else
    echo "note: cannot mount a tmpfs here; the full-disk case is not run"
fi
if mount -t tmpfs -o size=1200k,ro tmpfs readonly 2>/dev/null; then
    batch -convert_to=Wave -jobs=1 -out=readonly big
    check "read-only destination: status 1" test $? -eq 1
    check "read-only destination: one failure, naming the folder and the cause" \
        test "$(grep -c "^\[1/4\] FAILED .*access denied to '.*readonly' (" batch.out)" -eq 1
    check "read-only destination: said once" \
        test "$(grep -c '^Starting no more conversions: access denied to' batch.out)" -eq 1
    [ "$(grep -c '^\[' batch.out)" -eq 1 ] || shown
    umount readonly
else
    echo "note: cannot mount a read-only tmpfs here; the read-only case is not run"
fi

# --- The plan, naming patterns and collisions ---
batch -convert_to=MP3 -V 2 -out=planned -plan=plan.txt lib
check "plan: exits 0 and runs nothing" test $?:$(test -e planned && echo ran) = 0:
check "plan: LF line ends" test "$(grep -c $'\r' plan.txt)" -eq 0
check "plan: one Windows command line per file, each a job of the batch" test "$(grep -c \
    '^"[A-Z]:\\.*\\WavemillBatch.exe" -convert_to="MP3" -out="[A-Z]:\\.*" -file="[A-Z]:\\.*" -as="[A-Z]:\\.*\.mp3" -V="2"$' \
    plan.txt)" -eq 40
# Run by GNU parallel under Wine, one job killed by its time limit while it converts.
mkdir -p jobs
for i in 1 2 3; do printf 'format 8000 1 16\nblock 1600 4\n' >jobs/good$i.wmt; done
printf 'format 8000 1 16\nblock 1600 2\nsleep 30000\nblock 1600 2\n' >jobs/slow.wmt
batch -convert_to=TestEnc -out=jobs-out -plan=jobs.txt jobs
# Wine's errors of its memory set-up are let through, so that a start Wine refuses says so here.
sed 's/^/wine /' jobs.txt | WINEDEBUG=$wine_start_errors parallel -j 2 --timeout 12 >parallel-first.out 2>&1
jobs_failed=$?
check "parallel: one job failed (the one killed)" test $jobs_failed -eq 1
[ $jobs_failed -eq 1 ] || sed 's/^/    | /' parallel-first.out
check "parallel: the other jobs' outputs are complete" \
    test "$(find jobs-out -name 'good*.raw' -size 6400c | grep -c .)" -eq 3
check "parallel: the killed job left no file under its output's name" test ! -e jobs-out/jobs/slow.raw
before=$(find jobs-out -name 'good*.raw' -printf '%T@ %p\n' | sort | md5sum)
grep -v slow jobs.txt | sed 's/^/wine /' | parallel -j 2 >parallel.out 2>&1
check "parallel: a rerun of the jobs exits 0" test $? -eq 0
check "parallel: ... finds each output up to date" test "$(grep -c '^Nothing to convert' parallel.out)" -eq 3
check "parallel: ... and leaves them untouched" \
    test "$(find jobs-out -name 'good*.raw' -printf '%T@ %p\n' | sort | md5sum)" = "$before"
mkdir -p tagged
sox -R -V1 -n -r 44100 -c 2 -b 16 tagged/x.wav synth 0.3 sine 500
flac -s -T 'ARTIST=AC/DC' -T 'ALBUM=Live?' -T 'TRACKNUMBER=7' -T 'TITLE=Song' tagged/x.wav -o tagged/a.flac
flac -s -T 'ARTIST=AC/DC' tagged/x.wav -o tagged/b.flac
batch -convert_to=FLAC -out=named '-pattern=%artist%\%album%\%track% %title%' tagged
check "pattern: outputs named from the tags, forbidden characters replaced" \
    test -f 'named/AC_DC/Live_/07 Song.flac'
check "pattern: missing tags fall back" test -f 'named/AC_DC/Unknown Album/00 b.flac'
check "pattern: x.wav without tags too" test -f 'named/Unknown Artist/Unknown Album/00 x.flac'
batch -convert_to=FLAC -out=tagged/inside tagged && batch -convert_to=FLAC -out=tagged/inside tagged
check "outputs inside an input folder are not taken as sources" \
    grep -q '^Converted 0, skipped 3, failed 0\.' batch.out
batch -convert_to=FLAC -out=clash '-pattern=%artist%' tagged/a.flac tagged/b.flac
check "collision: both converted, exit 0" test $? -eq 0
check "collision: the later source gets a name of its own" \
    test -f 'clash/AC_DC.flac' -a -f 'clash/AC_DC (2).flac'
check "collision: ... and the batch says which and why" \
    grep -qF "b.flac: named 'AC_DC (2).flac': 'AC_DC.flac' is taken by the output of" batch.out
batch -convert_to=FLAC -collide=skip -out=clash-skip '-pattern=%artist%' tagged/a.flac tagged/b.flac
check "collision -collide=skip: the later source is skipped with the reason" \
    grep -qF "b.flac: not converted: 'AC_DC.flac' is taken by the output of" batch.out
check "collision -collide=skip: one output" test "$(find clash-skip -type f -name '*.flac' | grep -c .)" -eq 1

# --- A two-disc album named by a pattern without %disc%, and a pair of one name in a folder ---
mkdir -p album/"Disc 1" album/"Disc 2" pair
for d in 1 2; do
    flac -s -T 'ALBUM=Two Discs' -T 'TRACKNUMBER=1' -T 'TITLE=Intro' -T "DISCNUMBER=$d/2" \
        tagged/x.wav -o "album/Disc $d/01 Intro.flac"
done
batch -convert_to=FLAC -out=discs '-pattern=%album%\%track% %title%' album
check "two discs: both converted, the second named after its disc" \
    test -f 'discs/Two Discs/01 Intro.flac' -a -f 'discs/Two Discs/01 Intro (disc 2).flac'
sox -R -V1 -n -r 44100 -c 2 -b 16 pair/Track.wav synth 0.3 sine 700
flac -s pair/Track.wav -o pair/Track.flac
batch -convert_to=MP3 -out=pairs pair
check "Track.flac beside Track.wav: both converted, the second named after its type" \
    test -f pairs/pair/Track.mp3 -a -f 'pairs/pair/Track (wav).mp3'

# --- Selected folders keep their name; two discs selected do not collide ---
batch -convert_to=FLAC -out=selected "album/Disc 1" "album/Disc 2"
check "selected folders keep their name under -out" \
    test -f 'selected/Disc 1/01 Intro.flac' -a -f 'selected/Disc 2/01 Intro.flac'

# --- Outputs next to their sources: the rerun finds them up to date, other settings reconvert ---
mkdir -p beside && cp pair/Track.wav beside/a.wav && cp tagged/a.flac beside/b.flac
batch -convert_to=FLAC -out=beside beside
check "beside the sources: converts, exit 0" test $? -eq 0
check "beside the sources: the output is there" test -f beside/a.flac
check "beside the sources: a source in the target format is left as it is" \
    grep -qF "b.flac: already FLAC where its output would go" batch.out
batch -convert_to=FLAC -out=beside beside
status=$?
check "beside the sources: the rerun exits 0 and converts nothing" \
    test $status:"$(grep -c '^Converted 0, skipped 2, failed 0\.' batch.out)" = 0:1
[ $status -eq 0 ] || shown
batch -convert_to=FLAC -8 -out=beside beside
check "beside the sources: other settings reconvert the output" \
    grep -q '^Converted 1, skipped 1, failed 0\.' batch.out
batch -convert_to=FLAC -8 -out=beside beside
check "... and once more with them converts nothing" grep -q '^Converted 0, skipped 2' batch.out

# --- Settings the encoder refuses: one line, status 2, nothing made ---
batch -convert_to=MP3 -V 11 -out=refused tagged
status=$?
check "refused settings: status 2" test $status -eq 2
check "refused settings: no output folder was made" test ! -e refused
check "refused settings: said once" test "$(grep -c 'tried once and refused' batch.out)" -eq 1
check "refused settings: the reason names no temporary file" test "$(grep -c 'wmbatch-part' batch.out)" -eq 0
[ $status -eq 2 ] || shown

# --- Filters and copies: podcasts left out, an MP3 copied as it is, the cover and log copied ---
mkdir -p filt/Music filt/Podcasts
sox -R -V1 -n -r 44100 -c 2 -b 16 filt/Music/a.wav synth 0.3 sine 440
cp filt/Music/a.wav filt/Podcasts/p.wav
lame --quiet -V 2 filt/Music/a.wav filt/Music/m.mp3
echo 'jpeg' >filt/Music/cover.jpg && echo 'rip log' >filt/Music/rip.log && echo x >filt/Music/x.txt
batch -convert_to=MP3 -out=filtered '-exclude=*\Podcasts\*' -copysame '-copyfiles=*.jpg;*.LOG' filt
check "filters: exit 0" test $? -eq 0
check "filters: the excluded folder is left out" test ! -e filtered/filt/Podcasts
check "filters: the WAV is converted" test -f filtered/filt/Music/a.mp3
check "-copysame: the MP3 is copied as it is" cmp -s filt/Music/m.mp3 filtered/filt/Music/m.mp3
check "-copyfiles: the cover and the log are copied" \
    test "$(cat filtered/filt/Music/cover.jpg filtered/filt/Music/rip.log)" = $'jpeg\nrip log'
check "-copyfiles: other files are not" test ! -e filtered/filt/Music/x.txt
check "filters: the summary counts the copies" grep -q '^Converted 1, copied 3, skipped 1, failed 0\.' batch.out
batch -convert_to=MP3 -out=filtered '-exclude=*\Podcasts\*' -copysame '-copyfiles=*.jpg;*.LOG' filt
check "filters: the rerun converts and copies nothing" grep -q '^Converted 0, skipped 5, failed 0\.' batch.out
batch -convert_to=FLAC -out=included '-include=*.wav' filt
check "-include: only the WAV files" test "$(find included -type f -name '*.flac' | grep -c .)" -eq 2

# --- Each source adapted to the encoder: 5.1 and 192 kHz to MP3, float to FLAC; -noadapt refuses ---
mkdir -p adapt
sox -R -V1 -n -r 48000 -c 6 -b 16 adapt/surround.flac synth 0.5 sine 300
sox -R -V1 -n -r 192000 -c 2 -b 24 adapt/hires.wav synth 0.5 sine 500
sox -R -V1 -n -r 44100 -c 2 -e floating-point -b 32 adapt/float.wav synth 0.5 sine 600
sox -R -V1 -n -r 44100 -c 2 -b 16 adapt/cd.wav synth 0.5 sine 700
# "rate,channels" of a file's first audio stream.
shape() {
    ffprobe -v error -select_streams a:0 -show_entries stream=sample_rate,channels \
        -of default=nw=1:nk=1 "$1" | grep . | paste -sd, -
}
batch -convert_to=MP3 -out=adapted -report=adapted.csv adapt/surround.flac adapt/hires.wav adapt/cd.wav
status=$?
check "adapt: 5.1 and 192 kHz to MP3 convert, exit 0" test $status -eq 0
[ $status -eq 0 ] || shown
check "adapt: the 5.1 source is down-mixed to stereo" test "$(shape adapted/surround.mp3)" = 48000,2
check "adapt: the 192 kHz source is made 48 kHz" test "$(shape adapted/hires.mp3)" = 48000,2
check "adapt: the report says what was adapted" \
    grep -q 'surround.flac,.*,converted,.*adapted: down-mixed 6 to 2 channels' adapted.csv
check "adapt: ... and leaves a source that fits alone" test "$(grep -c 'cd.wav,.*,converted,.*adapted:' adapted.csv)" -eq 0
sox -R -V1 -n -r 22050 -c 1 -b 16 adapt/low.wav synth 0.5 sine 800
batch -convert_to=AAC -out=adapted adapt/hires.wav adapt/low.wav adapt/surround.flac
check "adapt: to AAC, 192 kHz is made 96 kHz, 22.05 kHz and 5.1 are kept" \
    test "$(shape adapted/hires.m4a) $(shape adapted/low.m4a) $(shape adapted/surround.m4a)" = \
    "96000,2 22050,1 48000,6"
batch -convert_to=FLAC -out=adapted adapt/float.wav adapt/cd.wav
check "adapt: float to FLAC gives 24-bit" test "$(metaflac --show-bps adapted/float.flac)" = 24
check "adapt: ... while the 16-bit source stays 16-bit" test "$(metaflac --show-bps adapted/cd.flac)" = 16
batch -convert_to=MP3 -noadapt -out=unadapted adapt/surround.flac
check "-noadapt: the 5.1 source fails with the encoder's reason" \
    test $?:"$(grep -c '^  FAILED .*surround.flac: ' batch.out)" = 1:1

e2e_verdict batch
