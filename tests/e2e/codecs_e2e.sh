#!/bin/bash
# The FLAC and MP3 plug-ins checked against Debian's native tools of the same library versions:
# samples (flac -d, mpg123), stream checks (flac -t), tags and covers (metaflac, ffprobe), the
# encoded frames next to those of the native flac and lame, and damaged input.
# Usage: codecs_e2e.sh <stage dir> <wine prefix> <work dir> <wavtool.exe>
set -uo pipefail
. "$(dirname "$0")/shell_support.sh"
e2e_start "$@" sox flac metaflac lame mpg123 ffprobe ffmpeg
probe() { ffprobe -v error -show_entries format_tags -of flat=s=_ "$1" | sed 's/^format_tags_//'; }
# Size of the ID3v2 tag at the start of an MP3 (0 when there is none).
id3_size() {
    local b
    read -r -a b < <(od -An -tu1 -N10 "$1")
    [ "$(head -c 3 "$1")" = ID3 ] && echo $((10 + (b[6] << 21 | b[7] << 14 | b[8] << 7 | b[9]))) || echo 0
}
# Size and MD5 of each MPEG frame of a file, one line each.
frame_hashes() { ffmpeg -v error -i "$1" -map 0:a -c:a copy -f framemd5 - | awk -F', *' '!/^#/ {print $5 ":" $6}'; }
# Every metadata block removed but STREAMINFO: what is left is the audio, comparable by cmp.
frames_only() { cp "$1" "$2" && metaflac --remove-all --dont-use-padding "$2"; }

# A tagged 12-second source with a front cover.
sox -R -V1 -n -r 44100 -c 2 -b 16 src.wav synth 12 sine 440 pinknoise gain -4
/usr/bin/convert-im6.q16 -size 40x30 gradient:red-blue cover.jpg 2>/dev/null ||
    printf '\377\330\377\340cover-bytes\377\331' >cover.jpg
tags=('title=Tëst Title' 'artist=An Artist' 'album=The Album' 'album artist=Various'
    'track=3/12' 'disc=1/2' 'year=2024' 'genre=Jazz' 'comment=Said so')
wavtool settags "Z:$stage" "Z:$work/src.wav" "${tags[@]}" "@Front Album Cover=Z:$work/cover.jpg"

# --- FLAC encoder ---
wm -infile=src.wav -outfile=a.flac -convert_to=FLAC
check "WAV to FLAC exits 0" test $? -eq 0
check "flac -t passes" flac -s -t a.flac
flac -s -d -f -o a-native.wav a.flac
check "flac -d gives the source's samples" same_audio src.wav a-native.wav
list=$(metaflac --list a.flac)
for field in 'TITLE=Tëst Title' 'ARTIST=An Artist' 'ALBUMARTIST=Various' 'TRACKNUMBER=3' \
    'TRACKTOTAL=12' 'DISCNUMBER=1' 'DISCTOTAL=2' 'DATE=2024' 'GENRE=Jazz' 'COMMENT=Said so'; do
    check "metaflac lists $field" grep -qF "]: $field" <<<"$list"
done
check "metaflac lists a seek table with points at 0 and 10 s" \
    grep -qzP 'sample_number=0,.*\n.*sample_number=43[0-9]{4},' <<<"$list"
# The padding is what the options say, whatever room the seek table took.
while IFS='|' read -r options want; do
    # shellcheck disable=SC2086
    wm -infile=src.wav -outfile=pad.flac -convert_to=FLAC $options
    got=$(metaflac --list --block-type=PADDING pad.flac | awk '/^  length:/ {print $2}')
    check "padding with '${options:-no options}': ${want/none/no padding block}" \
        test "$(flac -s -t pad.flac && echo valid):${got:-none}" = "valid:$want"
done <<'EOF'
|8192
-no-padding|none
-padding 0|none
-padding 300|300
EOF
metaflac --export-picture-to=cover-out.jpg a.flac
check "the cover is a front cover, byte for byte" \
    test "$(grep -c 'type: 3 (Cover (front))' <<<"$list"):$(cmp -s cover.jpg cover-out.jpg && echo same)" = 1:same
check "the STREAMINFO MD5 is the audio's" \
    test "$(metaflac --show-md5sum a.flac)" = "$(raw src.wav | md5sum | cut -c1-32)"
for level in 5 8; do
    wm -infile=src.wav -outfile=l$level.flac -convert_to=FLAC -$level -V
    flac -s -f -$level -o n$level.flac src.wav
    frames_only l$level.flac l$level.frames && frames_only n$level.flac n$level.frames
    ours=$(stat -c %s l$level.frames) theirs=$(stat -c %s n$level.frames)
    # Identical where the floating-point code of both builds agrees; where the C runtime's maths
    # differs, a frame may pick other predictor coefficients: the sizes still agree within 0.1 %.
    where=$(cmp l$level.frames n$level.frames | sed -n 's/.*byte \([0-9]*\).*/first differing byte \1/p')
    echo "     level $level: $ours bytes against native $theirs${where:+, $where}"
    check "level $level: audio frames as the native flac's (within 0.1 %)" \
        test $((1000 * (ours - theirs) / theirs)) -eq 0
