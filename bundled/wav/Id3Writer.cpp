// Writing ID3v2.4 tags: UTF-8 throughout, no unsynchronisation, no padding.
#include "bundled/wav/Id3Frames.h"

#include <cstring>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace wm::wav {

namespace {

constexpr size_t kMaxSynchsafe = 0x0FFFFFFF;
constexpr uint8_t kUtf8 = 3;

void PutSynchsafe(uint8_t* p, size_t v) {
    p[0] = static_cast<uint8_t>(v >> 21 & 0x7F);
    p[1] = static_cast<uint8_t>(v >> 14 & 0x7F);
    p[2] = static_cast<uint8_t>(v >> 7 & 0x7F);
    p[3] = static_cast<uint8_t>(v & 0x7F);
}

// Several values travel CR-separated in the tag set and NUL-separated in 2.4 text frames.
std::string ValueList(const String& value) {
    std::string s = Narrow(value);
    for (char& c : s)
        if (c == '\r')
            c = '\0';
    return s;
}

class TagBuilder {
  public:
    // Appends a frame unless one with the same key was written or it would not fit.
    void Frame(const char* id, const std::string& key,
               std::initializer_list<std::string_view> parts) {
        size_t length = 0;
        for (std::string_view part : parts)
            length += part.size();
        if (length > kMaxSynchsafe || out_.size() + 10 + length > kMaxSynchsafe + 10)
            return;
        for (const std::string& k : keys_)
            if (k == key)
                return;
        keys_.push_back(key);
        if (out_.empty())
            out_.resize(10);
        const size_t at = out_.size();
        out_.resize(at + 10);
        std::memcpy(out_.data() + at, id, 4);
        PutSynchsafe(out_.data() + at + 4, length);
        for (std::string_view part : parts)
            out_.insert(out_.end(), part.begin(), part.end());
    }

    Bytes Finish() {
        if (!out_.empty()) {
            std::memcpy(out_.data(), "ID3\x04\x00\x00", 6);
            PutSynchsafe(out_.data() + 6, out_.size() - 10);
        }
        return std::move(out_);
    }

  private:
    Bytes out_;
    std::vector<std::string> keys_; // frame id, plus the folded description where it counts
};

std::string Folded(const String& s) {
    std::string n = Narrow(s);
    for (char& c : n)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return n;
}

} // namespace

Bytes BuildId3Tag(const WaveTags& tags) {
    TagBuilder tag;
    const std::string encoding(1, static_cast<char>(kUtf8));
    const std::string nul(1, '\0');
    for (const TextTag& t : tags.text) {
        if (t.value.empty() || t.name.empty())
            continue;
        char id[5];
        if (EqualsNoCase(t.name, u"comment") || EqualsNoCase(t.name, u"lyrics")) {
            // Language unknown ("XXX"), empty description; the text is free text, CRs included.
            const char* frame = EqualsNoCase(t.name, u"comment") ? "COMM" : "USLT";
            tag.Frame(frame, frame, {encoding, "XXX", nul, Narrow(t.value)});
        } else if (NameToId3Frame(t.name, id)) {
            tag.Frame(id, id, {encoding, ValueList(t.value)});
        } else {
            tag.Frame("TXXX", "TXXX:" + Folded(t.name),
                      {encoding, Narrow(t.name), nul, ValueList(t.value)});
        }
    }
    for (const Picture& pic : tags.pictures) {
        if (pic.data.empty())
            continue;
        const std::string description = Narrow(pic.description);
        const std::string type(1, static_cast<char>(pic.type));
        const std::string_view data(reinterpret_cast<const char*>(pic.data.data()),
                                    pic.data.size());
        tag.Frame("APIC", "APIC:" + type + description,
                  {encoding, PictureMimeType(pic.data.data(), pic.data.size()), nul, type,
                   description, nul, data});
    }
    return tag.Finish();
}

} // namespace wm::wav
