// ID3v2 tags as the "id3 " chunk of a wave file holds them: reading 2.2 to 2.4, writing 2.4.
#pragma once

#include "bundled/wav/WaveTags.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace wm::wav {

// The tag name of a text frame ("TIT2" -> "title"); an unmapped frame keeps its id as name.
String Id3FrameToName(std::string_view frameId);
// The text frame a tag name is written as; false when it needs a TXXX frame. A name that is
// itself a text frame id ("TMOO") maps to itself.
bool NameToId3Frame(StringView name, char (&frameId)[5]);

// Reads a whole ID3v2 tag (starting with "ID3") from a chunk body into `tags`: text frames,
// TXXX (named by their description), COMM and USLT ("comment" and "lyrics", or their
// description when it is not empty) and pictures. Several values of a frame are joined with
// CR. A frame running past the tag stops the walk, keeping what was read. Nothing is ever
// allocated beyond the bytes given.
void ReadId3Tag(const uint8_t* data, size_t size, WaveTags& tags);

// An ID3v2.4 tag with every text tag (UTF-8 frames; CR-separated values as NUL-separated
// ones) and every picture; empty when there is nothing to write. Entries that would not fit
// the format's 256 MiB limits are left out. Version 3 writes UTF-16 frames, "/"-separated
// values and the year as TYER.
Bytes BuildId3Tag(const WaveTags& tags, int version = 4);

// The MIME type of picture bytes, by their signature.
const char* PictureMimeType(const uint8_t* data, size_t size);

} // namespace wm::wav
