#include "batch/AlbumGain.h"

#include <algorithm>

namespace wm {

namespace {

String Folded(StringView text) {
    String out(text);
    for (char16_t& c : out)
        if (c >= u'A' && c <= u'Z')
            c = static_cast<char16_t>(c - u'A' + u'a');
    return out;
}

} // namespace

String AlbumKey(StringView sourcePath, StringView album, StringView albumArtist,
                StringView artist) {
    if (album.empty())
        return {};
    const size_t slash = sourcePath.find_last_of(u"\\/");
    const StringView folder =
        slash == StringView::npos ? StringView() : sourcePath.substr(0, slash);
    return Folded(folder) + u'\n' + Folded(album) + u'\n' +
           Folded(albumArtist.empty() ? artist : albumArtist);
}

void AlbumLedger::Add(size_t track, const String& key) {
    if (key.empty())
        return;
    albums_[key].tracks.push_back(track);
    albumOf_[track] = key;
}

std::optional<AlbumVerdict>
AlbumLedger::TrackEnded(size_t track, std::optional<LoudnessRecord> record, const String& failure) {
    const auto of = albumOf_.find(track);
    if (of == albumOf_.end())
        return std::nullopt;
    Album& album = albums_[of->second];
    ++album.ended;
    if (!record && album.failure.empty())
        album.failure = failure;
    if (record) {
        album.blocks.insert(album.blocks.end(), record->blocks.begin(), record->blocks.end());
        album.peak = std::max(album.peak, record->peak);
    }
    if (album.ended < album.tracks.size())
        return std::nullopt;
    AlbumVerdict verdict;
    verdict.tracks = album.tracks;
    verdict.measured = album.failure.empty();
    verdict.reason = album.failure;
    if (verdict.measured) {
        verdict.lufs = GatedLoudness(album.blocks);
        verdict.peak = album.peak;
    }
    albums_.erase(of->second);
    return verdict;
}

} // namespace wm
