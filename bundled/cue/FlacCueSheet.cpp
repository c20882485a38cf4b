#include "bundled/cue/FlacCueSheet.h"

namespace wm::cue {

namespace {

constexpr size_t kCatalogBytes = 128;
constexpr size_t kHeaderBytes = kCatalogBytes + 8 + 259 + 1; // catalog, lead-in, flags, count
constexpr size_t kTrackBytes = 8 + 1 + 12 + 14 + 1;          // offset, number, ISRC, flags, indices
constexpr size_t kIndexBytes = 8 + 1 + 3;
constexpr uint8_t kLeadOutCd = 170, kLeadOut = 255;

class Reader {
  public:
    explicit Reader(std::string_view bytes) : bytes_(bytes) {}
    bool Has(size_t count) const { return count <= bytes_.size() - at_; }
    uint8_t Byte() { return static_cast<uint8_t>(bytes_[at_++]); }
    uint64_t U64() {
        uint64_t value = 0;
        for (int i = 0; i < 8; ++i)
            value = value << 8 | Byte();
        return value;
    }
    std::string_view Take(size_t count) {
        const std::string_view part = bytes_.substr(at_, count);
        at_ += count;
        return part;
    }

  private:
    std::string_view bytes_;
    size_t at_ = 0;
};

String Trimmed(std::string_view text) {
    while (!text.empty() && (text.back() == '\0' || text.back() == ' '))
        text.remove_suffix(1);
    return Widen(text);
}

bool Broken(CueError& error, const char16_t* what) {
    error.line = 0;
    error.reason = String(u"the FLAC cue sheet block is damaged: ") + what;
    return false;
}

constexpr uint8_t kStreamInfo = 0, kVorbisComment = 4;
// Metadata past this size is pictures and padding, never a sheet.
constexpr uint32_t kLargestBlock = 1 << 20;

uint32_t Le32(std::string_view bytes, size_t at) {
    uint32_t value = 0;
    for (int i = 3; i >= 0; --i)
        value = value << 8 | static_cast<uint8_t>(bytes[at + i]);
    return value;
}

// The CUESHEET comment of a Vorbis comment block, or empty.
String CueComment(std::string_view block) {
    size_t at = 0;
    auto next = [&](std::string_view& field) {
        if (block.size() - at < 4)
            return false;
        const uint32_t length = Le32(block, at);
        at += 4;
        if (length > block.size() - at)
            return false;
        field = block.substr(at, length);
        at += length;
        return true;
    };
    std::string_view field;
    if (!next(field) || block.size() - at < 4)
        return {};
    const uint32_t count = Le32(block, at);
    at += 4;
    for (uint32_t i = 0; i < count && next(field); ++i)
        if (field.size() > 9 && EqualsNoCase(Widen(field.substr(0, 9)), u"CUESHEET="))
            return Widen(field.substr(9));
    return {};
}

} // namespace

bool ReadFlacDisc(const ReadAt& read, FlacDisc& disc) {
    disc = FlacDisc{};
    uint8_t header[4] = {};
    if (read(0, header, 4) != 4 || std::string_view(reinterpret_cast<char*>(header), 4) != "fLaC")
        return false;
    for (uint64_t at = 4; read(at, header, 4) == 4; at += 4) {
        const uint32_t length = header[1] << 16 | header[2] << 8 | header[3];
        const uint8_t type = header[0] & 0x7F;
        if ((type == kStreamInfo || type == kVorbisComment || type == kFlacCueSheetBlock) &&
            length <= kLargestBlock) {
            std::string body(length, '\0');
            if (read(at + 4, body.data(), length) != length)
                return true;
            if (type == kStreamInfo && length >= 13)
                disc.rate = static_cast<uint8_t>(body[10]) << 12 |
                            static_cast<uint8_t>(body[11]) << 4 |
                            static_cast<uint8_t>(body[12]) >> 4;
            else if (type == kVorbisComment)
                disc.cueComment = CueComment(body);
            else if (type == kFlacCueSheetBlock)
                disc.cueBlock = std::move(body);
        }
        if (header[0] & 0x80)
            break;
        at += length;
    }
    return true;
}

bool SheetInFlac(const FlacDisc& disc, StringView imageName, CueSheet& sheet, CueError& error) {
    if (!disc.cueBlock.empty())
        return CueSheetFromFlacBlock(disc.cueBlock, disc.rate, imageName, sheet, error);
    if (disc.cueComment.empty()) {
        error = {0, u"it holds no cue sheet (no CUESHEET block or comment)"};
        return false;
    }
    if (!ParseCueText(disc.cueComment, sheet, error))
        return false;
    for (CueTrack& track : sheet.tracks)
        track.file = 0;
    sheet.files.assign(1, {String(imageName), 0});
    return true;
}

bool CueSheetFromFlacBlock(std::string_view body, uint32_t rate, StringView imageName,
                           CueSheet& sheet, CueError& error) {
    sheet = CueSheet{};
    error = CueError{};
    if (rate == 0)
        return Broken(error, u"the stream has no sample rate");
    Reader in(body);
    if (!in.Has(kHeaderBytes))
        return Broken(error, u"it is too short");
    in.Take(kCatalogBytes + 8 + 259);
    const uint8_t count = in.Byte();
    sheet.files.push_back({String(imageName), 0});
    for (uint8_t t = 0; t < count; ++t) {
        if (!in.Has(kTrackBytes))
            return Broken(error, u"a track runs past its end");
        CueTrack track;
        const uint64_t offset = in.U64();
        track.number = in.Byte();
        track.isrc = Trimmed(in.Take(12));
        in.Take(14);
        const uint8_t indices = in.Byte();
        if (!in.Has(size_t{indices} * kIndexBytes))
            return Broken(error, u"an index runs past its end");
        for (uint8_t i = 0; i < indices; ++i) {
            const uint64_t samples = offset + in.U64();
            const uint8_t number = in.Byte();
            in.Take(3);
            const uint64_t frame =
                samples / rate * kFramesPerSecond + samples % rate * kFramesPerSecond / rate;
            if (number == 0)
                track.hasIndex0 = true, track.index0 = frame;
            else if (number == 1)
                track.hasIndex1 = true, track.index1 = frame;
        }
        if (track.number == kLeadOutCd || track.number == kLeadOut)
            break;
        if (!track.hasIndex1 || track.number == 0 ||
            (!sheet.tracks.empty() && (track.number <= sheet.tracks.back().number ||
                                       track.index1 <= sheet.tracks.back().index1)))
            return Broken(error, u"its tracks are out of order or lack INDEX 01");
        sheet.tracks.push_back(std::move(track));
    }
    if (sheet.tracks.empty())
        return Broken(error, u"it has no tracks");
    return true;
}

} // namespace wm::cue
