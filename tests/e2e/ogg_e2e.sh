#!/bin/bash
# The Opus and Vorbis plug-ins checked against Debian's native opus-tools and vorbis-tools (the
# same library versions): samples (opusdec, oggdec), stream checks (opusinfo, ogginfo), tags and
# covers (vorbiscomment, ffprobe), gapless lengths, quality next to the native encoders', tags
# through every format, and damaged input.
# Usage: ogg_e2e.sh <stage dir> <wine prefix> <work dir> <wavtool.exe>
set -uo pipefail
. "$(dirname "$0")/shell_support.sh"
e2e_start "$@" sox opusenc opusdec opusinfo oggenc oggdec ogginfo vorbiscomment flac metaflac ffprobe \
    ffmpeg python3
# Signal-to-noise ratio of a decoded file against its source, in hundredths of a dB.
snr() {
    local s n
    s=$(sox -V1 "$1" -n stat 2>&1 | awk '/RMS     amplitude/ {print $3}')
    n=$(sox -V1 -m -v 1 "$1" -v -1 "$2" -n stat 2>&1 | awk '/RMS     amplitude/ {print $3}')
    awk -v s="$s" -v n="$n" 'BEGIN {printf "%d", 2000 * log(s / n) / log(10)}'
}
# Whether two files' sizes differ by at most 2 %.
sizes_close() {
    local a b
    a=$(stat -c %s "$1") b=$(stat -c %s "$2")
    ((100 * (a - b) / b <= 2 && 100 * (b - a) / b <= 2))
}
probe() { ffprobe -v error -show_entries stream_tags:format_tags -of flat=s=_ "$1" | sed 's/^.*_tags_//'; }
# No error or warning line from opusinfo / ogginfo.
clean_info() { "$@" >info.txt 2>&1 && ! grep -qiE '^(warning|error)|WARNING:|ERROR:' info.txt; }
# Rewrites the CRC of every Ogg page in place (after a deliberate edit of a header).
fix_crc() {
    python3 - "$1" <<'PY'
import struct, sys
data = bytearray(open(sys.argv[1], 'rb').read())
table = []
for i in range(256):
    r = i << 24
    for _ in range(8):
        r = ((r << 1) ^ 0x04C11DB7) if r & 0x80000000 else r << 1
    table.append(r & 0xFFFFFFFF)
at = 0
while at < len(data):
    n = data[at + 26]
    size = 27 + n + sum(data[at + 27:at + 27 + n])
    data[at + 22:at + 26] = b'\0\0\0\0'
    crc = 0
    for b in data[at:at + size]:
        crc = ((crc << 8) & 0xFFFFFFFF) ^ table[(crc >> 24) ^ b]
    data[at + 22:at + 26] = struct.pack('<I', crc)
    at += size
open(sys.argv[1], 'wb').write(data)
PY
}

# A tagged 12-second source with a front cover and ReplayGain.
sox -R -V1 -n -r 44100 -c 2 -b 16 src.wav synth 12 sine 440 pinknoise gain -4
/usr/bin/convert-im6.q16 -size 40x30 gradient:red-blue cover.jpg 2>/dev/null ||
    printf '\377\330\377\340cover-bytes\377\331' >cover.jpg
tags=('title=Tëst Title' 'artist=An Artist' 'album=The Album' 'album artist=Various'
    'track=3/12' 'disc=1/2' 'year=2024' 'genre=Jazz' 'comment=Said so'
    'replaygain_track_gain=-6.54 dB')
wavtool settags "Z:$stage" "Z:$work/src.wav" "${tags[@]}" "@Front Album Cover=Z:$work/cover.jpg"
fields=('TITLE=Tëst Title' 'ARTIST=An Artist' 'ALBUM=The Album' 'ALBUMARTIST=Various'
    'TRACKNUMBER=3' 'TRACKTOTAL=12' 'DISCNUMBER=1' 'DISCTOTAL=2' 'DATE=2024' 'GENRE=Jazz'
    'COMMENT=Said so')

# --- Opus encoder ---
help=$(wine "$stage/Wavemill.exe" -help </dev/null 2>&1 | tr -d '\r\0')
check "-help lists both encoders with their options and the three extensions" \
    test "$(grep -cE '^  (Opus|Vorbis)$|-bitrate <kbps>|-q <-1..10>|\*\.(opus|ogg|oga) ' <<<"$help")" = 7
wm -infile=src.wav -outfile=a.opus -convert_to=Opus -bitrate 128
check "WAV to Opus exits 0" test $? -eq 0
check "opusinfo reports no errors" clean_info opusinfo a.opus
check "ffprobe reads the title and album artist" \
    test "$(probe a.opus | grep -ciE '^(title="Tëst Title"|album_?artist="Various")$')" = 2
