// libFLAC's status codes said in words for the error line, with what the user can change.
#pragma once

#include "text/String.h"

#include <FLAC/stream_encoder.h>

#include <cstdint>

namespace wm::bundled {

struct FlacStreamShape {
    uint32_t channels;
    uint32_t bits;
    uint32_t rate;
};

// Why libFLAC refused to start with these settings for a stream of this shape.
String InitStatusInWords(FLAC__StreamEncoderInitStatus status, const FlacStreamShape& shape);
// What went wrong once the encoder was running.
String StateInWords(FLAC__StreamEncoderState state);

} // namespace wm::bundled
