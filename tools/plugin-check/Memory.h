// What a plug-in does to the process's memory: heap damage after a call, growth with the audio.
#pragma once

#include <cstdint>
#include <functional>

namespace wm::check {

// True when every heap of the process passes its own consistency check: a write past the end
// of a heap block that did not crash at once is caught after the call that made it.
bool HeapsAreSound();

// Runs `cycle` (which returns the bytes the plug-in handed back) until enough audio has gone
// through to see a leak of those buffers; true when memory grew with the audio.
bool GrowsWithAudio(const std::function<uint64_t()>& cycle, uint64_t* grownBytes);

} // namespace wm::check
