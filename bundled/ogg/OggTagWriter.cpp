#include "bundled/ogg/OggTagWriter.h"

#include "bundled/win/FrontRewrite.h"

#include <ogg/ogg.h>

#include <cstring>
#include <string>
#include <vector>

namespace wm::bundled {

namespace {

using Bytes = std::vector<uint8_t>;

struct PageAt {
    uint64_t offset = 0;
    size_t headerLength = 0, bodyLength = 0;
    uint32_t serial = 0;
};

uint32_t Little32(const uint8_t* p) {
    return p[0] | p[1] << 8 | p[2] << 16 | uint32_t{p[3]} << 24;
}

void PutLittle32(Bytes& out, uint32_t v) {
    for (int i = 0; i < 4; ++i)
        out.push_back(static_cast<uint8_t>(v >> (8 * i)));
}

void PutText(Bytes& out, const std::string& text) {
    PutLittle32(out, static_cast<uint32_t>(text.size()));
    out.insert(out.end(), text.begin(), text.end());
}

// The page at `at` of `file` (bytes in memory); false when none starts there.
bool PageAtOffset(const Bytes& file, uint64_t at, PageAt& page) {
    if (at + 27 > file.size() || std::memcmp(&file[at], "OggS", 4) != 0)
        return false;
    const size_t segments = file[at + 26];
    if (at + 27 + segments > file.size())
        return false;
    page.offset = at;
    page.headerLength = 27 + segments;
    page.bodyLength = 0;
    for (size_t i = 0; i < segments; ++i)
        page.bodyLength += file[at + 27 + i];
    page.serial = Little32(&file[at + 14]);
    return at + page.headerLength + page.bodyLength <= file.size();
}

ogg_page View(Bytes& file, const PageAt& p) {
    ogg_page page{};
    page.header = &file[p.offset];
    page.header_len = static_cast<long>(p.headerLength);
    page.body = &file[p.offset + p.headerLength];
    page.body_len = static_cast<long>(p.bodyLength);
    return page;
}

struct Headers {
    std::vector<Bytes> packets;
    uint64_t end = 0; // where the first page after the headers begins
    size_t pages = 0;
    uint32_t serial = 0;
};

// The codec's header packets (Opus 2, Vorbis 3) of the file's first stream.
bool ReadHeaders(Bytes& file, size_t wanted, Headers& headers, String& why) {
    PageAt page;
    if (!PageAtOffset(file, 0, page)) {
        why = u"the file is not Ogg";
        return false;
    }
    headers.serial = page.serial;
    ogg_stream_state stream;
    ogg_stream_init(&stream, static_cast<int>(headers.serial));
    for (uint64_t at = 0; headers.packets.size() < wanted;
         at = page.offset + page.headerLength + page.bodyLength) {
        if (!PageAtOffset(file, at, page) || page.serial != headers.serial) {
            why = u"the header pages are damaged or interleaved with another stream";
            break;
        }
        ogg_page view = View(file, page);
        ogg_stream_pagein(&stream, &view);
        ++headers.pages;
        ogg_packet packet;
        while (headers.packets.size() < wanted && ogg_stream_packetout(&stream, &packet) == 1)
            headers.packets.emplace_back(packet.packet, packet.packet + packet.bytes);
        headers.end = page.offset + page.headerLength + page.bodyLength;
    }
    ogg_stream_clear(&stream);
    return headers.packets.size() == wanted;
}

// The comment packet with the tags, the old packet's vendor string kept.
bool CommentPacket(const Bytes& old, const wav::WaveTags& tags, codec::OggCodec codec, Bytes& out) {
    const bool opus = codec == codec::OggCodec::Opus;
    const std::string magic = opus ? std::string("OpusTags") : std::string("\x03vorbis", 7);
    if (old.size() < magic.size() + 4 || std::memcmp(old.data(), magic.data(), magic.size()) != 0)
        return false;
    const uint32_t vendorLength = Little32(&old[magic.size()]);
    if (vendorLength > old.size() - magic.size() - 4)
        return false;
    out.assign(magic.begin(), magic.end());
    PutText(out, std::string(old.begin() + static_cast<long>(magic.size()) + 4,
                             old.begin() + static_cast<long>(magic.size() + 4 + vendorLength)));
    const std::vector<std::string> comments = codec::MakeOggComments(tags, codec);
    PutLittle32(out, static_cast<uint32_t>(comments.size()));
    for (const std::string& c : comments)
        PutText(out, c);
    if (!opus)
        out.push_back(1); // Vorbis's framing bit
    return true;
}

// The header packets paged as the encoders page them: the first alone, the rest flushed after
// the last; appends the pages and returns their count.
size_t PageHeaders(const std::vector<Bytes>& packets, uint32_t serial, Bytes& out) {
    ogg_stream_state stream;
    ogg_stream_init(&stream, static_cast<int>(serial));
    size_t pages = 0;
    for (size_t i = 0; i < packets.size(); ++i) {
        ogg_packet packet{};
        packet.packet = const_cast<unsigned char*>(packets[i].data());
        packet.bytes = static_cast<long>(packets[i].size());
        packet.b_o_s = i == 0;
        packet.packetno = static_cast<ogg_int64_t>(i);
        ogg_stream_packetin(&stream, &packet);
        if (i != 0 && i + 1 != packets.size())
            continue;
        ogg_page page;
        while (ogg_stream_flush(&stream, &page) != 0) {
            out.insert(out.end(), page.header, page.header + page.header_len);
            out.insert(out.end(), page.body, page.body + page.body_len);
            ++pages;
        }
    }
    ogg_stream_clear(&stream);
    return pages;
}

// The stream's later pages moved by `shift` in sequence number, their checksums made again.
bool Renumber(Bytes& file, uint64_t from, uint32_t serial, long shift) {
    PageAt page;
    for (uint64_t at = from; at < file.size();
         at = page.offset + page.headerLength + page.bodyLength) {
        if (!PageAtOffset(file, at, page))
            return false;
        if (page.serial != serial)
            continue;
        const uint32_t sequence = Little32(&file[at + 18]) + static_cast<uint32_t>(shift);
        for (int i = 0; i < 4; ++i)
            file[at + 18 + i] = static_cast<uint8_t>(sequence >> (8 * i));
        ogg_page view = View(file, page);
        ogg_page_checksum_set(&view);
    }
    return true;
}

} // namespace

String WriteOggTags(const char16_t* path, const wav::WaveTags& tags, codec::OggCodec codec) {
    Win32File file;
    if (!file.OpenForUpdate(path))
        return u"the file cannot be opened for writing";
    Bytes bytes(static_cast<size_t>(file.Size()));
    if (file.ReadAt(0, bytes.data(), bytes.size()) != bytes.size())
        return u"the file cannot be read";
    Headers headers;
    String why;
    if (!ReadHeaders(bytes, codec == codec::OggCodec::Opus ? 2 : 3, headers, why))
        return why.empty() ? u"the file ends inside its headers" : why;
    Bytes comment;
    if (!CommentPacket(headers.packets[1], tags, codec, comment))
        return u"its comment header is damaged";
    headers.packets[1] = std::move(comment);
    Bytes front;
    const size_t pages = PageHeaders(headers.packets, headers.serial, front);
    if (pages == headers.pages)
        return ReplaceFront(path, file, front, headers.end);
    // Other page numbers from here on: the whole file is written again.
    if (!Renumber(bytes, headers.end, headers.serial,
                  static_cast<long>(pages) - static_cast<long>(headers.pages)))
        return u"its pages are damaged";
    front.insert(front.end(), bytes.begin() + static_cast<long>(headers.end), bytes.end());
    return ReplaceFront(path, file, front, bytes.size());
}

} // namespace wm::bundled
