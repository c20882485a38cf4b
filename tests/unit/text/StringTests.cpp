#include "text/String.h"

#include <gtest/gtest.h>

namespace wm {
namespace {

TEST(StringTest, Utf8RoundTripsAndInvalidBytesBecomeReplacements) {
    // ASCII, Latin-1, CJK and a character outside the BMP (a surrogate pair).
    const std::string text = "a\xC3\xA9\xE6\x97\xA5\xF0\x9F\x8E\xB5";
    EXPECT_EQ(Widen(text), String(u"a\u00E9\u65E5\U0001F3B5"));
    EXPECT_EQ(Narrow(Widen(text)), text);

    EXPECT_EQ(Widen("\xC0\xAF"), u"\uFFFD\uFFFD"); // overlong "/"
    EXPECT_EQ(Widen("\xE6"
                    "A"),
              u"\uFFFDA"); // a lead byte does not swallow the next character
    EXPECT_EQ(Narrow(String(1, char16_t(0xD800)) + u"x"), "\xEF\xBF\xBDx"); // lone surrogate
}

TEST(StringTest, CaseBlindHelpers) {
    EXPECT_TRUE(EqualsNoCase(u"\u00C9T\u00C9", u"\u00E9t\u00E9"));
    EXPECT_FALSE(EqualsNoCase(u"\u00D7", u"\u00F7")); // multiplication/division signs differ
    EXPECT_EQ(FindNoCase(u"one TWO two", u"two"), 4u);
}

TEST(StringTest, AnEncodedSurrogateIsThreeReplacements) {
    EXPECT_EQ(Widen("\xED\xA0\x80"), u"\uFFFD\uFFFD\uFFFD");
}
} // namespace
} // namespace wm
