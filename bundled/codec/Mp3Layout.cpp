#include "bundled/codec/Mp3Layout.h"

#include "bundled/codec/Mp3Tags.h"

#include <algorithm>
#include <cstring>

namespace wm::codec {

namespace {

constexpr size_t kId3Header = 10, kId3v1 = 128, kApeFooter = 32;

// Each ID3v2 tag directly after the one before: every one is at least its header long, so the
// walk ends.
void SkipFrontTags(uint64_t size, const ReadAtFn& readAt, Mp3Layout& layout) {
    uint8_t header[kId3Header];
    while (layout.audioStart < size &&
           readAt(layout.audioStart, header, sizeof header) == sizeof header) {
        const uint64_t length = Id3v2Length(header, sizeof header);
        if (length == 0)
            return;
        layout.tags.push_back({Mp3TagKind::Id3v2, layout.audioStart, length});
        layout.audioStart += std::min(length, size - layout.audioStart);
    }
}

// The ID3v1, APE or footed ID3v2 tag ending at `end`; length 0 when none does.
Mp3TagPlace FootedTagBefore(uint64_t end, uint64_t room, const ReadAtFn& readAt) {
    uint8_t tail[kId3v1];
    if (room >= kId3v1 && readAt(end - kId3v1, tail, kId3v1) == kId3v1 &&
        std::memcmp(tail, "TAG", 3) == 0)
        return {Mp3TagKind::Id3v1, end - kId3v1, kId3v1};
    uint8_t footer[kApeFooter];
    if (room < kApeFooter || readAt(end - kApeFooter, footer, kApeFooter) != kApeFooter)
        return {Mp3TagKind::Ape, end, 0};
    const uint64_t ape = ApeTagLength(footer, kApeFooter);
    if (ape >= kApeFooter && ape <= room)
        return {Mp3TagKind::Ape, end - ape, ape};
    // An ID3v2.4 footer ("3DI") repeats the header: the tag's length counts from its start.
    uint8_t header[kId3Header];
    std::memcpy(header, footer + kApeFooter - kId3Header, kId3Header);
    if (std::memcmp(header, "3DI", 3) == 0) {
        std::memcpy(header, "ID3", 3);
        const uint64_t length = Id3v2Length(header, kId3Header);
        if (length != 0 && length <= room)
            return {Mp3TagKind::Id3v2, end - length, length};
    }
    return {Mp3TagKind::Ape, end, 0};
}

// An ID3v2 tag without a footer has to be found by its header: the nearest "ID3" whose tag
// length reaches exactly to `end`.
Mp3TagPlace HeadedTagBefore(uint64_t end, uint64_t room, const ReadAtFn& readAt) {
    const size_t window = static_cast<size_t>(std::min<uint64_t>(room, kTrailingId3Search));
    std::vector<uint8_t> bytes(window);
    if (window < kId3Header || readAt(end - window, bytes.data(), window) != window)
        return {Mp3TagKind::Id3v2, end, 0};
    for (size_t at = window - kId3Header + 1; at-- > 0;) {
        if (bytes[at] != 'I' || Id3v2Length(&bytes[at], window - at) != window - at)
            continue;
        return {Mp3TagKind::Id3v2, end - (window - at), window - at};
    }
    return {Mp3TagKind::Id3v2, end, 0};
}

void SkipEndTags(const ReadAtFn& readAt, Mp3Layout& layout) {
    for (size_t n = 0; n < kMaxTrailingTags; ++n) {
        const uint64_t room = layout.audioEnd - layout.audioStart;
        Mp3TagPlace tag = FootedTagBefore(layout.audioEnd, room, readAt);
        if (tag.length == 0)
            tag = HeadedTagBefore(layout.audioEnd, room, readAt);
        if (tag.length == 0)
            return;
        layout.tags.push_back(tag);
        layout.audioEnd = tag.offset;
    }
}

} // namespace

Mp3Layout FindMp3Layout(uint64_t fileSize, const ReadAtFn& readAt) {
    Mp3Layout layout;
    SkipFrontTags(fileSize, readAt, layout);
    layout.audioEnd = fileSize;
    SkipEndTags(readAt, layout);
    return layout;
}

uint64_t TrailingTagsStart(uint64_t fileSize, const ReadAtFn& readAt) {
    Mp3Layout layout;
    layout.audioEnd = fileSize;
    SkipEndTags(readAt, layout);
    return layout.audioEnd;
}

} // namespace wm::codec
