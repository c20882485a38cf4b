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

} // namespace

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
