// Reading ID3v2.2, 2.3 and 2.4 tags.
#include "bundled/wav/Id3Frames.h"
#include "bundled/wav/TextEncoding.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace wm::wav {

namespace {

struct Span {
    const uint8_t* p = nullptr;
    size_t n = 0;

    Span From(size_t at) const { return at < n ? Span{p + at, n - at} : Span{}; }
};

uint32_t Synchsafe(const uint8_t* p) {
    return uint32_t{p[0] & 0x7Fu} << 21 | uint32_t{p[1] & 0x7Fu} << 14 |
           uint32_t{p[2] & 0x7Fu} << 7 | (p[3] & 0x7Fu);
}
uint32_t Be24(const uint8_t* p) {
    return uint32_t{p[0]} << 16 | uint32_t{p[1]} << 8 | p[2];
}
uint32_t Be32(const uint8_t* p) {
    return uint32_t{p[0]} << 24 | Be24(p + 1);
}

// Undoes unsynchronisation: every 0xFF 0x00 pair loses its 0x00.
Bytes Resync(Span s) {
    Bytes out;
    out.reserve(s.n);
    for (size_t i = 0; i < s.n; ++i) {
        out.push_back(s.p[i]);
        if (s.p[i] == 0xFF && i + 1 < s.n && s.p[i + 1] == 0)
            ++i;
    }
    return out;
}

size_t TerminatorWidth(uint8_t encoding) {
    return encoding == 1 || encoding == 2 ? 2 : 1;
}

// Length of the string at the start of `s` up to its terminator (or the end).
size_t StringLength(uint8_t encoding, Span s) {
    const size_t width = TerminatorWidth(encoding);
    for (size_t i = 0; i + width <= s.n; i += width)
        if (s.p[i] == 0 && (width == 1 || s.p[i + 1] == 0))
            return i;
    return s.n - s.n % width;
}

String DecodeOne(uint8_t encoding, Span s, bool& bigEndian) {
    switch (encoding) {
    case 0:
        return FromLatin1(s.p, s.n);
    case 1:
        if (s.n >= 2 && s.p[0] == 0xFF && s.p[1] == 0xFE) {
            bigEndian = false;
            s = s.From(2);
        } else if (s.n >= 2 && s.p[0] == 0xFE && s.p[1] == 0xFF) {
            bigEndian = true;
            s = s.From(2);
        }
        return FromUtf16(s.p, s.n, bigEndian);
    case 2:
        return FromUtf16(s.p, s.n, true);
    default:
        return FromUtf8OrLatin1(s.p, s.n);
    }
}

// All the NUL-separated strings of `s`, non-empty ones joined with CR. A UTF-16 string
// without a byte-order mark keeps the order of the one before (little-endian at first).
String DecodeText(uint8_t encoding, Span s) {
    String out;
    bool bigEndian = false;
    while (s.n != 0) {
        const size_t length = StringLength(encoding, s);
        String one = DecodeOne(encoding, Span{s.p, length}, bigEndian);
        if (!one.empty()) {
            if (!out.empty())
                out += u'\r';
            out += one;
        }
        s = s.From(length + TerminatorWidth(encoding));
    }
    return out;
}

// Splits off the terminated string at the start of `s`, decoded, and returns the rest.
Span TakeString(uint8_t encoding, Span s, String& text) {
    const size_t length = StringLength(encoding, s);
    bool bigEndian = false;
    text = DecodeOne(encoding, Span{s.p, length}, bigEndian);
    return s.From(length + TerminatorWidth(encoding));
}

class FrameReader {
  public:
    FrameReader(int version, WaveTags& tags) : version_(version), tags_(tags) {}

    void Frame(std::string id, Span s) {
        if (version_ == 2)
            id = FromVersion2(id);
        if (s.n < 1 || s.p[0] > 3)
            return;
        const uint8_t encoding = s.p[0];
        const Span rest = s.From(1);
        if (id == "TXXX") {
            String name, value;
            value = DecodeText(encoding, TakeString(encoding, rest, name));
            Add(name.empty() ? String(u"TXXX") : name, value);
        } else if (id == "COMM" || id == "USLT") {
            String description;
            const Span text = TakeString(encoding, rest.From(3), description);
            Add(description.empty() ? String(id == "COMM" ? u"comment" : u"lyrics") : description,
                DecodeText(encoding, text));
        } else if (id == "APIC") {
            Picture(encoding, rest);
        } else if (id[0] == 'T') {
            Add(Id3FrameToName(id), DecodeText(encoding, rest));
        }
    }

    void Finish() { tags_.AdoptPictures(std::move(pictures_)); }