opusdec --quiet a.opus a-native.wav 2>/dev/null
check "opusdec gives the source's length at its rate" test "$(soxi -s a-native.wav):$(soxi -r a-native.wav)" = "$(soxi -s src.wav):44100"
comments=$(opusinfo a.opus | sed -n 's/^\t\([A-Z0-9_]*=\)/\1/p')
for field in "${fields[@]}" 'R128_TRACK_GAIN=-2954'; do
    check "opusinfo lists $field" grep -qxF "$field" <<<"$comments"
done
check "Opus carries no REPLAYGAIN_ field" test "$(grep -ci '^REPLAYGAIN_' <<<"$comments")" = 0
ffmpeg -v error -y -i a.opus -an -c:v copy -f image2 cover-opus.jpg
check "ffmpeg finds the cover in the Opus file, byte for byte" cmp -s cover.jpg cover-opus.jpg
# The native encoder at the same settings: the same library, so nearly the same audio.
opusenc --quiet --bitrate 128 src.wav n.opus
opusdec --quiet n.opus n-native.wav 2>/dev/null
ours=$(snr src.wav a-native.wav) theirs=$(snr src.wav n-native.wav)
echo "     Opus 128 kbps SNR: ours $ours, opusenc's $theirs (0.01 dB)"
check "Opus 128 kbps: SNR no worse than opusenc's (within 0.1 dB)" test $((ours - theirs)) -ge -10
# Measured: the decoded samples are opusenc's exactly; the C runtime's maths may tip a rounding.
check "Opus 128 kbps: decoded within 2 LSB of opusenc's" test "$(max_diff a-native.wav n-native.wav)" -le 2
check "Opus 128 kbps: size within 2 % of opusenc's" sizes_close a.opus n.opus
for bad in "-bitrate 600" "-bitrate 3" "-comp 11" "-framesize 30" "-foo"; do
    # shellcheck disable=SC2086
    wm -infile=src.wav -outfile=bad.opus -convert_to=Opus $bad
    check "Opus $bad fails with the reason" test "$?:$(grep -c "Opus option\|out of range" wm.err)" = 1:1
done
check "a refused option leaves no output" test ! -e bad.opus

# --- Opus decoder ---
wm -infile=n.opus -outfile=n-ours.wav -convert_to=Wave
check "Opus to WAV exits 0" test $? -eq 0
opusdec --quiet --rate 48000 --no-dither n.opus n48.wav 2>/dev/null
check "the native opusdec's samples (48 kHz, no dither), exactly" same_audio n-ours.wav n48.wav
# The header's output gain (-6 dB, Q7.8 little-endian at byte 16 of OpusHead) applies as in opusdec.
cp n.opus gain.opus && printf '\000\372' | dd of=gain.opus bs=1 seek=44 conv=notrunc status=none && fix_crc gain.opus
wm -infile=gain.opus -outfile=gain.wav -convert_to=Wave
opusdec --quiet --rate 48000 --no-dither gain.opus gain-native.wav 2>/dev/null
check "the header's output gain is applied" test "$(max_diff gain.wav n-ours.wav)" -gt 1000
check "with the header's gain, the samples are opusdec's" same_audio gain.wav gain-native.wav
opusdec --quiet --rate 48000 n.opus n48d.wav 2>/dev/null
echo "     against opusdec's default dither: $(max_diff n-ours.wav n48d.wav) LSB at most"
check "48 kHz, the source's length" test "$(soxi -s n-ours.wav)" = $((12 * 48000))
opusenc --quiet --title 'Native' --artist 'Ñative' --comment 'R128_TRACK_GAIN=-512' \
    --picture '3||Sleeve||cover.jpg' src.wav tagged.opus
wm -infile=tagged.opus -outfile=tagged.flac -convert_to=FLAC
flist=$(metaflac --list tagged.flac)
check "native Opus tags arrive in FLAC" grep -qF ']: ARTIST=Ñative' <<<"$flist"
check "R128_TRACK_GAIN -512 becomes REPLAYGAIN_TRACK_GAIN +3.00 dB" \
    test "$(metaflac --show-tag=REPLAYGAIN_TRACK_GAIN tagged.flac)" = "REPLAYGAIN_TRACK_GAIN=+3.00 dB"
cat n.opus a.opus >chain.opus
wm -infile=chain.opus -outfile=chain-opus.wav -convert_to=Wave
check "a chained Opus file decodes whole" test "$?:$(soxi -s chain-opus.wav)" = "0:$((2 * 12 * 48000))"
check "the picture keeps its type and description" grep -qzP 'type: 3 \(Cover \(front\)\)\n *MIME type: image/jpeg\n *description: Sleeve' <<<"$flist"

