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
