// The serialised tag block: a 32-bit entry count, then per entry a 32-bit record length
// (counting itself), the name and the value each with a terminator, and the raw data.
// The wide form stores UTF-16LE text, the narrow form UTF-8. All numbers are little-endian.
#include "endian/LittleEndian.h"
#include "tags/IDTagSet.h"

#include <cstring>
#include <string_view>

namespace wm {

namespace {

void PutU32(uint8_t*& out, uint32_t v) {
    PutLe32(out, v);
    out += 4;
}

// Text of one record in its stored encoding; wide text is kept as UTF-16 code units.
template <bool kNarrow> struct Encoding;

template <> struct Encoding<false> {
    static String Encode(const String& s) { return s; }
    static size_t Bytes(const String& s) { return 2 * (s.size() + 1); }
    static void Put(uint8_t*& out, const String& s) {
        for (char16_t c : s) {
            PutLe16(out, c);
            out += 2;
        }
        *out++ = 0;
        *out++ = 0;
    }
    // Reads 2-byte characters up to and including the terminator, within [p, end);
    // a lone byte at the end is left unread.
    static String Get(const uint8_t*& p, const uint8_t* end) {
        String s;
        while (end - p >= 2) {
            char16_t c = Le16(p);
            p += 2;
            if (c == 0)
                break;
            s.push_back(c);
        }
        return s;
    }
};

template <> struct Encoding<true> {
    static std::string Encode(const String& s) { return wm::Narrow(s); }
    static size_t Bytes(const std::string& s) { return s.size() + 1; }
    static void Put(uint8_t*& out, const std::string& s) {
        std::memcpy(out, s.data(), s.size());
        out += s.size();
        *out++ = 0;
    }
    static String Get(const uint8_t*& p, const uint8_t* end) {
        const uint8_t* start = p;
        while (p < end && *p != 0)
            ++p;
        String s = Widen(
            std::string_view(reinterpret_cast<const char*>(start), static_cast<size_t>(p - start)));
        if (p < end)
            ++p; // the terminator
        return s;
    }
};

} // namespace

template <bool kNarrow> std::vector<uint8_t> IDTagSet::SerializeAs() const {
    using Enc = Encoding<kNarrow>;
    struct Texts {
        decltype(Enc::Encode(String())) name, value;
    };
    std::vector<Texts> texts;
    texts.reserve(entries_.size());
    size_t total = 4;
    for (const auto& e : entries_) {
        texts.push_back({Enc::Encode(e->Name), Enc::Encode(e->Value)});
        total +=
            4 + Enc::Bytes(texts.back().name) + Enc::Bytes(texts.back().value) + e->Data.size();
    }

    std::vector<uint8_t> block(total);
    uint8_t* out = block.data();
    PutU32(out, static_cast<uint32_t>(entries_.size()));
    for (size_t i = 0; i < entries_.size(); ++i) {
        const IDTagEntry& e = *entries_[i];
        size_t length = 4 + Enc::Bytes(texts[i].name) + Enc::Bytes(texts[i].value) + e.Data.size();
        PutU32(out, static_cast<uint32_t>(length));
        Enc::Put(out, texts[i].name);
        Enc::Put(out, texts[i].value);
        if (!e.Data.empty()) {
            std::memcpy(out, e.Data.data(), e.Data.size());
            out += e.Data.size();
        }
    }
    return block;
}

// Reads records until the count is reached, the block ends or a record is malformed; the
// entries read before a fault stay. Every read stays inside the current record, and a
// record's data is never larger than the record, so a lying length cannot cause a huge
// allocation.
template <bool kNarrow> void IDTagSet::DeserializeAs(const void* data, size_t size) {
    using Enc = Encoding<kNarrow>;
    Clear();
    if (!data || size < 5)
        return;
    const auto* block = static_cast<const uint8_t*>(data);
    const uint8_t* blockEnd = block + size;
    uint32_t count = Le32(block);
    const uint8_t* pos = block + 4;
    for (uint32_t k = 0; k < count; ++k) {
        if (blockEnd - pos < 4)
            return;
        uint32_t length = Le32(pos);
        if (static_cast<int32_t>(length) < 0 || length > static_cast<size_t>(blockEnd - pos))
            return;
        const uint8_t* recordEnd = pos + length;
        const uint8_t* p = pos + 4 <= recordEnd ? pos + 4 : recordEnd;

        IDTagEntry& entry = Append(std::make_unique<IDTagEntry>());
        entry.Name = Enc::Get(p, recordEnd);
        if (p >= recordEnd)
            return;
        entry.Value = Enc::Get(p, recordEnd);
        entry.Data.assign(p, recordEnd);

        pos = recordEnd;
        if (pos >= blockEnd)
            return;
    }
}

std::vector<uint8_t> IDTagSet::Serialize() const {
    return SerializeAs<false>();
}

void IDTagSet::Deserialize(const void* data, size_t size) {
    DeserializeAs<false>(data, size);
}

std::vector<uint8_t> IDTagSet::SerializeNarrow() const {
    return SerializeAs<true>();
}

void IDTagSet::DeserializeNarrow(const void* data, size_t size) {
    DeserializeAs<true>(data, size);
}

} // namespace wm
