#include "process/Registry.h"
#include "text/NumberText.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <tuple>

using namespace wm;

namespace {

// Every case works below its own key, removed afterwards.
class RegistryTest : public ::testing::Test {
  protected:
    void SetUp() override {
        name_ = u"WavemillTests" + Widen(std::to_string(::GetCurrentProcessId()));
        root_ = u"Software\\Brightfold\\" + name_;
        RegSetDefaultLocation(HKEY_CURRENT_USER, root_);
    }
    void TearDown() override {
        RegDeleteKeyTree(name_, HKEY_CURRENT_USER, u"Software\\Brightfold");
        RegSetDefaultLocation(HKEY_CURRENT_USER, kSettingsRoot);
        EXPECT_FALSE(RegKeyExists(root_, HKEY_CURRENT_USER));
    }
    String Sub(const char16_t* suffix) const { return root_ + suffix; }

    String name_, root_;
};

} // namespace

TEST_F(RegistryTest, MismatchesMissingKeysAndTrees) {
    ASSERT_TRUE(RegWriteString(u"E", u"%SystemRoot%\\x", nullptr, nullptr, true));
    EXPECT_EQ(RegValueType(u"E"), static_cast<uint32_t>(REG_EXPAND_SZ));
    bool failed = true;
    EXPECT_EQ(RegReadString(u"E", nullptr, nullptr, &failed), u"%SystemRoot%\\x"); // unexpanded
    EXPECT_FALSE(failed);
    EXPECT_EQ(RegReadDword(u"E", nullptr, nullptr, &failed), 0u);
    EXPECT_TRUE(failed);

    String other = Sub(u"\\Deeper\\Key");
    EXPECT_EQ(RegReadDword(u"X", HKEY_CURRENT_USER, other.c_str()), 0u);
    EXPECT_TRUE(RegKeyExists(other, HKEY_CURRENT_USER));

    // Enumeration lists what is there, with each value's type.
    ASSERT_TRUE(RegWriteDword(u"D", 7));
    StringList names;
    std::vector<uint32_t> types;
    ASSERT_TRUE(RegEnumValues(names, &types));
    ASSERT_EQ(names.size(), types.size());
    std::map<String, uint32_t> typeOf; // the system does not promise an order
    for (size_t i = 0; i < names.size(); ++i)
        typeOf[names[i]] = types[i];
    EXPECT_EQ(typeOf, (std::map<String, uint32_t>{{u"D", REG_DWORD}, {u"E", REG_EXPAND_SZ}}));
    EXPECT_EQ(RegEnumSubKeys(), StringList{u"Deeper"});

    ASSERT_TRUE(RegWriteDword(u"v", 1, nullptr, Sub(u"\\Tree\\A\\B").c_str()));
    ASSERT_TRUE(RegWriteDword(u"v", 1, nullptr, Sub(u"\\Tree\\D").c_str()));
    RegDeleteKeyTree(u"Tree");
    EXPECT_FALSE(RegKeyExists(Sub(u"\\Tree"), HKEY_CURRENT_USER));
    EXPECT_TRUE(RegKeyExists(root_, HKEY_CURRENT_USER));
}

TEST_F(RegistryTest, FirstRunDefaultsOnlyWhileMarkerMissing) {
    String tagging = Sub(u"\\Tagging");
    HKEY cu = HKEY_CURRENT_USER;
    ApplyTaggingDefaults(root_);
    EXPECT_EQ(RegReadDword(u"Mp3TagDefault", cu, tagging.c_str()), 3u);
    EXPECT_EQ(RegReadDword(u"VrxProfFreqConversion", cu, root_.c_str()), 1u);

    RegWriteDword(u"VrxProfFreqConversion", 9, cu, root_.c_str());
    ApplyTaggingDefaults(root_); // the marker is there: nothing changes
    EXPECT_EQ(RegReadDword(u"VrxProfFreqConversion", cu, root_.c_str()), 9u);
}

TEST_F(RegistryTest, NumberTextFollowsTheRegistryLocale) {
    const char16_t* intl = u"Control Panel\\International";
    const char16_t* names[] = {u"sThousand", u"sDecimal", u"sGrouping", u"iNegNumber"};
    String saved[4];
    bool had[4];
    for (int i = 0; i < 4; ++i) {
        had[i] = RegValueExists(names[i], HKEY_CURRENT_USER, intl);
        saved[i] = RegReadString(names[i], HKEY_CURRENT_USER, intl);
    }
    auto load = [&](StringView thousand, StringView grouping) {
        RegWriteString(u"sThousand", thousand, HKEY_CURRENT_USER, intl);
        RegWriteString(u"sDecimal", u",", HKEY_CURRENT_USER, intl);
        RegWriteString(u"sGrouping", grouping, HKEY_CURRENT_USER, intl);
        RegWriteString(u"iNegNumber", u"0", HKEY_CURRENT_USER, intl);
        InstallRegistryLocaleLoader();
        return std::make_tuple(FormatGrouped(12345678), FormatGrouped(-1234),
                               DurationText(1500, 0));
    };
    auto western = load(u".", u"3;0");
    auto indian = load(u" ", u"3;2;0");
    for (int i = 0; i < 4; ++i) {
        if (had[i])
            RegWriteString(names[i], saved[i], HKEY_CURRENT_USER, intl);
        else
            RegDeleteValue(names[i], HKEY_CURRENT_USER, intl);
    }
    SetLocaleLoader(nullptr);
    EXPECT_EQ(std::get<0>(western), u"12.345.678");
    EXPECT_EQ(std::get<1>(western), u"(1.234)");
    EXPECT_EQ(std::get<2>(western), u"1,5 seconds");
    EXPECT_EQ(std::get<0>(indian), u"1 23 45 678");
}
