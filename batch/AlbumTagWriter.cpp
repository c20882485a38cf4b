#include "batch/AlbumTagWriter.h"

#include "plugins/clTwCodecHandler.h"
#include "plugins/clTwDecoder.h"
#include "process/Log.h"
#include "tags/IDTagSet.h"

namespace wm {

namespace {

// The output's tags as its decoder reads them; false when it cannot open the file.
bool ReadOutputTags(clTwDecoder& decoder, const String& output, IDTagSet& tags) {
    DecodeOpenInfo info{};
    info.path = output.c_str();
    info.openMode = WM_OPEN_CONVERT;
    if (!decoder.Open(&info))
        return false;
    if (info.tagData && info.tagSize)
        tags.Deserialize(info.tagData, info.tagSize);
    ConversionInfo none{};
    decoder.Close(&none);
    return true;
}

} // namespace

String WriteAlbumGain(const String& output, const AlbumVerdict& album,
                      const String& programFolder) {
    clTwDecoder decoder;
    if (!clTwCodecHandler().FindDecoder(output, decoder, LogHostContext(), programFolder, false))
        return u"no decoder is installed for its type";
    IDTagSet tags;
    if (!ReadOutputTags(decoder, output, tags)) {
        const String why = decoder.LastError();
        decoder.Unload();
        return u"its tags could not be read" + (why.empty() ? String() : u": " + why);
    }
    PutReplayGain(tags, GainScope::Album, album.lufs, album.peak);
    std::vector<uint8_t> block = tags.Serialize();
    PluginValue value{};
    value.value2 = static_cast<uint32_t>(block.size());
    value.pointer1 = const_cast<char16_t*>(output.c_str());
    value.pointer4 = block.data();
    String why;
    if (!decoder.Set(WM_VALUE_ID_TAGS, &value)) {
        why = decoder.LastError();
        if (why.empty())
            why = u"its decoder writes no tags";
    }
    return why;
}

} // namespace wm
