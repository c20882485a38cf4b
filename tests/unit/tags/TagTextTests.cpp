#include "tags/TagText.h"

#include <gtest/gtest.h>

namespace wm {
namespace {

TEST(TagTextTest, FreeTextTags) {
    for (const char16_t* name :
         {u"Unsynced Lyrics", u"MYLYRICSTAG", u"original release year", u"CueSheet", u"eaclog"})
        EXPECT_TRUE(IsFreeTextTag(name)) << Narrow(name);
    for (const char16_t* name : {u"titles", u"lyric", u"cue sheet"})
        EXPECT_FALSE(IsFreeTextTag(name)) << Narrow(name);
}

TEST(TagTextTest, CleanTagValueLeavesNoControlCharacters) {
    auto cleaned = [](const char16_t* name, String value) {
        CleanTagValue(name, value);
        return Narrow(value);
    };
    // A one-line text: line breaks become spaces.
    EXPECT_EQ(cleaned(u"title", u"Title1\rTitle2\x01\tend\x7F"), "Title1 Title2 end");
    // Multi-line text keeps its line breaks as found.
    EXPECT_EQ(cleaned(u"Comment", u"line one\r\nline two\x1B"), "line one\r\nline two");
    EXPECT_EQ(cleaned(u"UNSYNCED LYRICS", u"a\nb"), "a\nb");
    // Elsewhere a line break separates values: one CR each, no empty values.
    EXPECT_EQ(cleaned(u"artist", u"\r\nA\r\n\r\nB\nC\r"), "A\rB\rC");
    EXPECT_EQ(cleaned(u"genre", String(u"a\0\x02"
                                       u"b",
                                       4)),
              "ab");
    EXPECT_EQ(cleaned(u"genre", u"\x02\r"), "");
    EXPECT_EQ(cleaned(u"artist", u"Tëst\u3000ok"), "Tëst\u3000ok");
}

TEST(TagTextTest, DropTagSpaces) {
    auto dropped = [](String value) {
        DropTagSpaces(value);
        return value;
    };
    EXPECT_EQ(dropped(u"\u3000\u3000\u3000"), u"");
    EXPECT_EQ(dropped(u"\u00A0 a\u2002\u2003b \u205F\u202F"), u"a  b");
    EXPECT_EQ(dropped(u"\ta\u200B "), u"\ta\u200B"); // tabs and zero-width spaces stay
}

} // namespace
} // namespace wm
