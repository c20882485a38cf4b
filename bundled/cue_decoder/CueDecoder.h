// The decoder for cue sheets: one track of a disc image, read through the decoder that reads
// the image, cut exactly at the sheet's INDEX 01 times, with the sheet's tags over the image's.
// The track comes through "Set" ("Track") before "Open"; the path is the sheet, or an image
// carrying its sheet (a FLAC CUESHEET block, or a CUESHEET tag).
#pragma once

#include "bundled/codec/DecoderFrame.h"
#include "bundled/cue/CueTracks.h"
#include "bundled/cue_decoder/SiblingCatalog.h"

#include <vector>

namespace wm::bundled {

class CueDecoder final : public codec::DecoderFrame {
  public:
    CueDecoder();
    ~CueDecoder() override { Close(); }

    uint32_t Close() noexcept override;
    uint32_t DecodeBlock(AudioBlockInfo* block) noexcept override;
    uint32_t SetPosition(uint64_t) noexcept override { return 0; }

  private:
    uint32_t SetOwn(const WmChar* name, PluginValue* value) noexcept override;
    bool OpenStream(DecodeOpenInfo& info) override;
    // The sheet from a .cue file, with the image it names opened.
    bool OpenSheetFile(const String& path, DecodeOpenInfo& info, cue::TrackSpan& span);
    // The sheet inside an image, with that image opened.
    bool OpenImageSheet(const String& path, DecodeOpenInfo& info, cue::TrackSpan& span);
    bool OpenImage(const String& path, DecodeOpenInfo& info);
    bool ReadEmbeddedSheet(const String& path, const DecodeOpenInfo& info);
    String ImagePath(const String& sheetPath, const cue::CueFile& file);
    bool Cut(const cue::TrackSpan& span, DecodeOpenInfo& info);
    void HandOutTrackTags(DecodeOpenInfo& info);
    bool SheetFailed(const cue::CueError& error);
    // The libraries beside this one, asked once per instance.
    const std::vector<SiblingLibrary>& Catalog();

    bool hasTrack_ = false;
    uint32_t track_ = 0;
    String sheetName_;
    cue::CueSheet sheet_;
    std::vector<SiblingLibrary> catalog_;
    SiblingDecoder image_;
    WmWaveFormat format_{};
    uint64_t imageAt_ = 0; // bytes of the image read so far
    uint64_t start_ = 0;   // the track's bytes in the image
    uint64_t end_ = 0;
    uint64_t delivered_ = 0;
    bool ended_ = false;
    std::vector<uint8_t> tags_;
    std::vector<uint8_t> second_;
};

} // namespace wm::bundled
