# BitDepth against sox: sourced by dsp_check.sh.

# A float tone reduced to 16 bits. Without dither: within one step of sox -D -b 16.
sox -V1 -n -r 44100 -c 2 -e floating-point -b 32 float.wav synth 10 sine 440 sine 1250 gain -6
dsp float.wav plain16.wav "BitDepth=bits=16 dither=none"
check "float to 16 bits runs" "0 44100:2:s16" "$status $format"
sox -V1 -D float.wav -b 16 ref16.wav
within "dither=none: largest difference from sox -D -b 16, steps" 0 1 "$(field "$(compare ref16.wav plain16.wav 0)" 1)"

# TPDF dither: the error against the float input has the power of rounding plus triangular
# noise of one step each way (1/12 + 1/6 = 1/4 step squared: RMS 0.5 step) and no DC offset.
# Plain rounding (RMS 0.29 step) or uniform dither (RMS 0.41) fall outside.
dsp float.wav dithered.wav "BitDepth=bits=16"
result=$(compare float.wav dithered.wav 0)
within "TPDF dither: error RMS, steps" 0.48 0.52 "$(field "$result" 4)"
within "TPDF dither: mean error, steps" -0.01 0.01 "$(field "$result" 3)"
within "TPDF dither: largest error, steps" 0 1.5 "$(field "$result" 1)"
result=$(compare float.wav plain16.wav 0)
within "no dither: error RMS, steps" 0.28 0.30 "$(field "$result" 4)"

# Widening is exact: 16 to 24 bits and 24 bits to float hold the same values as sox makes.
dsp tone16.wav wide24.wav "BitDepth=bits=24"
sox -V1 tone16.wav -b 24 ref24.wav
same_samples ref24.wav wide24.wav && same=yes || same=no
check "16 to 24 bits: sox's samples" "0 44100:2:s24 yes" "$status $format $same"
dsp wide24.wav float24.wav "BitDepth=bits=float"
sox -V1 wide24.wav -e floating-point -b 32 reffloat.wav
same_samples reffloat.wav float24.wav && same=yes || same=no
check "24 bits to float: sox's samples" "0 44100:2:f32 yes" "$status $format $same"

# An extensible 6-channel record stays extensible.
sox -V1 -n -r 96000 -c 6 -b 24 six.wav synth 1 sine 100 sine 200 sine 300 sine 400 sine 500 sine 600
dsp six.wav six16.wav :ext "BitDepth=bits=16"
check "6-channel extensible 24 to 16 bits" "0 96000:6:s16:ext" "$status $format"

rejects "BitDepth=bits=12" DSP_BeginConversion "'bits'" "16, 24, 32 or float"
rejects "BitDepth=bits=16 dither=shaped" DSP_BeginConversion "'dither'" "tpdf or none"
rejects "BitDepth=bits=16 noise=1" DSP_BeginConversion "'noise'" "bits and dither"
