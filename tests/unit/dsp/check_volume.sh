# Volume against sox: sourced by dsp_check.sh.

# Doubling (exactly 20*log10(2) dB) needs no rounding: sox's "vol 2" gives the same samples,
# and both saturate the peaks of a -2 dBFS tone. 16 and 24 bits.
sox -V1 tone16.wav -b 24 tone24.wav
for bits in 16 24; do
    dsp tone$bits.wav double$bits.wav "Volume=gain=6.020599913279624"
    check "doubling $bits-bit runs" "0 44100:2:s$bits" "$status $format"
    sox -V1 -D tone$bits.wav ref$bits.wav vol 2 2>/dev/null
    same_samples ref$bits.wav double$bits.wav && same=yes || same=no
    check "doubling $bits-bit: the samples of sox vol 2, saturated" yes "$same"
done

# A gain that must round: within one step of sox, whatever the block length.
sox -V1 -D tone16.wav ref.wav gain -3.5
dsp tone16.wav cut.wav "Volume=gain=-3.5"
within "gain -3.5: largest difference from sox gain -3.5, steps" 0 1 "$(field "$(compare ref.wav cut.wav 0)" 1)"
dsp -block=37 -emptyend tone16.wav cut_small.wav "Volume=gain=-3.5"
same_samples cut.wav cut_small.wav && same=yes || same=no
check "gain -3.5 in 37 ms blocks ending in an empty block: the same samples" yes "$same"

# Float is not clipped: +12 dB then -12 dB gives the input back.
sox -V1 -n -r 48000 -c 1 -e floating-point -b 32 float.wav synth 1 sine 300 gain -1
dsp float.wav float_back.wav "Volume=gain=12" "Volume=gain=-12"
within "float +12 dB then -12 dB: SNR against the input, dB" 130 999 "$(field "$(compare float.wav float_back.wav 0)" 2)"

rejects "Volume=gain=3 level=2" DSP_BeginConversion "'level'" "valid settings: gain"
rejects "Volume=gain=loud" DSP_BeginConversion "'gain'" "'loud'"
rejects "Volume" DSP_BeginConversion "'gain'"
