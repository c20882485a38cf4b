#include "tags/TagText.h"

#include <gtest/gtest.h>

namespace wm {
namespace {

TEST(TagTextTest, FreeTextTags) {
    for (const char16_t* name : {u"Lyrics", u"Unsynced Lyrics", u"MYLYRICSTAG", u"COMMENT",
                                 u"original release year", u"CueSheet", u"eaclog"})
        EXPECT_TRUE(IsFreeTextTag(name)) << Narrow(name);
    for (const char16_t* name : {u"artist", u"genre", u"titles", u"lyric", u"cue sheet"})
        EXPECT_FALSE(IsFreeTextTag(name)) << Narrow(name);
}

TEST(TagTextTest, EscapeFollowsTheTagKind) {
    auto escaped = [](StringView name, String value, bool toText, bool lineBreaks) {
        EscapeTagValue(name, value, toText, lineBreaks);
        return value;
    };
    EXPECT_EQ(escaped(u"comment", u"a\r\nb", true, true), u"a{CR}{LF}b");
    EXPECT_EQ(escaped(u"comment", u"a\r\nb", true, false), u"a\r\nb");
    EXPECT_EQ(escaped(u"comment", u"a{CR}{LF}b; c", false, true), u"a\r\nb; c");
    EXPECT_EQ(escaped(u"comment", u"a{CR}b", false, false), u"a{CR}b");
    EXPECT_EQ(escaped(u"artist", u"A\rB\r", true, true), u"A; B; ");
    EXPECT_EQ(escaped(u"artist", u"A; B;C", false, false), u"A\rB;C");
    EXPECT_EQ(escaped(u"artist", u"{CR}", false, true), u"{CR}");
}

TEST(TagTextTest, DropTagSpaces) {
    auto dropped = [](String value) {
        DropTagSpaces(value);
        return value;
    };
    EXPECT_EQ(dropped(u"\u3000\u3000\u3000"), u"");
    EXPECT_EQ(dropped(u"\u00A0 a\u2002\u2003b \u205F\u202F"), u"a  b");
    EXPECT_EQ(dropped(u"\ta\u200B "), u"\ta\u200B"); // tabs and zero-width spaces stay
    EXPECT_EQ(dropped(u""), u"");
}

} // namespace
} // namespace wm
