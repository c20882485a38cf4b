#!/bin/bash
# Disc images with cue sheets, one track per Wavemill run (-track), against sox's and shnsplit's
# cuts of the same image; sheets in legacy code pages and broken ones; files whose extension
# lies, read by the decoder that reads their content.
# Usage: cue_e2e.sh <stage dir> <wine prefix> <work dir> <wavtool.exe>
set -uo pipefail
. "$(dirname "$0")/shell_support.sh"
e2e_start "$@" sox flac metaflac wavpack shnsplit ffmpeg ffprobe iconv

# The disc: audio before track 1 (30 frames), three tones of 150 frames each with gaps of 36
# frames (INDEX 00 to INDEX 01) before tracks 2 and 3, and 15 frames more at the end.
tone() { sox -V1 -n -r 44100 -c 2 -b 16 "$1" synth "$2" sine "$3" vol 0.5; }
tone p0.wav 0.4 220 && tone p1.wav 2 440 && tone g2.wav 0.48 300 && tone p2.wav 2 660
tone g3.wav 0.48 330 && tone p3.wav 2.2 880
sox -V1 p0.wav p1.wav g2.wav p2.wav g3.wav p3.wav disc.wav
starts=(0 30 216 402)           # INDEX 01 of each track in frames (0: the audio before track 1)
ends=(30 216 402 567)
sheet() { # sheet <image name>: the disc's sheet in UTF-8
    cat <<SHEET
REM GENRE "Ambient Works"
REM DATE 1999
REM DISCNUMBER 1
REM REPLAYGAIN_ALBUM_GAIN -4.20 dB
PERFORMER "Zoë Keating Band"
TITLE "Café Tapes"
FILE "$1" WAVE
  TRACK 01 AUDIO
    TITLE "Überfahrt"
    INDEX 00 00:00:00
    INDEX 01 00:00:30
  TRACK 02 AUDIO
    TITLE "Дорога"
    PERFORMER "Гость"
    INDEX 00 00:02:30
    INDEX 01 00:02:66
  TRACK 03 AUDIO
    TITLE "夜明け"
    ISRC GBAYE9900003
    INDEX 00 00:04:66
    INDEX 01 00:05:27
SHEET
}
mkdir wav flac embedded wv legacy broken misnamed
cp disc.wav wav/ && sheet disc.wav | sed 's/$/\r/' >wav/disc.cue
flac -s -o flac/disc.flac disc.wav && sheet disc.wav >flac/disc.cue # names the .wav it came from
cp flac/disc.flac embedded/disc.flac && metaflac --import-cuesheet-from=wav/disc.cue embedded/disc.flac
wavpack -q disc.wav -o wv/disc.wv && printf '\xEF\xBB\xBF' >wv/disc.cue && sheet disc.wv >>wv/disc.cue

# The samples of frames [from, to) of the image, and of a decoded file.
cut_of() { sox -V1 disc.wav -t raw - trim "$(($1 * 588))s" "$((($2 - $1) * 588))s"; }
same_cut() { cmp -s <(cut_of "$2" "$3") <(raw "$1"); }
tag() { metaflac --show-tag="$2" "$1" | cut -d= -f2-; }

mkdir shn && check "shnsplit cuts the image by the sheet" shnsplit -q -f wav/disc.cue -o wav -d shn -a t disc.wav
for kind in wav flac wv; do
    for n in 1 2 3; do
        check "$kind image: track $n converted" wm -infile="$kind\\disc.cue" -track=$n \
            -outfile="$kind\\t$n.flac" -convert_to=FLAC
        check "$kind image: track $n equals frames ${starts[$n]}-${ends[$n]} of the image" \
            same_cut "$kind/t$n.flac" "${starts[$n]}" "${ends[$n]}"
    done
done
for n in 1 2 3; do
    check "track $n equals shnsplit's cut" same_audio wav/t$n.flac "shn/t0$n.wav"
    check "embedded sheet: track $n converted" wm -infile='embedded\disc.flac' -track=$n \
        -outfile="embedded\\t$n.flac" -convert_to=FLAC
    check "embedded sheet: track $n is exact" same_cut "embedded/t$n.flac" "${starts[$n]}" "${ends[$n]}"
done
check "the audio before track 1 is track 0" wm -infile='wav\disc.cue' -track=0 \
    -outfile='wav\t0.flac' -convert_to=FLAC
check "track 0 holds frames 0-30" same_cut wav/t0.flac 0 30
check "track 0 equals shnsplit's cut before track 1" same_audio wav/t0.flac shn/t00.wav

