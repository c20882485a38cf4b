#include "bundled/ffmpeg_decoder/M4aTagWriter.h"

#include "bundled/codec/Mp4Atoms.h"
#include "bundled/ffmpeg/FfmpegSupport.h"
#include "bundled/ffmpeg/FfmpegTags.h"
#include "bundled/win/Win32File.h"

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
}

#include <cstring>
#include <vector>

namespace wm::bundled {

namespace {

uint64_t Big(const uint8_t* p, int bytes) {
    uint64_t v = 0;
    for (int i = 0; i < bytes; ++i)
        v = v << 8 | p[i];
    return v;
}

// Offset and size of the top-level "moov" box; false when the file is not a box list holding one.
bool FindMovie(Win32File& file, uint64_t& at, uint64_t& size) {
    const uint64_t fileSize = file.Size();
    for (at = 0; at + 8 <= fileSize; at += size) {
        uint8_t header[16];
        if (file.ReadAt(at, header, sizeof header) < 8)
            return false;
        size = Big(header, 4);
        if (size == 1)
            size = Big(header + 8, 8);
        else if (size == 0)
            size = fileSize - at;
        if (size < 8 || size > fileSize - at)
            return false;
        if (std::memcmp(header + 4, "moov", 4) == 0)
            return true;
    }
    return false;
}

// Why the standard atoms asked for are not the file's own (this writer leaves them as they are):
// the first tag that differs; empty when none does.
String StandardTagDiffers(const char16_t* path, const AVDictionary* wanted) {
    AVFormatContext* format = nullptr;
    if (avformat_open_input(&format, ffmpeg::FileUrl(path).c_str(), nullptr, nullptr) < 0)
        return u"FFmpeg cannot read it";
    String differs;
    for (const AVDictionaryEntry* e = nullptr;
         differs.empty() && (e = av_dict_get(wanted, "", e, AV_DICT_IGNORE_SUFFIX));) {
        const AVDictionaryEntry* held = av_dict_get(format->metadata, e->key, nullptr, 0);
        if (!held || std::strcmp(held->value, e->value) != 0)
            differs = u"only its free-form atoms are written, and its '" + Widen(e->key) +
                      u"' would change";
    }
    avformat_close_input(&format);
    return differs;
}

} // namespace

String WriteM4aTags(const char16_t* path, const wav::WaveTags& tags) {
    Win32File file;
    if (!file.OpenForUpdate(path))
        return u"the file cannot be opened for writing";
    uint64_t at = 0, size = 0;
    if (!FindMovie(file, at, size))
        return u"it is not an MP4 file with a movie box";
    if (at + size != file.Size() || size > (1u << 30))
        return u"its movie box is not at the end of the file";
    std::vector<uint8_t> moov(static_cast<size_t>(size));
    if (file.ReadAt(at, moov.data(), moov.size()) != moov.size())
        return u"the file cannot be read";
    AVDictionary* standard = nullptr;
    std::vector<codec::NamedText> freeForm;
    ffmpeg::WriteAvTags(tags, &standard, freeForm);
    const String differs = StandardTagDiffers(path, standard);
    av_dict_free(&standard);
    if (!differs.empty())
        return differs;
    if (!codec::ReplaceFreeFormAtoms(moov, freeForm))
        return u"its movie box has no tag list";
    if (!file.WriteAt(at, moov.data(), moov.size()) || !file.SetSize(at + moov.size()) ||
        !file.Close())
        return u"the tags could not be written";
    return {};
}

} // namespace wm::bundled
