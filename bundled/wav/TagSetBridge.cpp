#include "bundled/wav/TagSetBridge.h"

#include "tags/AlbumArt.h"
#include "tags/TagText.h"

namespace wm::wav {

void ToTagSet(const WaveTags& tags, IDTagSet& set) {
    for (const TextTag& t : tags.text) {
        String value = t.value;
        CleanTagValue(t.name, value);
        if (!value.empty())
            set.Add(t.name, value);
    }
    int index = 0;
    for (const Picture& p : tags.pictures)
        set.AddData(MakeAlbumArtName(++index, PictureTypeName(p.type), p.description),
                    p.data.data(), p.data.size());
}

WaveTags FromTagSet(const IDTagSet& set) {
    WaveTags tags;
    for (size_t i = 0; i < set.Count(); ++i) {
        const IDTagEntry& e = set.At(i);
        if (IsAlbumArtName(e.Name)) {
            Picture p;
            String typeName;
            ParseAlbumArtName(e.Name, &typeName, &p.description);
            p.type = static_cast<uint8_t>(PictureTypeFromName(typeName));
            p.data = e.Data;
            tags.pictures.push_back(std::move(p));
        } else if (!e.Name.empty() && e.Name[0] != u'_') {
            String value = e.Value;
            CleanTagValue(e.Name, value);
            tags.text.push_back({e.Name, value});
        }
    }
    return tags;
}

} // namespace wm::wav