check "track 2 title" [ "$(tag wav/t2.flac TITLE)" = "Дорога" ]
check "track 2 artist is its own" [ "$(tag wav/t2.flac ARTIST)" = "Гость" ]
check "track 1 artist is the disc's" [ "$(tag wav/t1.flac ARTIST)" = "Zoë Keating Band" ]
check "album" [ "$(tag wav/t3.flac ALBUM)" = "Café Tapes" ]
check "track number of total" [ "$(tag wav/t3.flac TRACKNUMBER)/$(tag wav/t3.flac TRACKTOTAL)" = "3/3" ]
check "date, genre, disc" [ "$(tag wav/t1.flac DATE)|$(tag wav/t1.flac GENRE)|$(tag wav/t1.flac DISCNUMBER)" = "1999|Ambient Works|1" ]
check "ISRC" [ "$(tag wav/t3.flac ISRC)" = "GBAYE9900003" ]
check "album gain" [ "$(tag wav/t3.flac REPLAYGAIN_ALBUM_GAIN)" = "-4.20 dB" ]
check "title in a WavPack image's track" [ "$(tag wv/t3.flac TITLE)" = "夜明け" ]
check "embedded sheet: track number" [ "$(tag embedded/t2.flac TRACKNUMBER)" = "2" ]

for codec in MP3 AAC; do
    ext=$([ $codec = MP3 ] && echo mp3 || echo m4a)
    check "track 2 to $codec" wm -infile='wav\disc.cue' -track=2 -outfile="wav\\t2.$ext" -convert_to=$codec
    duration=$(ffprobe -v error -show_entries format=duration -of csv=p=0 "wav/t2.$ext")
    check "$codec track lasts 186 frames ($duration s)" python3 -c "import sys; sys.exit(abs($duration - 186 / 75) > 0.06)"
    check "$codec track title" grep -q 'title=Дорога' <(tags_of "wav/t2.$ext")
done

# Legacy code pages, each with the information line naming it.
cp disc.wav legacy/
sheet disc.wav | iconv -f UTF-8 -t CP1251 -c >legacy/cyr.cue
sheet disc.wav | sed 's/Дорога/東京の夜/; s/Гость/ひかり/' | iconv -f UTF-8 -t SHIFT_JIS -c >legacy/sjis.cue
for pair in "cyr:Дорога:Windows-1251" "sjis:東京の夜:Shift-JIS"; do
    IFS=: read -r name title page <<<"$pair"
    wine "$stage/Wavemill.exe" -infile="legacy\\$name.cue" -track=2 -outfile="legacy\\$name.flac" \
        -convert_to=FLAC </dev/null 2>/dev/null | iconv -f UTF-16LE -t UTF-8 >"legacy/$name.out"
    check "$page sheet: title read" [ "$(tag "legacy/$name.flac" TITLE)" = "$title" ]
    check "$page sheet: named in an information line" grep -qa "read as $page" "legacy/$name.out"
done

# Broken sheets: the run fails with the sheet, the line and the reason.
cp disc.wav broken/
broken() { # broken <name> <sed on the sheet> <expected error text>
    sheet disc.wav | sed "$2" >"broken/$1.cue"
    wm -infile="broken\\$1.cue" -track=2 -outfile="broken\\$1.flac" -convert_to=FLAC
    check "broken $1: fails" [ "$wm_status" = 1 ]
    check "broken $1: says '$3'" grep -qF "$3" wm.err
}
broken frames 's/00:02:66/00:02:80/' "cue sheet 'frames.cue' line 16: the time '00:02:80' has a frame above 74"
broken order 's/00:04:66/00:00:50/; s/00:05:27/00:01:00/' \
    "cue sheet 'order.cue' line 20: track 3 at 00:00:50 does not come after track 2 at 00:02:66"
broken past 's/00:02:66/09:02:66/; s/00:05:27/09:05:27/; s/00:04:66/09:04:66/' \
    "cue sheet 'past.cue' line 16: the time 09:02:66 lies past the end of the audio file (00:07:42)"
broken missing 's/disc.wav/gone.wav/' "cue sheet 'missing.cue' line 7: the audio file 'gone.wav' is missing"
{ sheet disc.wav | head -12; printf 'BINARY\0\1\2\n'; } >broken/junk.cue
wm -infile='broken\junk.cue' -track=2 -outfile='broken\junk.flac' -convert_to=FLAC
check "binary junk: line 13 named" grep -qF "cue sheet 'junk.cue' line 13: binary data, not text" wm.err

