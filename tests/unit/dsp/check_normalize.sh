# Normalize against sox's stats and ffmpeg's ebur128 filter: sourced by dsp_check.sh.

peak_db() { sox -V1 "$1" -n stats 2>&1 | awk '/^Pk lev dB/ { print $4 }'; }
loudness() { # integrated loudness of the summary, LUFS
    ffmpeg -nostdin -hide_banner -i "$1" -af ebur128 -f null - 2>&1 |
        awk '/Integrated loudness:/ { s = 1 } s && /I:/ { print $2; exit }'
}

# Peak mode on 16-bit: a tone peaking near -12 dBFS brought to -1 dBFS (non-live: the driver
# hands the effect the raw file to rewrite).
sox -V1 -n -r 44100 -c 2 -b 16 quiet.wav synth 5 sine 440 sine 1250 gain -12
dsp quiet.wav peak.wav "Normalize=peak=-1"
check "peak=-1 runs on the raw file" "0 44100:2:s16" "$status $format"
within "peak=-1: sox stats peak, dBFS" -1.05 -0.95 "$(peak_db peak.wav)"

# Loudness mode: noise and tones in 24-bit and in float, to -23 and -16 LUFS by ffmpeg's meter.
sox -V1 -n -r 48000 -c 2 -b 24 music.wav synth 20 pinknoise synth 20 sine mix 220 gain -20 fade 0.5 20 0.5
sox -V1 music.wav -e floating-point -b 32 music_float.wav
dsp music.wav r128.wav "Normalize=lufs=-23"
within "lufs=-23 on 24 bits: ffmpeg ebur128 integrated, LUFS" -23.1 -22.9 "$(loudness r128.wav)"
dsp music_float.wav loud.wav "Normalize=lufs=-16"
within "lufs=-16 on float: ffmpeg ebur128 integrated, LUFS" -16.1 -15.9 "$(loudness loud.wav)"

# Silence has no level: it is left as it is, and that is no failure.
sox -V1 -n -r 44100 -c 1 -b 16 silence.wav trim 0 1
dsp silence.wav still.wav "Normalize=lufs=-23"
same_samples silence.wav still.wav && same=yes || same=no
check "silence stays silence" "0 yes" "$status $same"

rejects "Normalize=peak=-1 lufs=-23" DSP_PassNonLive "peak" "lufs"
rejects "Normalize=level=-1" DSP_PassNonLive "'level'" "peak, lufs and tp"
rejects "Normalize=lufs=-100" DSP_PassNonLive "'lufs'"

# The chain a user runs on a 96 kHz 24-bit file: Resample, then Normalize over the rendered
# file in its new format, then BitDepth: 44.1 kHz 16-bit at the loudness asked for.
sox -V1 music.wav -r 96000 hires.wav rate -v
dsp hires.wav chain.wav "Resample=rate=44100" "Normalize=lufs=-16" "BitDepth=bits=16"
check "Resample, Normalize, BitDepth chain" "0 44100:2:s16 882000" "$status $format $(soxi -s chain.wav)"
within "chain: ffmpeg ebur128 integrated, LUFS" -16.1 -15.9 "$(loudness chain.wav)"
