// Album art travels in the tag set as entries named
// "_albumart_<index>_<picture type name>[<subdesc><description>]" with the picture bytes as data.
#pragma once

#include "tags/IDTagSet.h"

namespace wm {

inline constexpr StringView kAlbumArtPrefix = u"_albumart_";
inline constexpr StringView kAlbumArtDescriptionMark = u"<subdesc>";

String MakeAlbumArtName(int index, StringView typeName, StringView description);
// Both parts are empty when the name has no "_" after the index.
void ParseAlbumArtName(StringView name, String* typeName, String* description);
// The attached-picture type (1..20) of a table name, any case; every other name is 3.
int PictureTypeFromName(StringView typeName);
// 1..20 -> the table name; anything else -> "Front Album Cover".
StringView PictureTypeName(int type);
bool IsAlbumArtName(StringView name);

// Appends source pictures 1, 2, ... (up to the first gap) whose key (size, CRC-32, type name,
// description) is not in seenKeys yet, numbered by the count of keys seen.
void CollectUniqueAlbumArt(IDTagSet& target, const IDTagSet& source, StringList& seenKeys);
String AlbumArtKey(const IDTagEntry& picture, StringView typeName, StringView description);

// CRC-32 of IEEE 802.3 (reflected, initial value all ones, final complement).
uint32_t Crc32(const void* data, size_t size);

} // namespace wm
