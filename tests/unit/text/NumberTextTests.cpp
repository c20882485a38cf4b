#include "text/NumberText.h"

#include <gtest/gtest.h>

namespace wm {
namespace {

// The settings the process-wide loader hands out for the current test.
LocaleNumberSettings g_locale;
LocaleNumberSettings TestLoader() {
    return g_locale;
}

class LocaleTest : public ::testing::Test {
  protected:
    void Use(const LocaleNumberSettings& s) {
        g_locale = s;
        SetLocaleLoader(&TestLoader);
    }
    void TearDown() override { SetLocaleLoader(nullptr); }
    static LocaleNumberSettings Comma() {
        LocaleNumberSettings s;
        s.thousand = u",";
        return s;
    }
};

TEST(NumberTextTest, LocaliseGroupsAndSigns) {
    LocaleNumberSettings s = LocaleFromValues(u"", u"0", u"3;0", u"", u"", u",", u"", u"");
    EXPECT_EQ(LocaliseNumber(u"1234567.891", s), u"1,234,567.891");
    EXPECT_EQ(LocaliseNumber(u"-1234", s), u"(1,234)");
    s.negativePattern = 1;
    EXPECT_EQ(LocaliseNumber(u"-123456", s), u"-123,456"); // no separator after the sign
    s.negativeSign = u"~";
    s.negativePattern = 4;
    EXPECT_EQ(LocaliseNumber(u"-5", s), u"5 ~");

    s = LocaleFromValues(u"", u"", u"3;2;0", u"", u"+", u".", u",", u"");
    EXPECT_TRUE(s.indianGrouping);
    EXPECT_EQ(LocaliseNumber(u"12345678.5", s), u"+1.23.45.678,5");
}

TEST_F(LocaleTest, LoaderSuppliesSettingsOnce) {
    EXPECT_EQ(FormatGrouped(1234567), u"1234567"); // no loader: no thousands separator
    LocaleNumberSettings s = Comma();
    s.indianGrouping = true;
    Use(s);
    EXPECT_EQ(FormatGrouped(12345678), u"1,23,45,678");
    g_locale.thousand = u"'";
    EXPECT_EQ(FormatGrouped(1000), u"1,000"); // held until reloaded
    ReloadLocaleForTests();
    EXPECT_EQ(FormatGrouped(1000), u"1'000");
    EXPECT_EQ(FloatToText(-0.001, 1), u"0.0"); // no "-0.0"
}

TEST_F(LocaleTest, ByteSizes) {
    Use(Comma());
    EXPECT_EQ(ByteSizeText(1), u"1 byte");
    EXPECT_EQ(ByteSizeText(1023), u"1023 bytes");
    EXPECT_EQ(ByteSizeText(1024), u"1 KB");
    EXPECT_EQ(ByteSizeText(1050), u"2 KB");
    EXPECT_EQ(ByteSizeText(1048575), u"1,024 KB");
    EXPECT_EQ(ByteSizeText(1572864), u"1.50 MB");
    EXPECT_EQ(ByteSizeText(UINT64_MAX), u"16,777,216.00 TB");
    EXPECT_EQ(ByteSizeText(1, true), u"0 KB");
    EXPECT_EQ(ByteSizeText(1023, true), u"1 KB");
}

TEST_F(LocaleTest, Durations) {
    EXPECT_EQ(DurationText(3723000, 0), u"1 hour 2 minutes"); // seconds dropped with hours
    EXPECT_EQ(DurationText(61000, 0), u"1 minute 1 second");
    EXPECT_EQ(DurationText(1500, 0), u"1.5 seconds");
    EXPECT_EQ(DurationText(250, 0), u"250 mili-seconds");
    EXPECT_EQ(DurationText(250, 4), u"0");
    EXPECT_EQ(DurationText(3723004, 3), u"01:02:03.004");
    EXPECT_EQ(DurationText(65000, 1), u"1:05");
    EXPECT_EQ(DurationText(360000000, 2), u"100:00:00");
    LocaleNumberSettings s;
    s.time = u".";
    s.decimal = u",";
    Use(s);
    EXPECT_EQ(DurationText(3723004, 3), u"01.02.03,004");
    EXPECT_EQ(DurationText(1500, 0), u"1,5 seconds");
}

TEST(NumberTextTest, MultiStringKeepsEmptyItems) {
    const StringList items = {u"a", u"", u"bc"};
    const std::u16string packed = PackMultiString(items);
    EXPECT_EQ(packed, std::u16string(u"a\0[Empty]\0bc\0\0", 14));
    EXPECT_EQ(UnpackMultiString(packed), items);
    EXPECT_EQ(UnpackMultiString(std::u16string(u"x\0\0y\0", 5)), StringList{u"x"});
}

} // namespace
} // namespace wm