  private:
    static std::string FromVersion2(const std::string& id) {
        static const char* const kIds[][2] = {
            {"TT2", "TIT2"}, {"TP1", "TPE1"}, {"TAL", "TALB"}, {"TCO", "TCON"},
            {"TYE", "TYER"}, {"TRK", "TRCK"}, {"TEN", "TENC"}, {"TSS", "TSSE"},
            {"TCR", "TCOP"}, {"TP2", "TPE2"}, {"TCM", "TCOM"}, {"TPA", "TPOS"},
            {"TXX", "TXXX"}, {"COM", "COMM"}, {"ULT", "USLT"}, {"PIC", "APIC"}};
        for (const auto& pair : kIds)
            if (id == pair[0])
                return pair[1];
        return id;
    }

    void Add(const String& name, const String& value) {
        if (!value.empty())
            tags_.AddValue(name, value);
    }

    void Picture(uint8_t encoding, Span s) {
        // 2.2 names the image format in three letters; later versions give a MIME type.
        if (version_ == 2) {
            s = s.From(3);
        } else {
            String mime;
            s = TakeString(0, s, mime);
        }
        if (s.n < 1)
            return;
        wav::Picture pic;
        pic.type = s.p[0];
        s = TakeString(encoding, s.From(1), pic.description);
        if (s.n == 0)
            return;
        pic.data.assign(s.p, s.p + s.n);
        pictures_.push_back(std::move(pic));
    }

    int version_;
    WaveTags& tags_;
    std::vector<wav::Picture> pictures_;
};

bool IsFrameId(const uint8_t* id, size_t length) {
    for (size_t i = 0; i < length; ++i)
        if (!((id[i] >= 'A' && id[i] <= 'Z') || (id[i] >= '0' && id[i] <= '9')))
            return false;
    return true;
}

} // namespace

namespace {

// The frames' part of the tag: unsynchronised (before 2.4) and past any extended header. False
// when there is nothing to read.
bool TagBody(const uint8_t* data, size_t size, int version, uint8_t flags, Bytes& resynced,
             Span& body) {
    body = Span{data + 10, std::min<size_t>(Synchsafe(data + 6), size - 10)};
    // Before 2.4 unsynchronisation covers the whole tag; from 2.4 on, each frame.
    if ((flags & 0x80) && version < 4) {
        resynced = Resync(body);
        body = Span{resynced.data(), resynced.size()};
    }
    if (!(flags & 0x40))
        return true;
    if (body.n < 4)
        return false;
    const size_t extended = version == 3 ? size_t{Be32(body.p)} + 4 : Synchsafe(body.p);
    if (extended > body.n)
        return false;
    body = body.From(extended);
    return true;
}

// One frame's content past its own flags' extras; false for a frame that cannot be read
// (compressed or encrypted).
bool FrameContent(int version, uint8_t format, bool unsync, Bytes& resynced, Span& frame) {
    if (version == 3) {
        if (format & 0xC0)
            return false;
        if (format & 0x20)
            frame = frame.From(1); // group id
    } else if (version == 4) {
        if (format & 0x0C)
            return false;
        if (format & 0x40)
            frame = frame.From(1);
        if (format & 0x01)
            frame = frame.From(4); // data length indicator
        if ((format & 0x02) || unsync) {
            resynced = Resync(frame);
            frame = Span{resynced.data(), resynced.size()};
        }
    }
    return true;
}

} // namespace

void ReadId3Tag(const uint8_t* data, size_t size, WaveTags& tags) {
    if (size < 10 || std::memcmp(data, "ID3", 3) != 0)
        return;
    const int version = data[3];
    const uint8_t flags = data[5];
    if (version < 2 || version > 4 || (version == 2 && (flags & 0x40)))
        return; // 2.2 compression was never defined
    Bytes resynced;
    Span body{};
    if (!TagBody(data, size, version, flags, resynced, body))
        return;
    FrameReader reader(version, tags);
    const size_t idLength = version == 2 ? 3 : 4;
    const size_t headerLength = version == 2 ? 6 : 10;
    while (body.n >= headerLength && body.p[0] != 0 && IsFrameId(body.p, idLength)) {
        const std::string id(reinterpret_cast<const char*>(body.p), idLength);
        const size_t length = version == 2   ? Be24(body.p + 3)
                              : version == 3 ? Be32(body.p + 4)
                                             : Synchsafe(body.p + 4);
        if (length > body.n - headerLength)
            break;
        Span frame{body.p + headerLength, length};
        const uint8_t format = version == 2 ? 0 : body.p[9];
        body = body.From(headerLength + length);
        Bytes frameResynced;
        if (FrameContent(version, format, (flags & 0x80) != 0, frameResynced, frame))
            reader.Frame(id, frame);
    }
    reader.Finish();
}

} // namespace wm::wav