# Files whose extension lies: read by the decoder that reads their content.
cd misnamed
sox -V1 ../disc.wav -b 16 clip.wav trim 0 2
ffmpeg -v error -i clip.wav -c:a aac -b:a 128k -f adts aac.mp3
ffmpeg -v error -i clip.wav -c:a libmp3lame -b:a 128k -f mp3 mp3.m4a
flac -s -o flac.wav clip.wav && cp clip.wav wav.mp3
head -c 20000 /dev/urandom >noise.mp3
cd ..
for pair in "aac.mp3:an AAC (ADTS) file" "mp3.m4a:an MP3 file" "flac.wav:a FLAC file" "wav.mp3:a WAV file"; do
    file=${pair%%:*} kind=${pair#*:}
    wine "$stage/Wavemill.exe" -infile="misnamed\\$file" -outfile="misnamed\\$file.out.wav" \
        -convert_to=Wave </dev/null 2>&1 | iconv -f UTF-16LE -t UTF-8 >"misnamed/$file.txt"
    check "$file: converted" [ -s "misnamed/$file.out.wav" ]
    check "$file: information line says it is $kind" grep -qa "is $kind: " "misnamed/$file.txt"
done
check "FLAC named .wav: samples unchanged" same_audio misnamed/flac.wav.out.wav misnamed/clip.wav
check "WAV named .mp3: samples unchanged" same_audio misnamed/wav.mp3.out.wav misnamed/clip.wav
wm -infile='misnamed\noise.mp3' -outfile='misnamed\noise.wav' -convert_to=Wave
check "an unknown file still fails" [ "$wm_status" = 1 ]
check "an unknown file: the MP3 decoder's refusal, no information line" \
    grep -q "Unable to open 'misnamed.noise.mp3' for decoding" wm.err
# The batch: each sheet (and each FLAC carrying one) becomes its tracks, the images they name
# are not converted whole, a broken sheet fails alone.
mkdir -p lib/a lib/b lib/c
cp wav/disc.wav wav/disc.cue lib/a/ && cp embedded/disc.flac lib/b/
cp broken/frames.cue lib/c/ && cp disc.wav lib/c/disc.wav && cp misnamed/clip.wav lib/c/other.wav
wine "$stage/WavemillBatch.exe" -convert_to=FLAC -out=out -report=report.csv lib \
    </dev/null >batch.out 2>&1
check "batch with a broken sheet ends with status 1" [ $? = 1 ]
for n in "01 - Überfahrt" "02 - Дорога" "03 - 夜明け"; do
    check "batch: a/disc - $n.flac" same_audio "out/lib/a/disc - $n.flac" "wav/t${n:1:1}.flac"
done
check "batch: the image with a sheet is not converted whole" [ ! -e out/lib/a/disc.flac ]
check "batch: embedded sheet's track 2" same_audio "out/lib/b/disc - 02.flac" embedded/t2.flac
check "batch: the FLAC carrying a sheet is not converted whole" [ ! -e out/lib/b/disc.flac ]
check "batch: the broken sheet's reason" grep -qF "cue sheet 'frames.cue' line 16: the time '00:02:80' has a frame above 74" report.csv
check "batch: the rest converted" [ -s out/lib/c/other.flac ]
check "batch: no track of the audio before track 1 unless asked" [ ! -e "out/lib/a/disc - 00.flac" ]
wine "$stage/WavemillBatch.exe" -convert_to=FLAC -out=hidden -hiddentrack lib/a \
    </dev/null >batch.out 2>&1
check "batch -hiddentrack: the audio before track 1 as ' - 00'" \
    same_audio "hidden/a/disc - 00.flac" wav/t0.flac
check "batch -hiddentrack: track 1 as before" same_audio "hidden/a/disc - 01 - Überfahrt.flac" wav/t1.flac
wine "$stage/WavemillBatch.exe" -convert_to=FLAC -out=named '-pattern=%artist%\%album%\%track% %title%' \
    lib/a </dev/null >batch.out 2>&1
check "batch pattern: track 2 named from the sheet" same_audio "named/Гость/Café Tapes/02 Дорога.flac" wav/t2.flac
check "batch pattern: track 3 tags" [ "$(tag "named/Zoë Keating Band/Café Tapes/03 夜明け.flac" TITLE)" = "夜明け" ]
e2e_verdict cue
