#include "bundled/codec/Mp4Atoms.h"

#include <algorithm>
#include <cctype>
#include <cinttypes>
#include <cstdio>
#include <string_view>

namespace wm::codec {

namespace {

uint32_t Read32(const uint8_t* p) {
    return uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | p[3];
}

void Write32(uint8_t* p, uint32_t v) {
    p[0] = static_cast<uint8_t>(v >> 24);
    p[1] = static_cast<uint8_t>(v >> 16);
    p[2] = static_cast<uint8_t>(v >> 8);
    p[3] = static_cast<uint8_t>(v);
}

void Append32(std::vector<uint8_t>& out, uint32_t v) {
    out.resize(out.size() + 4);
    Write32(out.data() + out.size() - 4, v);
}

void AppendBox(std::vector<uint8_t>& out, const char* type, const std::vector<uint8_t>& body) {
    Append32(out, static_cast<uint32_t>(8 + body.size()));
    out.insert(out.end(), type, type + 4);
    out.insert(out.end(), body.begin(), body.end());
}

// mean and name carry a version/flags word; data a type (1: UTF-8 text) and a locale.
std::vector<uint8_t> FreeForm(const NamedText& tag) {
    std::vector<uint8_t> mean(4, 0), name(4, 0), data{0, 0, 0, 1, 0, 0, 0, 0}, box;
    const std::string_view apple = "com.apple.iTunes";
    mean.insert(mean.end(), apple.begin(), apple.end());
    name.insert(name.end(), tag.name.begin(), tag.name.end());
    data.insert(data.end(), tag.value.begin(), tag.value.end());
    std::vector<uint8_t> body;
    AppendBox(body, "mean", mean);
    AppendBox(body, "name", name);
    AppendBox(body, "data", data);
    AppendBox(box, "----", body);
    return box;
}

// Offset of the child box `type` among the boxes in [begin, end), or 0.
size_t FindChild(const std::vector<uint8_t>& b, size_t begin, size_t end, const char* type) {
    for (size_t at = begin; at + 8 <= end;) {
        const uint32_t size = Read32(&b[at]);
        if (size < 8 || size > end - at)
            return 0;
        if (std::string_view(reinterpret_cast<const char*>(&b[at + 4]), 4) == type)
            return at;
        at += size;
    }
    return 0;
}

// moov > udta > meta (a full box: 4 bytes of version and flags first) > ilst: the offsets of
// the four boxes; false when the path is not there.
bool FindTagList(const std::vector<uint8_t>& moov, size_t (&path)[4]) {
    if (moov.size() < 8 || Read32(moov.data()) != moov.size())
        return false;
    path[0] = 0;
    const char* types[] = {"udta", "meta", "ilst"};
    const size_t ownFields[] = {0, 0, 4};
    for (size_t level = 0; level < 3; ++level) {
        const size_t parent = path[level];
        const size_t begin = parent + 8 + ownFields[level];
        const size_t end = parent + Read32(&moov[parent]);
        path[level + 1] = FindChild(moov, begin, end, types[level]);
        if (path[level + 1] == 0)
            return false;
    }
    return true;
}

// The name of a free-form atom at `at` (its "name" child's text); empty for any other atom.
std::string FreeFormName(const std::vector<uint8_t>& b, size_t at) {
    const size_t end = at + Read32(&b[at]);
    if (std::string_view(reinterpret_cast<const char*>(&b[at + 4]), 4) != "----")
        return {};
    const size_t name = FindChild(b, at + 8, end, "name");
    if (name == 0 || Read32(&b[name]) < 12)
        return {};
    return std::string(b.begin() + static_cast<std::ptrdiff_t>(name + 12),
                       b.begin() + static_cast<std::ptrdiff_t>(name + Read32(&b[name])));
}

bool SameName(std::string_view a, std::string_view b) {
    if (a.size() != b.size())
        return false;
    for (size_t i = 0; i < a.size(); ++i)
        if (std::tolower(static_cast<unsigned char>(a[i])) !=
            std::tolower(static_cast<unsigned char>(b[i])))
            return false;
    return true;
}

} // namespace

bool ReplaceFreeFormAtoms(std::vector<uint8_t>& moov, const std::vector<NamedText>& tags) {
    size_t path[4];
    if (!FindTagList(moov, path))
        return false;
    std::vector<uint8_t> kept = moov;
    size_t at = path[3] + 8;
    for (size_t end = path[3] + Read32(&kept[path[3]]); at + 8 <= end;) {
        const uint32_t size = Read32(&kept[at]);
        if (size < 8 || size > end - at)
            return false;
        const std::string name = FreeFormName(kept, at);
        const bool replaced =
            !name.empty() && std::any_of(tags.begin(), tags.end(), [&](const NamedText& t) {
                return SameName(t.name, name);
            });
        if (!replaced) {
            at += size;
            continue;
        }
        kept.erase(kept.begin() + static_cast<std::ptrdiff_t>(at),
                   kept.begin() + static_cast<std::ptrdiff_t>(at + size));
        for (size_t box : path)
            Write32(&kept[box], Read32(&kept[box]) - size);
        end -= size;
    }
    if (!AddFreeFormAtoms(kept, tags))
        return false;
    moov = std::move(kept);
    return true;
}

bool AddFreeFormAtoms(std::vector<uint8_t>& moov, const std::vector<NamedText>& tags) {
    size_t path[4];
    if (!FindTagList(moov, path))
        return false;
    std::vector<uint8_t> atoms;
    for (const NamedText& t : tags) {
        const std::vector<uint8_t> box = FreeForm(t);
        atoms.insert(atoms.end(), box.begin(), box.end());
    }
    for (size_t box : path)
        if (uint64_t{Read32(&moov[box])} + atoms.size() > UINT32_MAX)
            return false;
    const size_t ilstEnd = path[3] + Read32(&moov[path[3]]);
    moov.insert(moov.begin() + static_cast<std::ptrdiff_t>(ilstEnd), atoms.begin(), atoms.end());
    for (size_t box : path)
        Write32(&moov[box], Read32(&moov[box]) + static_cast<uint32_t>(atoms.size()));
    return true;
}

std::string ITunesGaplessInfo(uint32_t delay, uint32_t padding, uint64_t samples) {
    char text[160];
    std::snprintf(text, sizeof text,
                  " 00000000 %08" PRIX32 " %08" PRIX32 " %016" PRIX64
                  " 00000000 00000000 00000000 00000000 00000000 00000000 00000000 00000000",
                  delay, padding, samples);
    return text;
}

} // namespace wm::codec
