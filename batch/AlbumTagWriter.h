// An album's gain and peak written into one of its finished outputs, through the decoder
// plug-in that serves the output's type: the tags it reads there, the album values put in, the
// whole set written back with its tag writer ("IDTags").
#pragma once

#include "batch/AlbumGain.h"
#include "text/String.h"

namespace wm {

// Empty when the output holds the album values, else why not.
String WriteAlbumGain(const String& output, const AlbumVerdict& album, const String& programFolder);

} // namespace wm
