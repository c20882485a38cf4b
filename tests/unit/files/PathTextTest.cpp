#include "files/PathText.h"
#include "files/SpecialFolderRules.h"

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
    EXPECT_EQ(LongPathForm(PathOfLength(260), kOpenPathLimit, &unusable),
              u"\\\\?\\" + PathOfLength(260));
    EXPECT_FALSE(unusable);
    EXPECT_EQ(LongPathForm(PathOfLength(247), kOtherPathLimit), PathOfLength(247));
    EXPECT_EQ(LongPathForm(PathOfLength(248), kOtherPathLimit), u"\\\\?\\" + PathOfLength(248));
    EXPECT_EQ(kOpenPathLimit, 260u);
    EXPECT_EQ(kOtherPathLimit, 248u);
}

TEST(LongPathForm, UncAndPrefixedPathsAreNeverRewritten) {
    String unc = u"\\\\server\\share\\" + String(400, u'a');
    String prefixed = u"\\\\?\\" + PathOfLength(400);
    bool unusable = true;
    EXPECT_EQ(LongPathForm(unc, kOtherPathLimit, &unusable), unc);
    EXPECT_FALSE(unusable);
    EXPECT_EQ(LongPathForm(prefixed, kOpenPathLimit), prefixed);
    EXPECT_TRUE(IsUnc(unc));
    EXPECT_FALSE(IsUnc(u"\\"));
    EXPECT_FALSE(IsUnc(u"C:\\\\"));
}

TEST(LongPathForm, ReportsUnusablePaths) {
    bool unusable = false;
    LongPathForm(u"", kOpenPathLimit, &unusable);
    EXPECT_TRUE(unusable);
    LongPathForm(String(u"C:\\a\0b", 6), kOpenPathLimit, &unusable);
    EXPECT_TRUE(unusable);
    LongPathForm(u"relative\\" + String(300, u'r'), kOpenPathLimit, &unusable);
    EXPECT_TRUE(unusable);
    LongPathForm(u"relative\\short", kOpenPathLimit, &unusable);
    EXPECT_FALSE(unusable);
    String slashed = u"C:/" + String(300, u'a') + u"/b";
    EXPECT_EQ(LongPathForm(slashed, kOpenPathLimit, &unusable),
              u"\\\\?\\C:\\" + String(300, u'a') + u"\\b");
}

TEST(PathParts, SplitsFolderNameAndExtension) {
    EXPECT_EQ(FolderPart(u"C:\\music\\a.mp3"), u"C:\\music\\");
    EXPECT_EQ(FolderPart(u"a.mp3"), u"");
    EXPECT_EQ(FileNamePart(u"C:\\music\\a.mp3"), u"a.mp3");
    EXPECT_EQ(FileNamePart(u"C:\\music\\"), u"");
    EXPECT_EQ(ExtensionOf(u"C:\\music\\a.tar.gz"), u".gz");
    EXPECT_EQ(ExtensionOf(u"C:\\my.music\\track"), u"");
    EXPECT_EQ(ExtensionOf(u"track"), u"");
    EXPECT_EQ(ExtensionOf(u"track."), u".");
}

TEST(PathParts, ParentKeepsATrailingSeparator) {
    EXPECT_EQ(ParentFolder(u"C:\\a\\b"), u"C:\\a");
    EXPECT_EQ(ParentFolder(u"C:\\a\\b\\"), u"C:\\a\\");
    EXPECT_EQ(ParentFolder(u"C:"), u"");
    String p = u"C:\\a\\b\\c";
    EXPECT_TRUE(StripToParent(p));
    EXPECT_EQ(p, u"C:\\a\\b");
    p = u"name";
    EXPECT_FALSE(StripToParent(p));
    EXPECT_EQ(p, u"name");
    EXPECT_EQ(EnsureTrailingSeparator(u"C:\\a"), u"C:\\a\\");
    EXPECT_EQ(EnsureTrailingSeparator(u"C:\\a\\"), u"C:\\a\\");
}

TEST(PathParts, HousekeepingFoldersAreNotEntered) {
    EXPECT_FALSE(MayEnterFolder(u"\\\\nas\\share\\$recycle.bin"));
    EXPECT_FALSE(MayEnterFolder(u"D:\\@eaDir\\"));
    EXPECT_FALSE(MayEnterFolder(u"#RECYCLE"));
    EXPECT_FALSE(MayEnterFolder(u"X:\\music\\@TMP"));
    EXPECT_FALSE(MayEnterFolder(u"X:\\@recycle"));
    EXPECT_TRUE(MayEnterFolder(u"D:\\Recycle"));
    EXPECT_TRUE(MayEnterFolder(u"D:\\@eaDir2"));
    EXPECT_TRUE(MayEnterFolder(u"D:\\@eaDir\\inner"));
}

TEST(PathParts, RewriteNamesCarryProcessAndNumber) {
    EXPECT_EQ(RewriteTempName(u"C:\\a.mp3", 4242, 0), u"C:\\a.mp3.p4242.rewrite.tmp");
    EXPECT_EQ(RewriteTempName(u"C:\\a.mp3", 4242, 1), u"C:\\a.mp3.p4242.1.rewrite.tmp");
    EXPECT_EQ(RewriteTempName(u"C:\\a.mp3", 7, 99), u"C:\\a.mp3.p7.99.rewrite.tmp");
}

TEST(SpecialFolderRules, FallsBackThroughTheTable) {
    std::map<int, String> known = {{5, u"C:\\Users\\me\\Documents"},
                                   {46, u"C:\\Users\\Public\\Documents\\"},
                                   {kFolderProgramFiles, u"C:\\Program Files"},
                                   {16, u"C:\\Users\\me\\Desktop"}};
    FolderSource source = [&](int id) { return known.count(id) ? known[id] : String(); };
    EXPECT_EQ(ResolveSpecialFolder(16, {}, source), u"C:\\Users\\me\\Desktop\\");
    EXPECT_EQ(ResolveSpecialFolder(13, {}, source), u"C:\\Users\\me\\Documents\\My Music\\");
    EXPECT_EQ(ResolveSpecialFolder(39, {}, source), u"C:\\Users\\me\\Documents\\My Pictures\\");
    EXPECT_EQ(ResolveSpecialFolder(26, {}, source), u"C:\\Users\\me\\Application Data\\");
    EXPECT_EQ(ResolveSpecialFolder(43, {}, source), u"C:\\Program Files\\Common\\");
    EXPECT_EQ(ResolveSpecialFolder(55, {}, source), u"C:\\Users\\Public\\Documents\\My Video\\");
    EXPECT_EQ(ResolveSpecialFolder(99, {}, source), u"C:\\Error\\");
    EXPECT_EQ(ResolveSpecialFolder(99, u"D:\\Fallback", source), u"D:\\Fallback\\");
    EXPECT_EQ(ResolveSpecialFolder(99, u"\\", source), u"");

    known.erase(5);
    EXPECT_EQ(ResolveSpecialFolder(13, u"E:\\", source), u"E:\\");
}
