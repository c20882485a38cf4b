#include "text/NumberText.h"

#include <gtest/gtest.h>

namespace wm {
namespace {

TEST(NumberTextTest, LocaliseGroupsAndSigns) {
    LocaleNumberSettings s = LocaleFromValues(u"", u"0", u"3;0", u"", u"", u",", u"", u"");
    EXPECT_EQ(LocaliseNumber(u"1234567.891", s), u"1,234,567.891");
    EXPECT_EQ(LocaliseNumber(u"-1234", s), u"(1,234)");
    s.negativeSign = u"~";
    s.negativePattern = 4;
    EXPECT_EQ(LocaliseNumber(u"-5", s), u"5 ~");

    s = LocaleFromValues(u"", u"", u"3;2;0", u"", u"+", u".", u",", u"");
    EXPECT_TRUE(s.indianGrouping);
    EXPECT_EQ(LocaliseNumber(u"12345678.5", s), u"+1.23.45.678,5");
}

TEST(NumberTextTest, ByteSizesAndDurations) {
    EXPECT_EQ(ByteSizeText(1), u"1 byte");
    EXPECT_EQ(ByteSizeText(1023), u"1023 bytes");
    EXPECT_EQ(ByteSizeText(1024), u"1 KB");
    EXPECT_EQ(ByteSizeText(1050), u"2 KB");
    EXPECT_EQ(ByteSizeText(1572864), u"1.50 MB");

    EXPECT_EQ(DurationText(3723000, 0), u"1 hour 2 minutes"); // seconds dropped with hours
    EXPECT_EQ(DurationText(1500, 0), u"1.5 seconds");
    EXPECT_EQ(DurationText(250, 4), u"0");
    EXPECT_EQ(DurationText(3723004, 3), u"01:02:03.004");
}

LocaleNumberSettings CommaLocale() {
    LocaleNumberSettings s;
    s.thousand = u",";
    return s;
}
TEST(NumberTextTest, KilobytesAreGrouped) {
    SetLocaleLoader(&CommaLocale);
    EXPECT_EQ(ByteSizeText(1048575), u"1,024 KB");
    SetLocaleLoader(nullptr);
}
TEST(NumberTextTest, EmptyItemsSurvivePacking) {
    const StringList items = {u"a", u"", u"b"};
    EXPECT_EQ(UnpackMultiString(PackMultiString(items)), items);
}
TEST(NumberTextTest, SixDigitsGetOneSeparator) {
    LocaleNumberSettings s = LocaleFromValues(u"", u"0", u"3;0", u"", u"", u",", u"", u"");
    EXPECT_EQ(LocaliseNumber(u"123456", s), u"123,456");
}
} // namespace
} // namespace wm
