#include "text/String.h"

#include <gtest/gtest.h>

namespace wm {
namespace {

TEST(StringTest, Utf8RoundTripsThroughUtf16) {
    // ASCII, Latin-1, CJK and a character outside the BMP (a surrogate pair).
    const std::string text = "a\xC3\xA9\xE6\x97\xA5\xF0\x9F\x8E\xB5";
    const String wide = Widen(text);
    EXPECT_EQ(wide, String(u"a\u00E9\u65E5\U0001F3B5"));
    EXPECT_EQ(wide.size(), 5u);
    EXPECT_EQ(Narrow(wide), text);
}

TEST(StringTest, InvalidUtf8BecomesReplacementCharacters) {
    EXPECT_EQ(Widen("a\xFF"
                    "b"),
              u"a\uFFFDb");
    EXPECT_EQ(Widen("\xC0\xAF"), u"\uFFFD\uFFFD");           // overlong "/"
    EXPECT_EQ(Widen("\xED\xA0\x80"), u"\uFFFD\uFFFD\uFFFD"); // encoded surrogate
    EXPECT_EQ(Widen("\xE6\x97"), u"\uFFFD\uFFFD");           // cut short at the end
    EXPECT_EQ(Widen("\xE6"
                    "A"),
              u"\uFFFDA"); // a lead byte does not swallow the next character
    // A lone surrogate cannot be written as UTF-8.
    EXPECT_EQ(Narrow(String(1, char16_t(0xD800)) + u"x"), "\xEF\xBF\xBDx");
}

TEST(StringTest, CaseBlindHelpers) {
    EXPECT_TRUE(EqualsNoCase(u"Decoder.DLL", u"decoder.dll"));
    EXPECT_TRUE(EqualsNoCase(u"\u00C9T\u00C9", u"\u00E9t\u00E9"));
    EXPECT_FALSE(EqualsNoCase(u"\u00D7", u"\u00F7")); // multiplication/division signs differ
    EXPECT_FALSE(EqualsNoCase(u"abc", u"abcd"));
    EXPECT_LT(CompareNoCase(u"abc", u"ABD"), 0);
    EXPECT_GT(CompareNoCase(u"abcd", u"ABC"), 0);
    EXPECT_EQ(CompareNoCase(u"MiXeD", u"mixed"), 0);
    EXPECT_TRUE(StartsWithNoCase(u"-Convert_To=mp3", u"-convert_to"));
    EXPECT_FALSE(StartsWithNoCase(u"-conv", u"-convert_to"));
    EXPECT_TRUE(EndsWithNoCase(u"song.FLAC", u".flac"));
    EXPECT_FALSE(EndsWithNoCase(u"ac", u".flac"));
    EXPECT_EQ(FindNoCase(u"one TWO two", u"two"), 4u);
    EXPECT_EQ(FindNoCase(u"abc", u"x"), StringView::npos);
}

TEST(StringTest, ReplaceAllDoesNotRescanReplacement) {
    String s = u"{qt}a{qt}";
    ReplaceAll(s, u"{qt}", u"\"");
    EXPECT_EQ(s, u"\"a\"");
    String t = u"aaa";
    ReplaceAll(t, u"a", u"aa");
    EXPECT_EQ(t, u"aaaaaa");
}

} // namespace
} // namespace wm
