// What a file really is, from its first bytes, as the information line of a misnamed file says.
#include "plugins/ContentKind.h"

#include <gtest/gtest.h>

#include <string>

namespace wm {
namespace {

FileKind KindOf(const std::string& bytes) {
    return ContentKind(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
}

String Kind(const std::string& bytes) {
    return KindOf(bytes).name;
}

TEST(ContentKind, NamesTheKindsMisnamedFilesAre) {
    EXPECT_EQ(Kind("fLaC\0\0\0\x22"), u"a FLAC file");
    EXPECT_EQ(Kind(std::string("RIFF\x24\0\0\0WAVEfmt ", 16)), u"a WAV file");
    EXPECT_EQ(Kind(std::string("\0\0\0\x20"
                               "ftypM4A ",
                               12)),
              u"an MP4 (M4A) file");
    EXPECT_EQ(Kind("\xFF\xF1\x50\x80\x02\x1F\xFC"), u"an AAC (ADTS) file");
    EXPECT_EQ(Kind("\xFF\xFB\x90\x64"), u"an MP3 file");
    EXPECT_EQ(Kind("OggS\0\x02"), u"an Ogg file");
    // An MP3 behind an ID3v2 tag of 5 bytes (and a footer flag adding 10 more).
    EXPECT_EQ(Kind(std::string("ID3\x04\0\0\0\0\0\x05", 10) + "xxxxx\xFF\xFB\x90\x64"),
              u"an MP3 file");
    EXPECT_EQ(Kind(std::string("ID3\x04\0\x10\0\0\0\x05", 10) + std::string(15, 'x') + "fLaC"),
              u"a FLAC file");
}

TEST(ContentKind, KnowsTheExtensionsOfEachKind) {
    const FileKind flac = KindOf("fLaC\0\0\0\x22");
    EXPECT_TRUE(flac.Fits(u".FLAC"));
    EXPECT_TRUE(flac.Fits(u".fla"));
    EXPECT_FALSE(flac.Fits(u".wav"));
    EXPECT_FALSE(flac.Fits(u".fl"));
    const FileKind adts = KindOf("\xFF\xF1\x50\x80\x02\x1F\xFC");
    EXPECT_TRUE(adts.Fits(u".aac"));
    EXPECT_FALSE(adts.Fits(u".mp3"));
    EXPECT_TRUE(KindOf(std::string("\0\0\0\x20"
                                   "ftypM4A ",
                                   12))
                    .Fits(u".m4a"));
    EXPECT_FALSE(KindOf("plain text").Known());
    EXPECT_FALSE(KindOf("plain text").Fits(u""));
}

TEST(ContentKind, LeavesUnknownAndShortBytesUnnamed) {
    EXPECT_EQ(Kind("plain text, not audio"), u"");
    EXPECT_EQ(Kind("\xFF\xFF\xFF\xFF"), u""); // sync, but no valid layer or rate
    EXPECT_EQ(Kind("fLa"), u"");
    EXPECT_EQ(Kind(std::string("ID3\x04\0\0\x7F\x7F\x7F\x7F", 10)), u""); // tag past the bytes
    EXPECT_EQ(Kind(""), u"");
}

} // namespace
} // namespace wm
