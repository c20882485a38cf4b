#include "bundled/ogg/OggPages.h"

#include <ogg/ogg.h>

#include <cstring>
#include <string_view>

namespace wm::bundled {

namespace {

// More than the largest page (65307 bytes), so that the last one lies whole in it.
constexpr size_t kTailBytes = 128 * 1024;
constexpr size_t kHeadBytes = 64 * 1024;

class OggSync {
  public:
    OggSync() { ogg_sync_init(&sync_); }
    ~OggSync() { ogg_sync_clear(&sync_); }
    OggSync(const OggSync&) = delete;
    OggSync& operator=(const OggSync&) = delete;

    // Reads [offset, offset + length) of the file into the sync buffer.
    bool Feed(wav::ByteSource& file, uint64_t offset, size_t length) {
        char* buffer = ogg_sync_buffer(&sync_, static_cast<long>(length));
        if (!buffer)
            return false;
        const size_t got = file.Read(offset, buffer, length);
        ogg_sync_wrote(&sync_, static_cast<long>(got));
        return got > 0;
    }
    // The next whole page with a good CRC; false at the end of the bytes.
    bool NextPage(ogg_page& page) {
        for (;;) {
            const long n = ogg_sync_pageseek(&sync_, &page);
            if (n > 0)
                return true;
            if (n == 0)
                return false;
        }
    }
    // Whether the bytes after the last whole page are the start of a page cut off (rather than
    // something a tagger appended, such as an ID3v1 tag).
    bool EndsInPartPage() const {
        const size_t left = static_cast<size_t>(sync_.fill - sync_.returned);
        // A page cut within its first four bytes leaves the page before it without the flag
        // that ends the stream, which the caller checks as well.
        return left >= 4 && std::memcmp(sync_.data + sync_.returned, "OggS", 4) == 0;
    }

  private:
    ogg_sync_state sync_;
};

bool StartsWith(const ogg_page& page, std::string_view magic) {
    return static_cast<size_t>(page.body_len) >= magic.size() &&
           std::memcmp(page.body, magic.data(), magic.size()) == 0;
}

} // namespace

std::vector<String> OggStreamKinds(wav::ByteSource& file) {
    OggSync sync;
    ogg_page page;
    uint8_t capture[4] = {};
    std::vector<String> kinds;
    if (file.Read(0, capture, 4) != 4 || std::memcmp(capture, "OggS", 4) != 0 ||
        !sync.Feed(file, 0, kHeadBytes))
        return kinds;
    static const struct {
        std::string_view magic;
        const char16_t* name;
    } kKinds[] = {{std::string_view("\x01vorbis", 7), u"Vorbis"},
                  {"OpusHead", u"Opus"},
                  {"\x7F"
                   "FLAC",
                   u"FLAC"},
                  {"\x80theora", u"Theora"},
                  {"Speex   ", u"Speex"}};
    // Every stream's first page comes before any other page of the file.
    while (sync.NextPage(page) && ogg_page_bos(&page)) {
        String kind = u"unknown";
        for (const auto& k : kKinds)
            if (StartsWith(page, k.magic))
                kind = k.name;
        kinds.push_back(kind);
    }
    if (kinds.empty())
        kinds.push_back(u"unknown");
    return kinds;
}

bool OggEndsWhole(wav::ByteSource& file) {
    const uint64_t size = file.Size();
    const uint64_t from = size > kTailBytes ? size - kTailBytes : 0;
    OggSync sync;
    if (!sync.Feed(file, from, static_cast<size_t>(size - from)))
        return false;
    ogg_page page;
    bool endsStream = false;
    while (sync.NextPage(page))
        endsStream = ogg_page_eos(&page) != 0;
    return endsStream && !sync.EndsInPartPage();
}

String NotOggOf(wav::ByteSource& file, const std::vector<String>& kinds, const char16_t* wanted) {
    if (kinds.empty())
        return file.Size() == 0 ? u"the file is empty" : u"not an Ogg file";
    if (kinds.size() == 1 && kinds[0] == u"unknown")
        return u"the Ogg stream holds neither Vorbis nor Opus";
    String held;
    for (const String& kind : kinds)
        held += (held.empty() ? u"" : u" and ") + kind;
    return u"the Ogg stream holds " + held + u", not " + wanted;
}

} // namespace wm::bundled