# --- Vorbis encoder ---
wm -infile=src.wav -outfile=a.ogg -convert_to=Vorbis -q 5
check "WAV to Vorbis exits 0" test $? -eq 0
check "ogginfo reports no errors" clean_info ogginfo a.ogg
oggdec -Q -o a-ogg.wav a.ogg
check "oggdec gives the source's length" test "$(soxi -s a-ogg.wav)" = "$(soxi -s src.wav)"
vlist=$(vorbiscomment -l a.ogg)
for field in "${fields[@]}" 'REPLAYGAIN_TRACK_GAIN=-6.54 dB'; do
    check "vorbiscomment lists $field" grep -qxF "$field" <<<"$vlist"
done
ffmpeg -v error -y -i a.ogg -an -c:v copy -f image2 cover-ogg.jpg
check "ffmpeg finds the cover in the Vorbis file, byte for byte" cmp -s cover.jpg cover-ogg.jpg
oggenc -Q -q 5 -o n.ogg src.wav
oggdec -Q -o n-ogg.wav n.ogg
ours=$(snr src.wav a-ogg.wav) theirs=$(snr src.wav n-ogg.wav)
echo "     Vorbis q5 SNR: ours $ours, oggenc's $theirs (0.01 dB); largest difference $(max_diff a-ogg.wav n-ogg.wav) LSB"
check "Vorbis q5: SNR no worse than oggenc's (within 0.1 dB)" test $((ours - theirs)) -ge -10
wm -infile=src.wav -outfile=b.ogg -convert_to=Vorbis -b 96
oggenc -Q -b 96 -o nb.ogg src.wav
check "Vorbis -b 96: size within 2 % of oggenc -b 96" sizes_close b.ogg nb.ogg
for bad in "-q 11" "-b 5000" "-x"; do
    # shellcheck disable=SC2086
    wm -infile=src.wav -outfile=bad.ogg -convert_to=Vorbis $bad
    check "Vorbis $bad fails with the reason" test "$?:$(grep -c "Vorbis option\|no setting" wm.err)" = 1:1
done

# --- Vorbis decoder ---
wm -infile=n.ogg -outfile=n-ogg-ours.wav -convert_to=Wave
check "Vorbis to WAV exits 0" test $? -eq 0
check "the native oggdec's samples, exactly" same_audio n-ogg-ours.wav n-ogg.wav
# An ID3v1 tag that a tagger appended is not taken for a page cut off.
{ cat n.ogg && printf 'TAG%-124sO' 'Title'; } >n.oga
wm -infile=n.oga -outfile=n-oga.wav -convert_to=Wave
check ".oga is read too, past an appended ID3v1 tag" same_audio n-oga.wav n-ogg.wav
# A chained file: both links decoded whole.
cat n.ogg a.ogg >chain.ogg
wm -infile=chain.ogg -outfile=chain.wav -convert_to=Wave
check "a chained Vorbis file decodes whole" test "$?:$(soxi -s chain.wav)" = "0:$((2 * $(soxi -s src.wav)))"

# --- 24-bit and float sources ---
for kind in "-b 24" "-e floating-point -b 32"; do
    # shellcheck disable=SC2086
    sox -V1 src.wav $kind deep.wav
    wm -infile=deep.wav -outfile=deep.opus -convert_to=Opus
    s1=$? && opusdec --quiet deep.opus deep-opus.wav 2>/dev/null
    wm -infile=deep.wav -outfile=deep.ogg -convert_to=Vorbis
    s2=$? && oggdec -Q -o deep-ogg.wav deep.ogg
    check "$kind source: both encode to the exact length at full level" \
        test "$s1 $s2 $(soxi -s deep-opus.wav) $(soxi -s deep-ogg.wav) $((ours=$(snr src.wav deep-ogg.wav), ours > 1500))" = \
        "0 0 $(soxi -s src.wav) $(soxi -s src.wav) 1"
done

# --- Surround: 5.1 in the wave order comes back in the wave order ---
sox -V1 -n -r 48000 -b 16 -c 6 six.wav synth 3 sine 200 sine 300 sine 400 sine 50 sine 600 sine 700 gain -8
for codec in Opus Vorbis; do
    ext=$([ $codec = Opus ] && echo opus || echo ogg)
    wm -infile=six.wav -outfile="six.$ext" -convert_to=$codec
    wm -infile="six.$ext" -outfile=six-$codec.wav -convert_to=Wave
    ok=1
    for c in 1 2 3 4 5 6; do
        # Each channel's tone is strongest in its own channel after the round trip.
        [ "$(sox -V1 six-$codec.wav -n remix $c stat 2>&1 | awk '/Rough   frequency/ {f = $3} END {print (f > 0) ? int((f + 25) / 50) * 50 : 0}')" = \
            "$(sox -V1 six.wav -n remix $c stat 2>&1 | awk '/Rough   frequency/ {f = $3} END {print int((f + 25) / 50) * 50}')" ] || ok=0
    done
    check "$codec 5.1: every channel in its place" test $ok = 1
