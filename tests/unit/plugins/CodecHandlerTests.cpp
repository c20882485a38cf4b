// Discovery over a private program folder: decoder choice and the listings.
#include "PluginTestFolder.h"

#include "plugins/clTwCodecHandler.h"

#include <gtest/gtest.h>
#include <windows.h>

namespace wm {
namespace {

using test::PluginTestFolder;
using test::TestCacheKey;

// Program folder with decoder\A.dll and decoder\B.dll (both the test decoder, A found first)
// and the decoder that lacks an export.
struct DecoderFolder : ::testing::Test {
    DecoderFolder() {
        a = folder.Add(u"decoder", u"TestDecoder.dll", u"A.dll");
        folder.Add(u"decoder", u"TestDecoder.dll", u"B.dll");
        folder.Add(u"decoder", u"NoDeleteATag.dll", u"NoDeleteATag.dll");
        folder.AddFolder(u"decoder", u"Folder.dll");
    }
    bool Find(const String& path) {
        return handler.FindDecoder(path, decoder, nullptr, folder.Path(), false, cache.Key());
    }

    PluginTestFolder folder;
    TestCacheKey cache;
    String a;
    clTwCodecHandler handler;
    clTwDecoder decoder;
};

TEST_F(DecoderFolder, NoExtensionFindsNothing) {
    EXPECT_FALSE(Find(u"C:\\music.old\\song")); // the dot is in the folder name
    EXPECT_FALSE(decoder.IsLoaded());
    ASSERT_TRUE(Find(u"C:\\in\\Song.WMT"));
    EXPECT_TRUE(EqualsNoCase(decoder.LibraryPath(), a));
}

TEST_F(DecoderFolder, ListingSkipsIgnoredAndUnusableLibraries) {
    StringList extensions, descriptions;
    String filter;
    handler.ListDecoders(true, &extensions, &descriptions, &filter, folder.Path());
    EXPECT_EQ(extensions, (StringList{u".wmt", u".wmt"}));
    EXPECT_EQ(descriptions, (StringList{u"Wavemill Test Script", u"Wavemill Test Script"}));
    EXPECT_EQ(filter, u"All Audio Files\r*.wmt;*.wmt\r"
                      u"Wavemill Test Script  (*.wmt; *.wmt)\r*.wmt;*.wmt\r");
}

TEST(EncoderListing, MultiEncoderSortsLast) {
    PluginTestFolder folder;
    for (const char16_t* name :
         {u"_under.dll", u"[Multi Encoder].dll", u"TestEnc.dll", u"alpha.dll"})
        folder.Add(u"encoder", u"TestEnc.dll", name);
    folder.AddFolder(u"encoder", u"sub.dll");
    EXPECT_EQ(clTwCodecHandler().ListEncoders(folder.Path()),
              (StringList{u"alpha.dll", u"TestEnc.dll", u"_under.dll", u"[Multi Encoder].dll"}));
}

} // namespace
} // namespace wm
