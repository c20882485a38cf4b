#include "files/PathText.h"
#include "files/KnownFolderFallbacks.h"

#include <gtest/gtest.h>

#include <map>

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
}

TEST(LongPathForm, LeavesUncAndPrefixedPathsAndReportsUnusableOnes) {
    String unc = u"\\\\server\\share\\" + String(400, u'a');
    String prefixed = u"\\\\?\\" + PathOfLength(400);
    bool unusable = true;
    EXPECT_EQ(LongPathForm(unc, kOtherPathLimit, &unusable), unc);
    EXPECT_FALSE(unusable);
    EXPECT_EQ(LongPathForm(prefixed, kOpenPathLimit), prefixed);

    LongPathForm(u"relative\\" + String(300, u'r'), kOpenPathLimit, &unusable);
    EXPECT_TRUE(unusable);
    LongPathForm(u"relative\\short", kOpenPathLimit, &unusable);
    EXPECT_FALSE(unusable);
    LongPathForm(String(u"C:\\a\0b", 6), kOpenPathLimit, &unusable);
    EXPECT_TRUE(unusable);
}

TEST(PathParts, SplitsAndParents) {
    EXPECT_EQ(ExtensionOf(u"C:\\my.music\\track"), u"");
    EXPECT_EQ(ExtensionOf(u"track."), u".");
    EXPECT_EQ(ParentFolder(u"C:\\a\\b\\"), u"C:\\a\\");
    EXPECT_EQ(RewriteTempName(u"C:\\a.mp3", 4242, 0), u"C:\\a.mp3.p4242.rewrite.tmp");
    EXPECT_EQ(RewriteTempName(u"C:\\a.mp3", 7, 99), u"C:\\a.mp3.p7.99.rewrite.tmp");
}

TEST(PathParts, HousekeepingFoldersAreNotEntered) {
    EXPECT_FALSE(MayEnterFolder(u"\\\\nas\\share\\$recycle.bin"));
    EXPECT_FALSE(MayEnterFolder(u"D:\\@eaDir\\"));
    EXPECT_TRUE(MayEnterFolder(u"D:\\@eaDir2"));
    EXPECT_TRUE(MayEnterFolder(u"D:\\@eaDir\\inner"));
}

TEST(KnownFolderFallbacks, FallsBackThroughTheTable) {
    std::map<int, String> known = {{5, u"C:\\Users\\me\\Documents"},
                                   {kFolderProgramFiles, u"C:\\Program Files"}};
    FolderSource source = [&](int id) { return known.count(id) ? known[id] : String(); };
    EXPECT_EQ(ResolveSpecialFolder(13, {}, source), u"C:\\Users\\me\\Documents\\My Music\\");
    EXPECT_EQ(ResolveSpecialFolder(43, {}, source), u"C:\\Program Files\\Common\\");
    EXPECT_EQ(ResolveSpecialFolder(99, {}, source), u"C:\\Error\\");
    EXPECT_EQ(ResolveSpecialFolder(99, u"D:\\Fallback", source), u"D:\\Fallback\\");
    known.erase(5);
    EXPECT_EQ(ResolveSpecialFolder(13, u"E:\\", source), u"E:\\");
}
