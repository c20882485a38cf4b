#include "bundled/flac_encoder/FlacStatusText.h"

#include <string>

namespace wm::bundled {

namespace {

String Decimal(uint64_t v) {
    return Widen(std::to_string(v));
}

// The subset every player reads: the rate, the sample size or the block size is outside it.
String NotStreamableInWords(const FlacStreamShape& shape) {
    if (!FLAC__format_sample_rate_is_subset(shape.rate))
        return u"FLAC's subset, which every player reads, holds sample rates up to 655350 Hz "
               u"(above 65535 Hz only multiples of 10); the source has " +
               Decimal(shape.rate) + u" Hz: resample it first (-dspeffect1=\"Resample=rate=" +
               Decimal(shape.rate > 192000 ? 176400 : 96000) + u"\")";
    if (shape.bits > 24 || shape.bits % 4 != 0 || shape.bits < 8)
        return u"FLAC's subset, which every player reads, holds 8, 12, 16, 20 or 24 bits per "
               u"sample; the source has " +
               Decimal(shape.bits) + u": store it as -dspeffect1=\"BitDepth=bits=" +
               Decimal(shape.bits > 16 ? 24 : 16) + u"\"";
    return u"the block size makes a stream that not every player can read at " +
           Decimal(shape.rate) + u" Hz; leave -b out or choose " +
           Decimal(shape.rate <= 48000 ? 4608 : 16384) + u" or less";
}

} // namespace

String InitStatusInWords(FLAC__StreamEncoderInitStatus status, const FlacStreamShape& shape) {
    switch (status) {
    case FLAC__STREAM_ENCODER_INIT_STATUS_INVALID_NUMBER_OF_CHANNELS:
        return u"FLAC holds 1 to 8 channels; the source has " + Decimal(shape.channels) +
               u" (the Channels effect mixes them down: -dspeffect1=\"Channels=channels=2\")";
    case FLAC__STREAM_ENCODER_INIT_STATUS_INVALID_BITS_PER_SAMPLE:
        return u"FLAC holds 4 to 32 bits per sample; the source has " + Decimal(shape.bits);
    case FLAC__STREAM_ENCODER_INIT_STATUS_INVALID_SAMPLE_RATE:
        return u"FLAC holds sample rates up to 1048575 Hz; the source has " + Decimal(shape.rate) +
               u" Hz";
    case FLAC__STREAM_ENCODER_INIT_STATUS_INVALID_BLOCK_SIZE:
    case FLAC__STREAM_ENCODER_INIT_STATUS_BLOCK_SIZE_TOO_SMALL_FOR_LPC_ORDER:
        return u"the block size does not suit this compression level; choose another -b";
    case FLAC__STREAM_ENCODER_INIT_STATUS_NOT_STREAMABLE:
        return NotStreamableInWords(shape);
    case FLAC__STREAM_ENCODER_INIT_STATUS_INVALID_METADATA:
        return u"the tags or pictures do not fit in FLAC metadata";
    case FLAC__STREAM_ENCODER_INIT_STATUS_ENCODER_ERROR:
        return u"libFLAC could not start (internal error)";
    default:
        return u"libFLAC refused the settings (status " + Decimal(status) + u")";
    }
}

String StateInWords(FLAC__StreamEncoderState state) {
    switch (state) {
    case FLAC__STREAM_ENCODER_VERIFY_MISMATCH_IN_AUDIO_DATA:
        return u"verification found encoded audio that does not decode to the source";
    case FLAC__STREAM_ENCODER_VERIFY_DECODER_ERROR:
        return u"verification could not decode the encoded audio";
    case FLAC__STREAM_ENCODER_CLIENT_ERROR:
    case FLAC__STREAM_ENCODER_IO_ERROR:
        return u"writing the output file failed";
    case FLAC__STREAM_ENCODER_MEMORY_ALLOCATION_ERROR:
        return u"out of memory";
    default:
        return u"internal error (state " + Decimal(state) + u")";
    }
}

} // namespace wm::bundled
