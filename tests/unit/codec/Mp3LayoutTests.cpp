// The audio between an MP3 file's tags, for the layouts taggers write, and the guard that ends
// a decoder's read loop when its library stops moving.
#include "bundled/codec/Mp3Layout.h"
#include "bundled/codec/ReadProgress.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

using namespace wm;
using codec::Mp3TagKind;

namespace {

using Bytes = std::vector<uint8_t>;

Bytes Syncsafe(uint32_t v) {
    return {uint8_t(v >> 21 & 0x7F), uint8_t(v >> 14 & 0x7F), uint8_t(v >> 7 & 0x7F),
            uint8_t(v & 0x7F)};
}

// An ID3v2 tag of `body` bytes (zeros stand in for frames); version 4 gets a footer.
Bytes Id3v2(uint8_t version, uint32_t body) {
    Bytes tag = {'I', 'D', '3', version, 0, uint8_t(version == 4 ? 0x10 : 0)};
    const Bytes size = Syncsafe(body);
    tag.insert(tag.end(), size.begin(), size.end());
    tag.resize(tag.size() + body, 0);
    if (version == 4) {
        tag.insert(tag.end(), {'3', 'D', 'I', 4, 0, 0x10});
        tag.insert(tag.end(), size.begin(), size.end());
    }
    return tag;
}

Bytes Id3v1() {
    Bytes tag(128, ' ');
    std::memcpy(tag.data(), "TAG", 3);
    return tag;
}

// An APE tag with a header and `items` bytes of items.
Bytes Ape(uint32_t items) {
    auto part = [items](bool header) {
        Bytes p = {'A', 'P', 'E', 'T', 'A', 'G', 'E', 'X', 0xD0, 7, 0, 0};
        const uint32_t size = items + 32, flags = header ? 0xA0000000u : 0x80000000u;
        for (int i = 0; i < 4; ++i)
            p.push_back(uint8_t(size >> 8 * i));
        p.insert(p.end(), {0, 0, 0, 0});
        for (int i = 0; i < 4; ++i)
            p.push_back(uint8_t(flags >> 8 * i));
        p.resize(32, 0);
        return p;
    };
    Bytes tag = part(true);
    tag.resize(32 + items, 'x');
    const Bytes footer = part(false);
    tag.insert(tag.end(), footer.begin(), footer.end());
    return tag;
}

// Frame-like bytes that hold none of the tags' magic words.
Bytes Audio(size_t n) {
    Bytes a(n);
    for (size_t i = 0; i < n; ++i)
        a[i] = i % 417 == 0 ? 0xFF : uint8_t(0x55 + i % 7);
    return a;
}

codec::Mp3Layout Layout(const Bytes& file) {
    return codec::FindMp3Layout(file.size(), [&file](uint64_t at, uint8_t* to, size_t n) {
        const size_t got = at < file.size() ? std::min<size_t>(n, file.size() - at) : 0;
        std::memcpy(to, file.data() + at, got);
        return got;
    });
}

Bytes Join(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes& p : parts)
        all.insert(all.end(), p.begin(), p.end());
    return all;
}

std::string Kinds(const codec::Mp3Layout& layout) {
    std::string s;
    for (const codec::Mp3TagPlace& t : layout.tags)
        s += t.kind == Mp3TagKind::Id3v2 ? "2" : t.kind == Mp3TagKind::Id3v1 ? "1" : "A";
    return s;
}

} // namespace

TEST(Mp3Layout, AudioBetweenEveryStackOfTags) {
    const Bytes audio = Audio(5000);
    const struct {
        const char* name;
        Bytes front, back;
        const char* kinds; // the tags found: front first, then the end's from the outside in
    } cases[] = {
        {"no tags", {}, {}, ""},
        {"one ID3v2 in front", Id3v2(3, 40), {}, "2"},
        {"two ID3v2 tags in front", Join({Id3v2(3, 40), Id3v2(4, 25)}), {}, "22"},
        {"ID3v2.3 at the end", {}, Id3v2(3, 30), "2"},
        {"ID3v2.4 with a footer at the end", {}, Id3v2(4, 30), "2"},
        {"ID3v2 then APE", {}, Join({Id3v2(3, 30), Ape(20)}), "A2"},
        {"APE then ID3v2.4", {}, Join({Ape(20), Id3v2(4, 30)}), "2A"},
        {"APE then ID3v2.3", {}, Join({Ape(20), Id3v2(3, 30)}), "2A"},
        {"ID3v2 then ID3v1", Id3v2(3, 10), Join({Id3v2(3, 30), Id3v1()}), "212"},
        {"ID3v1 then ID3v2.4", {}, Join({Id3v1(), Id3v2(4, 30)}), "21"},
        {"APE and ID3v1", {}, Join({Ape(0), Id3v1()}), "1A"},
    };
    for (const auto& c : cases) {
        const codec::Mp3Layout layout = Layout(Join({c.front, audio, c.back}));
        EXPECT_EQ(layout.audioStart, c.front.size()) << c.name;
        EXPECT_EQ(layout.audioEnd, c.front.size() + audio.size()) << c.name;
        EXPECT_EQ(Kinds(layout), c.kinds) << c.name;
    }
}

TEST(Mp3Layout, TagsClaimingTooMuchStayInTheFile) {
    // A front tag longer than the file leaves no audio; an end tag whose length does not reach
    // the end exactly, or an APE footer longer than the file, is audio as far as anyone knows.
    Bytes cut = Id3v2(3, 4000);
    cut.resize(100);
    const codec::Mp3Layout none = Layout(cut);
    EXPECT_EQ(none.audioStart, 100u);
    EXPECT_EQ(none.audioEnd, 100u);

    Bytes shortEnd = Join({Audio(900), Id3v2(3, 30), Bytes{1, 2}});
    EXPECT_EQ(Layout(shortEnd).audioEnd, shortEnd.size());
    Bytes longApe = Join({Audio(50), Ape(100)});
    longApe.erase(longApe.begin(), longApe.begin() + 100); // the footer now claims too much
    EXPECT_EQ(Layout(longApe).audioEnd, longApe.size());
}

TEST(Mp3Layout, TrailingTagsAreCounted) {
    Bytes file = Audio(3000);
    for (size_t i = 0; i < codec::kMaxTrailingTags + 2; ++i) {
        const Bytes tag = Id3v1();
        file.insert(file.end(), tag.begin(), tag.end());
    }
    const codec::Mp3Layout layout = Layout(file);
    EXPECT_EQ(layout.tags.size(), codec::kMaxTrailingTags);
    EXPECT_EQ(layout.audioEnd, file.size() - 128 * codec::kMaxTrailingTags);
}

TEST(ReadProgress, StopsOnlyARunOfIdleCalls) {
    codec::ReadProgress progress;
    unsigned calls = 0;
    // Idle calls up to the limit, broken by input once and by output once, then stuck.
    while (calls < 5 * codec::ReadProgress::kIdleLimit) {
        ++calls;
        const uint64_t input = calls > 500 ? 10 : 0, output = calls > 1200 ? 7 : 0;
        if (!progress.Moved(input, output))
            break;
    }
    EXPECT_EQ(calls, 1201 + codec::ReadProgress::kIdleLimit);
    // Reading again what was read before is no progress; after a seek it is.
    EXPECT_FALSE(progress.Moved(5, 7));
    progress.Reset();
    EXPECT_TRUE(progress.Moved(5, 7));
}