done
wm -infile=src.wav -outfile=b.flac -convert_to=FLAC -b 1152 -no-seektable -padding 100
check "block size, no seek table and padding options" \
    test "$(metaflac --show-min-blocksize b.flac; metaflac --list --block-type=SEEKTABLE,PADDING b.flac | tr -s ' \n' ' ')" \
    = "1152
METADATA block #3 type: 1 (PADDING) is last: true length: 100 "
wm -infile=src.wav -outfile=bad.flac -convert_to=FLAC -9
check "an unknown FLAC option fails the run" test $? -eq 1

# --- FLAC decoder ---
wm -infile=a.flac -outfile=a.wav -convert_to=Wave
check "FLAC to WAV: the source's samples" same_audio src.wav a.wav
sox -R -V1 -n -r 96000 -c 6 -b 24 n24.wav synth 3 sine 100 sine 200 sine 300 sine 400 sine 500 noise gain -6
flac -s -f -o n24.flac -T 'TITLE=Six' -T 'ARTIST=Native' --picture="3||front|40x30x24|cover.jpg" n24.wav
wm -infile=n24.flac -outfile=n24-out.wav -convert_to=Wave
check "native 24-bit 6-channel 96 kHz FLAC: exact samples and format" \
    test "$(format_of n24-out.wav):$(same_audio n24.wav n24-out.wav && echo same)" = "$(format_of n24.wav):same"
listed=$(wavtool tags "Z:$stage" "Z:$work/n24-out.wav" "Z:$work")
check "native FLAC tags arrive" grep -qzP 'title=Six\nartist=Native' <<<"$listed"
check "native FLAC picture arrives with type and description" \
    test "$(grep -c '^picture 1 _albumart_1_Front Album Cover<subdesc>front ' <<<"$listed"):$(cmp -s cover.jpg picture1.bin && echo same)" = 1:same
sox -V1 -n -r 8000 -c 1 -b 8 n8.wav synth 1 sine 300
flac -s -f -o n8.flac n8.wav
wm -infile=n8.flac -outfile=n8-out.wav -convert_to=Wave
check "native 8-bit mono FLAC: exact samples" same_audio n8.wav n8-out.wav

# Bad input: status 1, an error line, an existing output left alone.
size=$(stat -c %s a.flac)
cp a.flac crc.flac && printf '\125\125\125\125' | dd of=crc.flac bs=1 seek=$((size / 2)) conv=notrunc status=none
head -c $((size / 2)) a.flac >short.flac
cp a.flac md5.flac && printf '\000\021' | dd of=md5.flac bs=1 seek=30 conv=notrunc status=none
lame --silent -b 128 src.wav mp3data.flac
for bad in crc short md5; do
    echo precious >kept.wav
    wm -infile=$bad.flac -outfile=kept.wav -convert_to=Wave
    check "$bad.flac fails with an error line and keeps the output" \
        test "$?:$(grep -c 'Error: ' wm.err):$(cat kept.wav)" = "1:1:precious"
done
# An MP3 named .flac is read by the decoder its content needs.
check "mp3data.flac is read as the MP3 it is" wm -infile=mp3data.flac -outfile=mp3data.wav -convert_to=Wave
mpg123 -q -w mp3data.native.wav mp3data.flac
check "mp3data.flac: as long as the native mpg123's decode" \
    [ "$(soxi -s mp3data.wav)" = "$(soxi -s mp3data.native.wav)" ]

# --- MP3 encoder ---
# Same settings, same library: on a tone nearly every MPEG frame is the native lame's, byte for
# byte. On noise the C runtime's maths (not glibc's) tips some frame's choice sooner or later and
# the encoder's state carries the difference on: there the stream sizes agree within 0.1 %.
sox -R -V1 -n -r 44100 -c 2 -b 16 tone.wav synth 12 sine 440 sine 660 gain -6
for setting in "-b 320" "-V 2"; do
    for source in tone src; do
        name=$source$(tr -d ' -' <<<"$setting")
        # shellcheck disable=SC2086
        wm -infile=$source.wav -outfile=$name.mp3 -convert_to=MP3 $setting
        # shellcheck disable=SC2086
        lame --silent $setting $source.wav n$name.mp3
        total=$(frame_hashes n$name.mp3 | wc -l)
        same=$(paste -d' ' <(frame_hashes $name.mp3) <(frame_hashes n$name.mp3) | awk '$1 == $2' | wc -l)
        ours=$(($(stat -c %s $name.mp3) - $(id3_size $name.mp3))) theirs=$(stat -c %s n$name.mp3)
        echo "     $setting $source: $same of $total frames identical, $ours bytes against $theirs"
        [ $source = tone ] && tone_same=$same tone_total=$total
    done
    check "MP3 $setting on a tone: 95 % of the frames identical to the native lame's" \
        test $((100 * tone_same / tone_total)) -ge 95
    check "MP3 $setting on noise: size within 0.1 % of the native lame's" \
        test $((1000 * (ours - theirs) / theirs)) -eq 0
