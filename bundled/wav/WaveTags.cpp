#include "bundled/wav/WaveTags.h"

#include "tags/TagText.h"

namespace wm::wav {

TextTag* WaveTags::Find(StringView name) {
    for (TextTag& t : text)
        if (EqualsNoCase(t.name, name))
            return &t;
    return nullptr;
}

const TextTag* WaveTags::Find(StringView name) const {
    return const_cast<WaveTags*>(this)->Find(name);
}

void WaveTags::Put(StringView name, StringView value) {
    if (TextTag* t = Find(name))
        t->value = value;
    else
        text.push_back({String(name), String(value)});
}

void WaveTags::AddValue(StringView name, StringView value) {
    TextTag* t = Find(name);
    if (!t) {
        text.push_back({String(name), String(value)});
        return;
    }
    // A CR in free text would read as a line break: there the first value stays.
    if (IsFreeTextTag(name))
        return;
    // Compare whole CR-separated values only.
    StringView existing = t->value;
    for (size_t start = 0; start <= existing.size();) {
        size_t end = existing.find(u'\r', start);
        if (end == StringView::npos)
            end = existing.size();
        if (existing.substr(start, end - start) == value)
            return;
        start = end + 1;
    }
    t->value += u'\r';
    t->value += value;
}

void WaveTags::AdoptPictures(std::vector<Picture> found) {
    constexpr uint8_t kFrontCover = 3, kIllustration = 18, kLastType = 20;
    bool haveFront = false;
    for (const Picture& pic : found)
        haveFront = haveFront || pic.type == kFrontCover;
    for (Picture& pic : found) {
        if (pic.type == 0 || pic.type > kLastType)
            pic.type = haveFront ? kIllustration : kFrontCover;
        pictures.push_back(std::move(pic));
    }
}

} // namespace wm::wav
