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
