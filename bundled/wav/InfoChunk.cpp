#include "bundled/wav/InfoChunk.h"

#include "bundled/wav/TagIdNames.h"
#include "bundled/wav/TextEncoding.h"
#include "endian/LittleEndian.h"
#include "tags/TagText.h"

#include <array>
#include <cstring>
#include <string>
#include <vector>

namespace wm::wav {

namespace {

// Reading maps both track ids; writing uses the first id listed for a name.
const TagIdName kInfoNames[] = {
    {"INAM", u"title"},      {"IART", u"artist"},  {"IPRD", u"album"},     {"ICMT", u"comment"},
    {"IGNR", u"genre"},      {"ICRD", u"year"},    {"ITRK", u"track"},     {"IPRT", u"track"},
    {"ITCH", u"Encoded By"}, {"ISFT", u"Encoder"}, {"ICOP", u"copyright"},
};

bool IsPrintableId(const uint8_t* id) {
    for (int i = 0; i < 4; ++i)
        if (id[i] < 0x20 || id[i] > 0x7E)
            return false;
    return true;
}

} // namespace

String InfoIdToName(const uint8_t* id) {
    const char16_t* name = FindIdName(kInfoNames, {reinterpret_cast<const char*>(id), 4});
    return name ? String(name) : String(id, id + 4);
}

bool NameToInfoId(StringView name, uint8_t* id) {
    char found[5];
    if (!FindNameId(kInfoNames, name, u'I', found))
        return false;
    std::memcpy(id, found, 4);
    return true;
}

void ReadInfoList(const uint8_t* body, size_t size, WaveTags& tags) {
    if (size < 4 || std::memcmp(body, "INFO", 4) != 0)
        return;
    size_t pos = 4;
    while (size - pos >= 8) {
        const uint8_t* id = body + pos;
        const uint32_t length = Le32(body + pos + 4);
        // Garbage ids mean the list is not what its header says; nothing more is trusted.
        if (!IsPrintableId(id) || length > size - pos - 8)
            break;
        const uint8_t* text = body + pos + 8;
        const void* nul = std::memchr(text, 0, length);
        const size_t n = nul ? static_cast<const uint8_t*>(nul) - text : length;
        const String name = InfoIdToName(id);
        if (n != 0 && !tags.Find(name))
            tags.text.push_back({name, FromUtf8OrLatin1(text, n)});
        pos += 8 + size_t{length};
        if (length & 1) {
            if (pos == size)
                break;
            ++pos;
        }
    }
}

Bytes BuildInfoList(const WaveTags& tags) {
    Bytes out;
    std::vector<std::array<uint8_t, 4>> written;
    for (const TextTag& t : tags.text) {
        std::array<uint8_t, 4> id;
        if (t.value.empty() || !NameToInfoId(t.name, id.data()))
            continue;
        bool seen = false;
        for (const auto& w : written)
            seen = seen || w == id;
        // An entry holds one value: several are listed as text (in free text a CR is a line
        // break and stays).
        std::string value = Narrow(t.value);
        for (size_t at = 0;
             !IsFreeTextTag(t.name) && (at = value.find('\r', at)) != std::string::npos; at += 2)
            value.replace(at, 1, "; ");
        if (seen || value.size() > kMaxInfoValueBytes || value.find('\0') != std::string::npos)
            continue;
        written.push_back(id);
        if (out.empty()) {
            out.resize(12);
            std::memcpy(out.data(), "LIST", 4);
            std::memcpy(out.data() + 8, "INFO", 4);
        }
        const size_t at = out.size();
        const size_t length = value.size() + 1;
        out.resize(at + 8 + length + (length & 1), 0);
        std::memcpy(out.data() + at, id.data(), 4);
        PutLe32(out.data() + at + 4, static_cast<uint32_t>(length));
        std::memcpy(out.data() + at + 8, value.data(), value.size());
    }
    if (!out.empty())
        PutLe32(out.data() + 4, static_cast<uint32_t>(out.size() - 8));
    return out;
}

} // namespace wm::wav
