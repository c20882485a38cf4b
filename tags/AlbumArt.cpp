#include "tags/AlbumArt.h"

#include "tags/TagText.h"

#include <array>
#include <cstdio>

namespace wm {

namespace {

constexpr std::array<StringView, 20> kPictureTypes = {u"32x32 Icon",
                                                      u"Other Icon",
                                                      u"Front Album Cover",
                                                      u"Back Album Cover",
                                                      u"Leaflet Page",
                                                      u"Media",
                                                      u"Lead Artist",
                                                      u"Artist",
                                                      u"Conductor",
                                                      u"Band",
                                                      u"Composer",
                                                      u"Writer",
                                                      u"Recording Location",
                                                      u"During Recording",
                                                      u"During Performance",
                                                      u"Video Capture",
                                                      u"A Bright Coloured Fish",
                                                      u"Illustration",
                                                      u"Artist Logo",
                                                      u"Publisher Logo"};
constexpr int kFrontCover = 3;

std::array<uint32_t, 256> MakeCrcTable() {
    std::array<uint32_t, 256> table{};
    for (uint32_t i = 0; i < 256; ++i) {
        uint32_t c = i;
        for (int k = 0; k < 8; ++k)
            c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
        table[i] = c;
    }
    return table;
}

String AsciiText(const char* text) {
    return String(text, text + std::char_traits<char>::length(text));
}

} // namespace

uint32_t Crc32(const void* data, size_t size) {
    static const std::array<uint32_t, 256> table = MakeCrcTable();
    const auto* p = static_cast<const uint8_t*>(data);
    uint32_t crc = 0xFFFFFFFFu;
    for (size_t i = 0; p && i < size; ++i)
        crc = table[(crc ^ p[i]) & 0xFF] ^ (crc >> 8);
    return ~crc;
}

bool IsAlbumArtName(StringView name) {
    return TagNameStartsWith(name, kAlbumArtPrefix);
}

String MakeAlbumArtName(int index, StringView typeName, StringView description) {
    char number[16];
    std::snprintf(number, sizeof number, "%i", index);
    String name(kAlbumArtPrefix);
    name += AsciiText(number);
    name += u'_';
    name += typeName;
    if (!description.empty()) {
        name += kAlbumArtDescriptionMark;
        name += description;
    }
    return name;
}

void ParseAlbumArtName(StringView name, String* typeName, String* description) {
    String type, desc;
    size_t underscore =
        name.size() > kAlbumArtPrefix.size() ? name.find(u'_', kAlbumArtPrefix.size()) : name.npos;
    if (underscore != StringView::npos) {
        StringView rest = name.substr(underscore + 1);
        size_t mark = rest.find(kAlbumArtDescriptionMark);
        if (mark != StringView::npos) {
            desc = String(rest.substr(mark + kAlbumArtDescriptionMark.size()));
            rest = rest.substr(0, mark);
        }
        type = String(rest);
    }
    if (typeName)
        *typeName = std::move(type);
    if (description)
        *description = std::move(desc);
}

int PictureTypeFromName(StringView typeName) {
    for (size_t i = 0; i < kPictureTypes.size(); ++i)
        if (TagNameEquals(typeName, kPictureTypes[i]))
            return static_cast<int>(i) + 1;
    return kFrontCover;
}

StringView PictureTypeName(int type) {
    if (type < 1 || type > static_cast<int>(kPictureTypes.size()))
        type = kFrontCover;
    return kPictureTypes[static_cast<size_t>(type) - 1];
}

String AlbumArtKey(const IDTagEntry& picture, StringView typeName, StringView description) {
    char sizeAndCrc[24];
    std::snprintf(sizeAndCrc, sizeof sizeAndCrc, "%08X-%08X",
                  static_cast<unsigned>(picture.Data.size()),
                  static_cast<unsigned>(Crc32(picture.Data.data(), picture.Data.size())));
    String key = AsciiText(sizeAndCrc);
    if (!typeName.empty()) {
        key += u'\t';
        key += typeName;
    }
    if (!description.empty()) {
        key += u'\t';
        key += description;
    }
    return key;
}

void CollectUniqueAlbumArt(IDTagSet& target, const IDTagSet& source, StringList& seenKeys) {
    String type, description;
    for (int index = 1;; ++index) {
        const IDTagEntry* picture = source.FindAlbumArt(index, &type, &description);
        if (!picture)
            return; // pictures numbered after a gap are not taken
        String key = AlbumArtKey(*picture, type, description);
        bool seen = false;
        for (const String& k : seenKeys)
            seen = seen || k == key;
        if (seen)
            continue;
        seenKeys.push_back(std::move(key));
        target.AddData(MakeAlbumArtName(static_cast<int>(seenKeys.size()), type, description),
                       picture->Data.data(), picture->Data.size());
    }
}

const IDTagEntry* IDTagSet::FindAlbumArt(int index, String* typeName, String* description) const {
    String prefix = MakeAlbumArtName(index, u"", u"");
    prefix.pop_back(); // "_albumart_<index>" without the "_" before the type
    for (const auto& e : entries_) {
        if (TagNameStartsWith(e->Name, prefix)) {
            ParseAlbumArtName(e->Name, typeName, description);
            return Touch(e.get());
        }
    }
    return nullptr;
}

void IDTagSet::RemoveAlbumArt(StringView typeName, StringView description) {
    IDTagSet kept;
    bool matched = false;
    String type, desc;
    for (const auto& e : entries_) {
        if (!IsAlbumArtName(e->Name))
            continue;
        ParseAlbumArtName(e->Name, &type, &desc);
        if (type == typeName || desc == description) {
            matched = true;
            continue;
        }
        kept.AddData(MakeAlbumArtName(static_cast<int>(kept.Count()) + 1, type, desc),
                     e->Data.data(), e->Data.size());
    }
    if (!matched)
        return;
    for (size_t i = entries_.size(); i-- > 0;)
        if (IsAlbumArtName(entries_[i]->Name))
            Erase(i);
    for (const auto& e : kept.entries_)
        AddCopy(*e);
}

} // namespace wm