done
wm -infile=src.wav -outfile=V2.mp3 -convert_to=MP3 -V 2
tags_mp3=$(probe V2.mp3)
for field in 'title="Tëst Title"' 'artist="An Artist"' 'album="The Album"' 'album_artist="Various"' \
    'track="3/12"' 'disc="1/2"' 'date="2024"' 'genre="Jazz"' 'comment="Said so"'; do
    check "ffprobe reads $field" grep -qxF "$field" <<<"$tags_mp3"
done
check "the tag is ID3v2.3" test "$(od -An -tu1 -j3 -N1 V2.mp3 | tr -d ' ')" = 3
ffmpeg -v error -y -i V2.mp3 -an -c:v copy -f image2 cover-mp3.jpg
check "ffprobe finds the front cover, byte for byte" cmp -s cover.jpg cover-mp3.jpg
wm -infile=src.wav -outfile=bad.mp3 -convert_to=MP3 -b 999
check "a bit rate out of range fails the run" test $? -eq 1
# What LAME changes is said: the rate above 48 kHz, and an info frame too big for 32 kbps frames.
sox -V1 -n -r 96000 -c 2 -b 16 hi.wav synth 1 sine 440
told() { # told <line pattern> <options...>: how many information lines match
    local pattern=$1
    shift
    wine "$stage/Wavemill.exe" "$@" </dev/null 2>/dev/null | iconv -f UTF-16LE -t UTF-8 | grep -c "$pattern"
}
check "96 kHz into MP3: the information line says 48 kHz" test "$(told \
    "Information: Encoder 'MP3': the source's 96000 Hz became 48000 Hz" -infile=hi.wav -outfile=hi.mp3 -convert_to=MP3)" = 1
check "32 kbps MP3: the information line says there is no info frame" test "$(told \
    "Information: Encoder 'MP3': no info frame: at 32 kbps" -infile=src.wav -outfile=b32.mp3 -convert_to=MP3 -b 32)" = 1

# --- MP3 decoder ---
wm -infile=V2.mp3 -outfile=V2.wav -convert_to=Wave
check "MP3 to WAV exits 0" test $? -eq 0
check "gapless: exactly the source's sample count" test "$(soxi -s V2.wav)" = "$(soxi -s src.wav)"
mpg123 -q -w V2-native.wav V2.mp3
check "samples within 2 LSB of the native mpg123's" test "$(max_diff V2.wav V2-native.wav)" -le 2
sox -V1 -n -r 22050 -c 1 -b 16 mono.wav synth 2 sine 500
lame --silent -b 64 --tt 'Old Title' --ta 'Old Artist' --id3v1-only mono.wav v1.mp3
wm -infile=v1.mp3 -outfile=v1.wav -convert_to=Wave
check "ID3v1 tags arrive" grep -qzP 'title=Old Title\nartist=Old Artist' <<<"$(wavtool tags "Z:$stage" "Z:$work/v1.wav" "Z:$work")"
check "mono 22 kHz MP3 decodes gapless" test "$(format_of v1.wav)" = "22050 1 16 44100 "
head -c 150000 /dev/urandom >junk.mp3
printf 'ID3\003\000\000\177\177\177\177' | cat - mono.wav >runaway.mp3
cp V2.mp3 holed.mp3 && dd if=/dev/zero of=holed.mp3 bs=1 seek=100000 count=600 conv=notrunc status=none
head -c 150000 V2.mp3 >short.mp3
# Damage is named with where it lies; a file that simply stops is told apart from it.
while IFS='|' read -r bad words; do
    echo precious >kept.wav
    wm -infile=$bad.mp3 -outfile=kept.wav -convert_to=Wave
    check "$bad.mp3 fails with an error line${words:+ saying '$words'} and keeps the output" \
        test "$?:$(grep -c "Error: .*$words" wm.err):$(cat kept.wav)" = "1:1:precious"
done <<'EOF'
junk|
runaway|
holed|damaged data after sample [0-9]* (near byte [0-9]* of the file)
short|the file ends early: [0-9]* of 529200 samples decoded
EOF

