// The tag list that crosses every plug-in boundary: ordered name/value/data entries and
// their serialised block forms (UTF-16 and UTF-8).
#pragma once

#include "text/String.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace wm {

struct IDTagEntry {
    String Name;
    String Value;
    std::vector<uint8_t> Data; // picture bytes of album art; empty for text tags
};

// Keep flags of IDTagSet::RemoveInternalTags.
enum : unsigned {
    kKeepRiffTags = 2,     // "_riff_..."
    kKeepCdTocTags = 4,    // "_cdtoc..."
    kKeepAlbumArtTags = 8, // "_albumart_..."
    kKeepCrcTags = 16,     // "_crc..."
};

// Entries keep their insertion order; duplicate names are allowed. Names compare case-blind
// over ASCII letters only. Every operation that touches an entry makes it the current entry.
class IDTagSet {
  public:
    IDTagSet() = default;
    IDTagSet(const IDTagSet& other) { CopyFrom(other); }
    IDTagSet& operator=(const IDTagSet& other);
    IDTagSet(IDTagSet&& other) noexcept { *this = std::move(other); }
    IDTagSet& operator=(IDTagSet&& other) noexcept;

    IDTagEntry& Add(StringView name, StringView value);
    IDTagEntry& AddData(StringView name, const void* data, size_t size);
    IDTagEntry& AddCopy(const IDTagEntry& e);
    void Clear();
    void CopyFrom(const IDTagSet& other);

    IDTagEntry* Find(StringView name);
    const IDTagEntry* Find(StringView name) const;
    String GetValue(StringView name) const;
    // The value up to its first CR (several values of one name are CR-separated).
    String GetFirstValue(StringView name) const;

    // Removes every entry of that name; true if any was removed.
    bool Remove(StringView name);
    // A position past the end does nothing.
    void RemoveAt(size_t position);
    // The first entry's value; removes all entries of that name. For an album art name it
    // removes the one picture of that index and returns an empty value.
    String Take(StringView name);
    // Removes entries whose name and value (2 bytes a character) and data exceed the limit.
    void RemoveLarger(size_t byteLimit);
    // Removes the internal ("_...") tags except those the kKeep... flags keep.
    void RemoveInternalTags(unsigned keepFlags);
    // Takes over the other set's tags (replacing equal names only when overwrite is set),
    // then merges both sets' album art without duplicates, renumbered at the end of the set.
    void Merge(const IDTagSet& other, bool overwrite);

    std::vector<uint8_t> Serialize() const;
    void Deserialize(const void* data, size_t size);
    std::vector<uint8_t> SerializeNarrow() const;
    void DeserializeNarrow(const void* data, size_t size);

    size_t Count() const { return entries_.size(); }
    IDTagEntry& At(size_t i);
    const IDTagEntry& At(size_t i) const;
    // The entry most recently added or touched; none after it was removed.
    IDTagEntry* Current() { return current_; }
    // The per-entry byte kept beside the entries; 0 on insertion, free for the caller's use.
    uint8_t& Mark(size_t i) { return marks_.at(i); }

    // The first picture whose name begins with "_albumart_" + index, with its parsed name.
    const IDTagEntry* FindAlbumArt(int index, String* typeName = nullptr,
                                   String* description = nullptr) const;
    // Removes the pictures of that type name or description and renumbers the rest.
    void RemoveAlbumArt(StringView typeName, StringView description);

    // "  " + label, then " " and two hex digits per byte.
    static String DumpData(StringView label, const void* bytes, size_t count);

  private:
    IDTagEntry& Append(std::unique_ptr<IDTagEntry> entry);
    void Erase(size_t position);
    const IDTagEntry* Touch(const IDTagEntry* entry) const;
    template <bool kNarrow> std::vector<uint8_t> SerializeAs() const;
    template <bool kNarrow> void DeserializeAs(const void* data, size_t size);

    std::vector<std::unique_ptr<IDTagEntry>> entries_;
    std::vector<uint8_t> marks_;
    // Lookups move the cursor too, including const ones.
    mutable IDTagEntry* current_ = nullptr;
};

} // namespace wm
