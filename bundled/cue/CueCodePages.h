// The legacy code pages of cue sheets decoded by the platform: MultiByteToWideChar on Windows,
// iconv elsewhere (the host tests and fuzzers).
#pragma once

#include "bundled/cue/CueText.h"

namespace wm::cue {

bool DecodeCodePage(uint32_t codePage, std::string_view bytes, String& text);

} // namespace wm::cue
