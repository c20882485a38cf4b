// Writing ID3v2 tags, no unsynchronisation, no padding: 2.4 in UTF-8 for wave files, 2.3 in
// UTF-16 for MP3 files (the version every Windows program reads).
#include "bundled/wav/Id3Frames.h"

#include <cstring>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace wm::wav {

namespace {

constexpr size_t kMaxSynchsafe = 0x0FFFFFFF;
constexpr uint8_t kUtf16 = 1;
constexpr uint8_t kUtf8 = 3;

void PutSynchsafe(uint8_t* p, size_t v) {
    p[0] = static_cast<uint8_t>(v >> 21 & 0x7F);
    p[1] = static_cast<uint8_t>(v >> 14 & 0x7F);
    p[2] = static_cast<uint8_t>(v >> 7 & 0x7F);
    p[3] = static_cast<uint8_t>(v & 0x7F);
}

void PutBe32(uint8_t* p, size_t v) {
    for (int i = 0; i < 4; ++i)
        p[i] = static_cast<uint8_t>(v >> (24 - 8 * i));
}

class TagBuilder {
  public:
    explicit TagBuilder(int version) : version_(version) {}

    std::string Encoding() const { return std::string(1, char(version_ == 3 ? kUtf16 : kUtf8)); }
    std::string Nul() const { return std::string(version_ == 3 ? 2 : 1, '\0'); }

    // Text in the tag's encoding: UTF-8, or UTF-16LE with its byte-order mark.
    std::string Text(StringView text) const {
        if (version_ != 3)
            return Narrow(text);
        std::string out = "\xFF\xFE";
        for (char16_t c : text) {
            out += static_cast<char>(c & 0xFF);
            out += static_cast<char>(c >> 8);
        }
        return out;
    }

    // Several values travel CR-separated in the tag set, NUL-separated in 2.4 text frames and
    // "/"-separated in 2.3 ones.
    std::string ValueList(const String& value) const {
        String v = value;
        for (char16_t& c : v)
            if (c == u'\r')
                c = version_ == 3 ? u'/' : u'\0';
        return Text(v);
    }

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
        if (version_ == 3)
            PutBe32(out_.data() + at + 4, length);
        else
            PutSynchsafe(out_.data() + at + 4, length);
        for (std::string_view part : parts)
            out_.insert(out_.end(), part.begin(), part.end());
    }

    Bytes Finish() {
        if (!out_.empty()) {
            std::memcpy(out_.data(), version_ == 3 ? "ID3\x03\x00\x00" : "ID3\x04\x00\x00", 6);
            PutSynchsafe(out_.data() + 6, out_.size() - 10);
        }
        return std::move(out_);
    }

  private:
    int version_;
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

Bytes BuildId3Tag(const WaveTags& tags, int version) {
    TagBuilder tag(version);
    const std::string encoding = tag.Encoding();
    const std::string nul = tag.Nul();
    for (const TextTag& t : tags.text) {
        if (t.value.empty() || t.name.empty())
            continue;
        char id[5];
        if (EqualsNoCase(t.name, u"comment") || EqualsNoCase(t.name, u"lyrics")) {
            // Language unknown ("XXX"), empty description; the text is free text, CRs included.
            const char* frame = EqualsNoCase(t.name, u"comment") ? "COMM" : "USLT";
            tag.Frame(frame, frame, {encoding, "XXX", tag.Text(u""), nul, tag.Text(t.value)});
        } else if (NameToId3Frame(t.name, id)) {
            // 2.3 has no recording time frame, only the year.
            if (version == 3 && std::string_view(id) == "TDRC")
                tag.Frame("TYER", "TYER", {encoding, tag.Text(StringView(t.value).substr(0, 4))});
            else
                tag.Frame(id, id, {encoding, tag.ValueList(t.value)});
        } else {
            tag.Frame("TXXX", "TXXX:" + Folded(t.name),
                      {encoding, tag.Text(t.name), nul, tag.ValueList(t.value)});
        }
    }
    for (const Picture& pic : tags.pictures) {
        if (pic.data.empty())
            continue;
        const std::string type(1, static_cast<char>(pic.type));
        const std::string_view data(reinterpret_cast<const char*>(pic.data.data()),
                                    pic.data.size());
        tag.Frame("APIC", "APIC:" + type + Narrow(pic.description),
                  {encoding, PictureMimeType(pic.data.data(), pic.data.size()),
                   std::string(1, '\0'), type, tag.Text(pic.description), nul, data});
    }
    return tag.Finish();
}

} // namespace wm::wav
