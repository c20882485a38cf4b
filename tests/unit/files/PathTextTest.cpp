#include "files/PathText.h"

#include <gtest/gtest.h>

using namespace wm;

namespace {

// A drive path of exactly n characters.
String PathOfLength(size_t n) {
    String p = u"C:\\";
    while (p.size() < n)
        p.push_back(u'x');
    return p;
}

} // namespace

TEST(LongPathForm, SwitchesAtTheLimit) {
    bool unusable = true;
    EXPECT_EQ(LongPathForm(PathOfLength(259), kOpenPathLimit, &unusable), PathOfLength(259));
    EXPECT_FALSE(unusable);
    EXPECT_EQ(LongPathForm(PathOfLength(260), kOpenPathLimit), u"\\\\?\\" + PathOfLength(260));
    EXPECT_EQ(LongPathForm(PathOfLength(247), kOtherPathLimit), PathOfLength(247));
    EXPECT_EQ(LongPathForm(PathOfLength(248), kOtherPathLimit), u"\\\\?\\" + PathOfLength(248));
    String slashed = u"C:/" + String(300, u'a') + u"/b";
    EXPECT_EQ(LongPathForm(slashed, kOpenPathLimit), u"\\\\?\\C:\\" + String(300, u'a') + u"\\b");
    LongPathForm(u"relative\\" + String(300, u'r'), kOpenPathLimit, &unusable);
    EXPECT_TRUE(unusable);
}

TEST(IsDeviceName, WindowsDevicesWithAnyExtensionButNotLookAlikes) {
    for (const char16_t* device :
         {u"D:\\x\\nul.raw", u"NUL", u"con.txt", u"C:\\aux", u"lpt1.mp3", u"COM9", u"prn .wav"})
        EXPECT_TRUE(IsDeviceName(device)) << Narrow(device);
    for (const char16_t* file : {u"D:\\nul\\a.raw", u"null.raw", u"com0.wav", u"lpt10", u"console",
                                 u"D:\\x\\anul.raw", u""})
        EXPECT_FALSE(IsDeviceName(file)) << Narrow(file);
}