done

# --- Gapless: exact lengths for tones of 1, 7 and 61 s ---
for rate in 44100 48000; do
    for channels in 1 2; do
        for seconds in 1 7 61; do
            name=g$rate-$channels-$seconds
            sox -V1 -n -r $rate -c $channels -b 16 $name.wav synth $seconds sine 1000 gain -3
            for step in "$name.wav $name.opus Opus" "$name.wav $name.ogg Vorbis" \
                "$name.opus $name-opus.wav Wave" "$name.ogg $name-ogg.wav Wave"; do
                read -r from to codec <<<"$step"
                wm -infile="$from" -outfile="$to" -convert_to="$codec" || echo "     $to: status $?, $(cat wm.err)"
            done
            opusdec --quiet $name.opus $name-opusdec.wav 2>/dev/null
            oggdec -Q -o $name-oggdec.wav $name.ogg
            want=$((seconds * rate))
            check "$name: opusdec $want, ours $((seconds * 48000)) at 48 kHz, oggdec and ours $want" \
                test "$(soxi -s $name-opusdec.wav) $(soxi -s $name-opus.wav) $(soxi -s $name-oggdec.wav) $(soxi -s $name-ogg.wav)" = \
                "$want $((seconds * 48000)) $want $want"
        done
    done
done

# --- Tags and cover through every format: WAV -> Opus -> FLAC -> Vorbis -> MP3 -> WAV ---
wm -infile=a.opus -outfile=c.flac -convert_to=FLAC
wm -infile=c.flac -outfile=c.ogg -convert_to=Vorbis
wm -infile=c.ogg -outfile=c.mp3 -convert_to=MP3
wm -infile=c.mp3 -outfile=c.wav -convert_to=Wave
check "FLAC after Opus: REPLAYGAIN_TRACK_GAIN back from R128" \
    test "$(metaflac --show-tag=REPLAYGAIN_TRACK_GAIN c.flac)" = "REPLAYGAIN_TRACK_GAIN=-6.54 dB"
check "Vorbis in the chain keeps every tag (vorbiscomment)" \
    test "$(grep -cxF -f <(printf '%s\n' "${fields[@]}") <(vorbiscomment -l c.ogg))" -eq ${#fields[@]}
check "MP3 in the chain keeps the ReplayGain (ffprobe)" grep -qix 'replaygain_track_gain="-6.54 dB"' <(probe c.mp3)
listed=$(wavtool tags "Z:$stage" "Z:$work/c.wav" "Z:$work")
# The Wave encoder takes no ReplayGain (the host leaves it out for encoders that do not ask).
for tag in "${tags[@]:0:9}"; do
    check "WAV at the end of the chain: $tag" grep -qxF "$tag" <<<"$listed"
done
check "WAV at the end of the chain: the front cover, byte for byte" cmp -s cover.jpg picture1.bin

# --- Damaged and foreign input ---
size=$(stat -c %s n.ogg)
head -c $((size / 2)) n.ogg >short.ogg
head -c $(($(stat -c %s n.opus) / 2)) n.opus >short.opus
cp n.ogg crc.ogg && printf 'XX' | dd of=crc.ogg bs=1 seek=$((size / 2)) conv=notrunc status=none
cp n.opus crc.opus && printf 'XX' | dd of=crc.opus bs=1 seek=$(($(stat -c %s n.opus) / 2)) conv=notrunc status=none
cp n.opus opus.ogg
: >empty.ogg
: >empty.opus
cp n.opus wide.opus && printf '\377' | dd of=wide.opus bs=1 seek=37 conv=notrunc status=none && fix_crc wide.opus
cp n.ogg wide.ogg && printf '\377' | dd of=wide.ogg bs=1 seek=39 conv=notrunc status=none && fix_crc wide.ogg
cp n.ogg picture.ogg && vorbiscomment -q -a -t 'METADATA_BLOCK_PICTURE=AAAA!!!=' picture.ogg
for bad in short.ogg short.opus crc.ogg crc.opus opus.ogg empty.ogg empty.opus wide.opus \
    wide.ogg picture.ogg; do
    echo precious >kept.wav
    wm -infile=$bad -outfile=kept.wav -convert_to=Wave
    status=$?
    echo "     $bad: $(head -1 wm.err)"
    check "$bad fails with an error line, keeps the output and leaves no temporary file" \
        test "$status:$(grep -c 'Error: ' wm.err):$(cat kept.wav):$(find . -name "*.tmp*" | wc -l)" = "1:1:precious:0"
done

e2e_verdict Ogg
