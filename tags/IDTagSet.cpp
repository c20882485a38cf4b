#include "tags/IDTagSet.h"

#include "tags/AlbumArt.h"
#include "tags/TagText.h"

namespace wm {

IDTagSet& IDTagSet::operator=(const IDTagSet& other) {
    if (this != &other)
        CopyFrom(other);
    return *this;
}

IDTagSet& IDTagSet::operator=(IDTagSet&& other) noexcept {
    if (this != &other) {
        entries_ = std::move(other.entries_);
        marks_ = std::move(other.marks_);
        current_ = other.current_;
        other.entries_.clear();
        other.marks_.clear();
        other.current_ = nullptr;
    }
    return *this;
}

IDTagEntry& IDTagSet::Append(std::unique_ptr<IDTagEntry> entry) {
    entries_.push_back(std::move(entry));
    marks_.push_back(0);
    current_ = entries_.back().get();
    return *current_;
}

void IDTagSet::Erase(size_t position) {
    if (entries_[position].get() == current_)
        current_ = nullptr;
    entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(position));
    marks_.erase(marks_.begin() + static_cast<std::ptrdiff_t>(position));
}

const IDTagEntry* IDTagSet::Touch(const IDTagEntry* entry) const {
    if (entry)
        current_ = const_cast<IDTagEntry*>(entry);
    return entry;
}

IDTagEntry& IDTagSet::Add(StringView name, StringView value) {
    auto entry = std::make_unique<IDTagEntry>();
    entry->Name = String(name);
    entry->Value = String(value);
    return Append(std::move(entry));
}

IDTagEntry& IDTagSet::AddData(StringView name, const void* data, size_t size) {
    auto entry = std::make_unique<IDTagEntry>();
    entry->Name = String(name);
    if (data && size) {
        const auto* bytes = static_cast<const uint8_t*>(data);
        entry->Data.assign(bytes, bytes + size);
    }
    return Append(std::move(entry));
}

IDTagEntry& IDTagSet::AddCopy(const IDTagEntry& e) {
    return Append(std::make_unique<IDTagEntry>(e));
}

void IDTagSet::Clear() {
    entries_.clear();
    marks_.clear();
    current_ = nullptr;
}

void IDTagSet::CopyFrom(const IDTagSet& other) {
    if (this == &other)
        return;
    Clear();
    for (const auto& e : other.entries_)
        AddCopy(*e);
}

const IDTagEntry* IDTagSet::Find(StringView name) const {
    for (const auto& e : entries_)
        if (TagNameEquals(e->Name, name))
            return Touch(e.get());
    return nullptr;
}

IDTagEntry* IDTagSet::Find(StringView name) {
    return const_cast<IDTagEntry*>(static_cast<const IDTagSet*>(this)->Find(name));
}

String IDTagSet::GetValue(StringView name) const {
    const IDTagEntry* e = Find(name);
    return e ? e->Value : String();
}

String IDTagSet::GetFirstValue(StringView name) const {
    String value = GetValue(name);
    size_t cr = value.find(u'\r');
    if (cr != String::npos)
        value.erase(cr);
    return value;
}

bool IDTagSet::Remove(StringView name) {
    bool removed = false;
    for (size_t i = entries_.size(); i-- > 0;) {
        if (TagNameEquals(entries_[i]->Name, name)) {
            Erase(i);
            removed = true;
        }
    }
    return removed;
}

void IDTagSet::RemoveAt(size_t position) {
    if (position < entries_.size())
        Erase(position);
}

String IDTagSet::Take(StringView name) {
    if (IsAlbumArtName(name)) {
        // "_albumart_<index>_<type>..." -> "_albumart_<index>": other pictures keep their numbers.
        StringView prefix = name;
        size_t underscore = name.find(u'_', kAlbumArtPrefix.size());
        if (underscore != StringView::npos)
            prefix = name.substr(0, underscore);
        for (size_t i = 0; i < entries_.size(); ++i) {
            if (TagNameStartsWith(entries_[i]->Name, prefix)) {
                Erase(i);
                break;
            }
        }
        return String();
    }
    String value = GetValue(name);
    Remove(name);
    return value;
}

void IDTagSet::RemoveLarger(size_t byteLimit) {
    for (size_t i = entries_.size(); i-- > 0;) {
        const IDTagEntry& e = *entries_[i];
        size_t bytes = e.Name.size() * 2 + e.Value.size() * 2 + e.Data.size();
        if (bytes > byteLimit)
            Erase(i);
    }
}

void IDTagSet::RemoveInternalTags(unsigned keepFlags) {
    for (size_t i = entries_.size(); i-- > 0;) {
        StringView name = entries_[i]->Name;
        if (name.empty() || name[0] != u'_')
            continue;
        bool keep = ((keepFlags & kKeepRiffTags) && TagNameStartsWith(name, u"_riff_")) ||
                    ((keepFlags & kKeepCdTocTags) && TagNameStartsWith(name, u"_cdtoc")) ||
                    ((keepFlags & kKeepAlbumArtTags) && IsAlbumArtName(name)) ||
                    ((keepFlags & kKeepCrcTags) && TagNameStartsWith(name, u"_crc"));
        if (!keep)
            Erase(i);
    }
}

void IDTagSet::Merge(const IDTagSet& other, bool overwrite) {
    if (this == &other) {
        IDTagSet copy(other);
        Merge(copy, overwrite);
        return;
    }
    for (const auto& theirs : other.entries_) {
        if (IsAlbumArtName(theirs->Name))
            continue;
        IDTagEntry* mine = Find(theirs->Name);
        if (!mine)
            AddCopy(*theirs);
        else if (overwrite)
            *mine = *theirs;
    }

    // Pictures of both sets, ours first, each once; they end up last, numbered 1..n.
    IDTagSet pictures;
    StringList seen;
    CollectUniqueAlbumArt(pictures, *this, seen);
    CollectUniqueAlbumArt(pictures, other, seen);
    RemoveInternalTags(~static_cast<unsigned>(kKeepAlbumArtTags));
    for (const auto& picture : pictures.entries_)
        AddCopy(*picture);
}

IDTagEntry& IDTagSet::At(size_t i) {
    current_ = entries_.at(i).get();
    return *current_;
}

const IDTagEntry& IDTagSet::At(size_t i) const {
    return *Touch(entries_.at(i).get());
}

String IDTagSet::DumpData(StringView label, const void* bytes, size_t count) {
    static const char16_t kHex[] = u"0123456789ABCDEF";
    String text = u"  ";
    text += label;
    text.reserve(text.size() + count * 3);
    const auto* p = static_cast<const uint8_t*>(bytes);
    for (size_t i = 0; p && i < count; ++i) {
        text += u' ';
        text += kHex[p[i] >> 4];
        text += kHex[p[i] & 15];
    }
    return text;
}

} // namespace wm
