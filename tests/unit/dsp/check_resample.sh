# Resample against sox's "rate -v": sourced by dsp_check.sh.

frames() { soxi -s "$1"; }

# A float tone, 44.1 to 48 kHz at the default (very high) quality: 10 s give exactly 480,000
# frames, and away from the edges (50 ms left out at each) the samples match sox's.
sox -V1 -n -r 44100 -c 2 -e floating-point -b 32 tone.wav synth 10 sine 997 sine 3001 gain -3
dsp tone.wav up.wav "Resample=rate=48000"
check "float 44.1 to 48 kHz" "0 48000:2:f32 480000" "$status $format $(frames up.wav)"
sox -V1 tone.wav ref48.wav rate -v 48000
vhq=$(field "$(compare ref48.wav up.wav 0.05)" 2)
within "float 44.1 to 48 kHz: SNR against sox rate -v, dB" 90 999 "$vhq"

# Quick quality is a different, coarser filter: the setting reaches the resampler.
dsp tone.wav quick.wav "Resample=rate=48000 quality=quick"
quick=$(field "$(compare ref48.wav quick.wav 0.05)" 2)
check "quality=quick keeps the length" 480000 "$(frames quick.wav)"
within "quality=quick: SNR against sox rate -v, dB, below very high's" 20 "$vhq" "$quick"

# 16-bit down to 22.05 kHz in odd blocks ending in an empty block (the flush comes with it), and
# a 6-channel 96 kHz 24-bit file to 44.1 kHz: exact lengths, close to sox.
dsp -block=333 -emptyend tone16.wav down.wav "Resample=rate=22050 quality=high"
check "16-bit 44.1 to 22.05 kHz, 333 ms blocks" "0 22050:2:s16 66150" "$status $format $(frames down.wav)"
sox -V1 -D tone16.wav ref22.wav rate -h 22050
within "16-bit down: SNR against sox rate -h, dB" 80 999 "$(field "$(compare ref22.wav down.wav 0.05)" 2)"
sox -V1 -n -r 96000 -c 6 -b 24 six.wav synth 1.00001 sine 100 sine 200 sine 300 sine 400 sine 500 sine 600 gain -1
dsp six.wav six44.wav :ext "Resample=rate=44100"
# 96,001 frames stand for 44,100.46 at 44.1 kHz: rounded, 44,100.
check "6-channel 96 to 44.1 kHz, extensible" "0 44100:6:s24:ext 44100" "$status $format $(frames six44.wav)"

rejects "Resample=rate=44.1k" DSP_BeginConversion "'rate'"
rejects "Resample=rate=48000 quality=best" DSP_BeginConversion "'quality'" "veryhigh"
rejects "Resample=rate=48000 speed=2" DSP_BeginConversion "'speed'" "rate and quality"