# Without LAME's info frame the length is unknown: damage is skipped as mpg123 skips it, and
# where it lay is said in an information line.
lame --silent -t -b 128 src.wav untagged.mp3
read -r at next < <(ffprobe -v error -select_streams a -show_entries packet=pos -of csv=p=0 untagged.mp3 |
    sed -n '100p;101p' | tr '\n' ' ')
cp untagged.mp3 skipped.mp3 # the 100th frame zeroed
head -c $((next - at)) /dev/zero | dd of=skipped.mp3 bs=1 seek="$at" conv=notrunc status=none
note=$(wine "$stage/Wavemill.exe" -infile=skipped.mp3 -outfile=skipped.wav -convert_to=Wave </dev/null 2>/dev/null |
    iconv -f UTF-16LE -t UTF-8)
mpg123 -q -w skipped-native.wav skipped.mp3
check "damage without an info frame: mpg123's length, and an information line with its place" \
    test "$(soxi -s skipped.wav):$(grep -c "Information: Decoder: damaged data after sample [0-9]* (near byte [0-9]* of the file) was skipped" <<<"$note")" = "$(soxi -s skipped-native.wav):1"

# --- Tags and cover through every pair: WAV -> FLAC -> MP3 -> FLAC -> WAV ---
wm -infile=a.flac -outfile=c.mp3 -convert_to=MP3 -V 4
wm -infile=c.mp3 -outfile=c.flac -convert_to=FLAC
wm -infile=c.flac -outfile=c.wav -convert_to=Wave
flac -s -f -o rg.flac -T 'TITLE=Gain' -T 'REPLAYGAIN_TRACK_GAIN=-3.20 dB' src.wav
wm -infile=rg.flac -outfile=rg.mp3 -convert_to=MP3 -b 128
wm -infile=rg.mp3 -outfile=rg2.flac -convert_to=FLAC
check "ReplayGain reaches the MP3 (TXXX) and the FLAC after it" test "$(probe rg.mp3 | grep -ci '^replaygain_track_gain="-3.20 dB"$'):$(metaflac --show-tag=REPLAYGAIN_TRACK_GAIN rg2.flac)" = "1:REPLAYGAIN_TRACK_GAIN=-3.20 dB"
# An effect that changes the level leaves no stale values behind; one that does not keeps them.
wm -infile=rg.flac -outfile=rg-vol.mp3 -convert_to=MP3 -b 128 -dspeffect1="Volume=gain=-10"
wm -infile=rg.flac -outfile=rg-norm.flac -convert_to=FLAC -dspeffect1="Normalize=lufs=-23"
wm -infile=rg.flac -outfile=rg-bits.flac -convert_to=FLAC -dspeffect1="BitDepth=bits=24"
check "Volume and Normalize drop the old ReplayGain, BitDepth keeps it, the title stays" test \
    "$(probe rg-vol.mp3 | grep -ci '^replaygain'):$(metaflac --show-tag=REPLAYGAIN_TRACK_GAIN rg-norm.flac):$(metaflac --show-tag=REPLAYGAIN_TRACK_GAIN rg-bits.flac):$(metaflac --show-tag=TITLE rg-norm.flac)" \
    = "0::REPLAYGAIN_TRACK_GAIN=-3.20 dB:TITLE=Gain"
check "the chain ends with the source's length" test "$(soxi -s c.wav)" = "$(soxi -s src.wav)"
check "MP3 in the chain keeps every tag (ffprobe)" test "$(probe c.mp3 | grep -cxF -f <(printf '%s\n' 'title="Tëst Title"' 'album_artist="Various"' 'track="3/12"' 'disc="1/2"' 'date="2024"' 'comment="Said so"'))" -eq 6
clist=$(metaflac --list c.flac)
check "FLAC in the chain keeps every tag (metaflac)" test "$(grep -cF -e ']: TITLE=Tëst Title' -e ']: ALBUMARTIST=Various' -e ']: TRACKNUMBER=3' -e ']: TRACKTOTAL=12' -e ']: DISCTOTAL=2' -e ']: GENRE=Jazz' -e ']: COMMENT=Said so' <<<"$clist")" -eq 7
metaflac --export-picture-to=cover-chain.jpg c.flac
check "FLAC in the chain keeps the cover byte for byte" cmp -s cover.jpg cover-chain.jpg
listed=$(wavtool tags "Z:$stage" "Z:$work/c.wav" "Z:$work")
for tag in 'title=Tëst Title' 'artist=An Artist' 'album=The Album' 'album artist=Various' \
    'track=3/12' 'disc=1/2' 'year=2024' 'genre=Jazz' 'comment=Said so'; do
    check "WAV at the end of the chain: $tag" grep -qxF "$tag" <<<"$listed"
done
check "WAV at the end of the chain: the front cover" cmp -s cover.jpg picture1.bin

e2e_verdict codec
