#include "bundled/cue_decoder/CueDecoder.h"

#include "bundled/cue/CueCodePages.h"
#include "bundled/cue/FlacCueSheet.h"
#include "bundled/win/Win32File.h"
#include "text/NumberText.h"

#include <windows.h>

#include <algorithm>

namespace wm::bundled {

namespace {

constexpr codec::DecodedType kTypes[] = {{u".cue", u"Cue Sheet (one track of a disc image)"}};
// Sheets are a few KiB; anything this large is not one.
constexpr uint64_t kLargestSheet = 1 << 20;

String FolderOf(StringView path) {
    const size_t slash = path.find_last_of(u"\\/");
    return slash == StringView::npos ? String() : String(path.substr(0, slash + 1));
}

String NamePart(StringView path) {
    return String(path.substr(FolderOf(path).size()));
}

bool ReadWhole(const String& path, std::string& bytes, uint64_t limit) {
    Win32File file;
    if (!file.OpenForReading(path.c_str()) || file.Size() > limit)
        return false;
    bytes.resize(static_cast<size_t>(file.Size()));
    return file.ReadAt(0, bytes.data(), bytes.size()) == bytes.size();
}

// What a FLAC image says about its disc; nothing for other files.
cue::FlacDisc FlacDiscOf(const String& path) {
    Win32File file;
    cue::FlacDisc disc;
    if (file.OpenForReading(path.c_str()))
        cue::ReadFlacDisc([&](uint64_t at, void* buffer,
                              size_t length) { return file.ReadAt(at, buffer, length); },
                          disc);
    return disc;
}

} // namespace

CueDecoder::CueDecoder() : DecoderFrame(kTypes) {}

uint32_t CueDecoder::SetOwn(const WmChar* name, PluginValue* value) noexcept {
    if (!codec::Is(name, WM_VALUE_TRACK) || !value)
        return 0;
    hasTrack_ = true;
    track_ = value->value1;
    return 1;
}

bool CueDecoder::SheetFailed(const cue::CueError& error) {
    String where = u"cue sheet '" + sheetName_ + u"'";
    if (error.line)
        where += u" line " + IntToText(error.line);
    return error_.Failed(where + u": " + error.reason);
}

bool CueDecoder::OpenStream(DecodeOpenInfo& info) {
    information_.Clear();
    if (!hasTrack_)
        return error_.Failed(u"a cue sheet is converted one track at a time (-track=n)");
    const String path = info.path;
    sheetName_ = NamePart(path);
    cue::TrackSpan span;
    const bool isSheet =
        path.size() >= 4 && EqualsNoCase(StringView(path).substr(path.size() - 4), u".cue");
    if (!(isSheet ? OpenSheetFile(path, info, span) : OpenImageSheet(path, info, span)))
        return false;
    if (!Cut(span, info))
        return false;
    HandOutTrackTags(info);
    return true;
}

bool CueDecoder::OpenSheetFile(const String& path, DecodeOpenInfo& info, cue::TrackSpan& span) {
    std::string bytes;
    if (!ReadWhole(path, bytes, kLargestSheet))
        return error_.Failed(u"cue sheet '" + sheetName_ +
                             u"' could not be read (missing, or larger than 1 MiB)");
    String text;
    cue::CueEncoding encoding{};
    cue::CueError error;
    if (!cue::DecodeCueBytes(bytes, cue::DecodeCodePage, text, encoding, error) ||
        !cue::ParseCueText(text, sheet_, error) || !cue::FindTrackSpan(sheet_, track_, span, error))
        return SheetFailed(error);
    if (cue::CodePageOf(encoding))
        information_.Add(u"the cue sheet's text was read as " + String(EncodingName(encoding)));
    const cue::CueFile& file = sheet_.files[span.file];
    const String image = ImagePath(path, file);
    if (image.empty())
        return SheetFailed({file.line, u"the audio file '" + file.name + u"' is missing"});
    return OpenImage(image, info);
}

String CueDecoder::ImagePath(const String& sheetPath, const cue::CueFile& file) {
    // A FILE name may carry a folder below the sheet's, or be a full path of another machine.
    const String below = FolderOf(sheetPath) + FolderOf(file.name);
    String match = cue::MatchImageName(NamePart(file.name), FileNamesIn(below, u"*"),
                                       CatalogExtensions(Catalog()));
    if (match.empty() && !FolderOf(file.name).empty()) {
        match = cue::MatchImageName(NamePart(file.name), FileNamesIn(FolderOf(sheetPath), u"*"),
                                    CatalogExtensions(Catalog()));
        return match.empty() ? match : FolderOf(sheetPath) + match;
    }
    return match.empty() ? match : below + match;
}

bool CueDecoder::OpenImage(const String& path, DecodeOpenInfo& info) {
    info.path = path.c_str();
    String reason;
    const bool opened = OpenWithSibling(image_, Catalog(), info, reason);
    info.path = nullptr;
    if (!opened)
        return error_.Failed(u"the image '" + NamePart(path) + u"' could not be read: " + reason);
    format_ = info.format;
    if (format_.blockAlign == 0 || format_.samplesPerSec == 0)
        return error_.Failed(u"the image '" + NamePart(path) + u"' has no sample format");
    return true;
}

bool CueDecoder::OpenImageSheet(const String& path, DecodeOpenInfo& info, cue::TrackSpan& span) {
    if (!OpenImage(path, info) || !ReadEmbeddedSheet(path, info))
        return false;
    cue::CueError error;
    if (!cue::FindTrackSpan(sheet_, track_, span, error))
        return SheetFailed(error);
    return true;
}

bool CueDecoder::ReadEmbeddedSheet(const String& path, const DecodeOpenInfo& info) {
    cue::FlacDisc disc = FlacDiscOf(path);
    disc.rate = format_.samplesPerSec;
    // Other images (WavPack, APE) carry the sheet as a tag their decoder reads.
    if (disc.cueBlock.empty() && disc.cueComment.empty() && info.tagData && info.tagSize) {
        IDTagSet tags;
        tags.Deserialize(info.tagData, info.tagSize);
        disc.cueComment = tags.GetValue(u"CUESHEET");
    }
    cue::CueError error;
    return cue::SheetInFlac(disc, NamePart(path), sheet_, error) || SheetFailed(error);
}

bool CueDecoder::Cut(const cue::TrackSpan& span, DecodeOpenInfo& info) {
    const uint32_t rate = format_.samplesPerSec;
    const uint64_t imageBytes = info.byteLength - info.byteLength % format_.blockAlign;
    cue::CueError error;
    if (imageBytes && !cue::SpanFits(span, imageBytes / format_.blockAlign, rate, error))
        return SheetFailed(error);
    start_ = cue::FrameToSample(span.startFrame, rate) * format_.blockAlign;
    end_ =
        span.toFileEnd ? imageBytes : cue::FrameToSample(span.endFrame, rate) * format_.blockAlign;
    if (span.toFileEnd && imageBytes == 0)
        return error_.Failed(u"the image does not tell its length, so its last track has no end");
    info.byteLength = end_ - start_;
    info.msLength = wav::BytesToMs(info.byteLength, format_.avgBytesPerSec);
    imageAt_ = delivered_ = 0;
    ended_ = false;
    return true;
}

void CueDecoder::HandOutTrackTags(DecodeOpenInfo& info) {
    IDTagSet image;
    if (info.tagData && info.tagSize)
        image.Deserialize(info.tagData, info.tagSize);
    const uint32_t number = track_ == cue::kHiddenTrack ? 0 : track_;
    IDTagSet tags = cue::TrackTags(sheet_, number, image);
    if (track_ == cue::kHiddenTrack)
        tags.Remove(u"track");
    tags_ = tags.Serialize();
    info.tagData = tags_.data();
    info.tagSize = static_cast<uint32_t>(tags_.size());
    const auto* second = static_cast<const uint8_t*>(info.secondData);
    second_.assign(second, second + (second ? info.secondSize : 0));
    info.secondData = second_.empty() ? nullptr : second_.data();
}

uint32_t CueDecoder::DecodeBlock(AudioBlockInfo* block) noexcept {
    if (!block || ended_ || format_.blockAlign == 0)
        return 0;
    if (delivered_ >= end_ - start_) {
        ended_ = true;
        return codec::HandOutBlock(*block, nullptr, 0, format_, delivered_, true);
    }
    for (;;) {
        AudioBlockInfo inner{};
        if (!image_.DecodeBlock(inner))
            return error_.Fail(u"the image: " + image_.LastError());
        const uint64_t from = std::max(imageAt_, start_);
        const uint64_t to = std::min(imageAt_ + inner.length, end_);
        const uint64_t at = imageAt_;
        imageAt_ += inner.length;
        if (from < to) {
            auto* data = static_cast<uint8_t*>(inner.data) + (from - at);
            return codec::HandOutBlock(*block, data, static_cast<size_t>(to - from), format_,
                                       delivered_, false);
        }
        if (inner.endOfStream)
            return error_.Fail(u"the image ended " +
                               cue::FramesText((end_ - start_ - delivered_) / format_.blockAlign *
                                               cue::kFramesPerSecond / format_.samplesPerSec) +
                               u" before the end of the track");
        if (inner.length == 0) // nothing yet: the host asks again
            return codec::HandOutBlock(*block, nullptr, 0, format_, delivered_, false);
    }
}

const std::vector<SiblingLibrary>& CueDecoder::Catalog() {
    if (catalog_.empty())
        catalog_ = SiblingCatalog();
    return catalog_;
}

uint32_t CueDecoder::Close() noexcept {
    image_.CloseFile();
    ended_ = true;
    format_ = WmWaveFormat{};
    std::vector<uint8_t>().swap(tags_);
    std::vector<uint8_t>().swap(second_);
    return 1;
}

} // namespace wm::bundled
