// Discovery over a private program folder: decoder choice and its registry cache, the listings,
// and loading encoders and effects by name.
#include "PluginTestFolder.h"

#include "converter/LogOutlets.h"
#include "plugins/clTwCodecHandler.h"
#include "process/Registry.h"
#include "process/WinString.h"

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
        b = folder.Add(u"decoder", u"TestDecoder.dll", u"B.dll");
        folder.Add(u"decoder", u"NoDeleteATag.dll", u"NoDeleteATag.dll");
        folder.AddFolder(u"decoder", u"Folder.dll");
    }
    bool Find(const String& path, bool isExtension = false) {
        return handler.FindDecoder(path, decoder, nullptr, folder.Path(), isExtension, cache.Key());
    }
    String Cached(const String& extension) {
        return RegReadString(extension, HKEY_CURRENT_USER, cache.UsedKey().c_str());
    }
    void SetCached(const String& extension, const String& path) {
        RegWriteString(extension, path, HKEY_CURRENT_USER, cache.UsedKey().c_str());
    }

    PluginTestFolder folder;
    TestCacheKey cache;
    String a, b;
    clTwCodecHandler handler;
    clTwDecoder decoder;
};

TEST_F(DecoderFolder, PathWithoutExtensionFindsNothing) {
    EXPECT_FALSE(Find(u"C:\\music.old\\song"));
    EXPECT_FALSE(decoder.IsLoaded());
}

TEST_F(DecoderFolder, MatchIgnoresCaseAndIsCachedUnderTheNameAsWritten) {
    ASSERT_TRUE(Find(u"C:\\in\\Song.WMT"));
    EXPECT_TRUE(decoder.HasInstance());
    EXPECT_EQ(decoder.ExtensionServed(), u".WMT");
    EXPECT_TRUE(EqualsNoCase(decoder.LibraryPath(), a));
    EXPECT_TRUE(EqualsNoCase(Cached(u".WMT"), a));
}

TEST_F(DecoderFolder, CacheChoosesTheLibraryByFileNameOnly) {
    SetCached(u".wmt", u"D:\\other copy\\decoder\\B.dll");
    ASSERT_TRUE(Find(u"C:\\in\\song.wmt"));
    EXPECT_TRUE(EqualsNoCase(decoder.LibraryPath(), b));
    EXPECT_TRUE(EqualsNoCase(Cached(u".wmt"), b)); // rewritten with the rebuilt path
}

TEST_F(DecoderFolder, StaleCacheEntryIsReplacedByTheScanWinner) {
    SetCached(u".wmt", u"C:\\old\\decoder\\Gone.dll");
    ASSERT_TRUE(Find(u"C:\\in\\song.wmt"));
    EXPECT_TRUE(EqualsNoCase(decoder.LibraryPath(), a));
    EXPECT_TRUE(EqualsNoCase(Cached(u".wmt"), a));
}

TEST_F(DecoderFolder, SameExtensionAgainOnlyRecreatesTheInstance) {
    ASSERT_TRUE(Find(u"C:\\in\\one.wmt"));
    const HMODULE module = decoder.Module();
    RegDeleteValue(u".wmt", HKEY_CURRENT_USER, cache.UsedKey().c_str());
    ASSERT_TRUE(Find(u"C:\\in\\two.WMT"));
    EXPECT_TRUE(decoder.HasInstance());
    EXPECT_EQ(decoder.Module(), module);
    EXPECT_TRUE(Cached(u".wmt").empty()); // a search would have written it again
}

TEST_F(DecoderFolder, UnclaimedOrUnusableTypeFindsNothingAndCachesNothing) {
    EXPECT_FALSE(Find(u"C:\\in\\song.mp3"));
    EXPECT_FALSE(decoder.IsLoaded());
    // Only the library that lacks "DeleteATag" claims this one.
    EXPECT_FALSE(Find(u"C:\\in\\song.nodel"));
    EXPECT_FALSE(decoder.IsLoaded());
    EXPECT_TRUE(Cached(u".mp3").empty() && Cached(u".nodel").empty());
    // ".wmt.IGNORE" is answered as a whole extension only; ExtensionOf yields ".IGNORE".
    EXPECT_FALSE(Find(u"C:\\in\\song.wmt.IGNORE"));
}

TEST_F(DecoderFolder, ExtensionModeAsksForStreamingDecodes) {
    EXPECT_TRUE(Find(u".wmts", true));
    EXPECT_FALSE(Find(u".wmt", true));
}

TEST_F(DecoderFolder, ListingSkipsIgnoredAndUnusableLibraries) {
    StringList extensions, descriptions;
    String filter;
    handler.ListDecoders(true, &extensions, &descriptions, &filter, folder.Path());
    EXPECT_EQ(extensions, (StringList{u".wmt", u".wmt"}));
    EXPECT_EQ(descriptions, (StringList{u"Wavemill Test Script", u"Wavemill Test Script"}));
    EXPECT_EQ(filter, u"All Audio Files\r*.wmt;*.wmt\r"
                      u"Wavemill Test Script  (*.wmt; *.wmt)\r*.wmt;*.wmt\r");
    handler.ListDecoders(false, nullptr, nullptr, &filter, folder.Path());
    EXPECT_EQ(filter, u"Wavemill Test Script  (*.wmt; *.wmt)\r*.wmt;*.wmt\r");
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

String ReadUtf16(HANDLE file) {
    String text(::GetFileSize(file, nullptr) / 2, u'\0');
    DWORD got = 0;
    ::SetFilePointer(file, 0, nullptr, FILE_BEGIN);
    ::ReadFile(file, text.data(), static_cast<DWORD>(text.size() * 2), &got, nullptr);
    return text;
}

TEST(EncoderLoading, LoadsByCodecNameAndLogsTheAttempt) {
    PluginTestFolder folder;
    folder.Add(u"encoder", u"TestEnc.dll", u"TestEnc.dll");
    folder.Add(u"encoder", u"NoRemoveConfig.dll", u"NoRemoveConfig.dll");
    clTwCodecHandler handler;
    clTwEncoder encoder;

    const String logPath = folder.Path() + u"debug.log";
    HANDLE log = ::CreateFileW(W(logPath), GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                               FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(log, INVALID_HANDLE_VALUE);
    SetLogOutlets(nullptr, nullptr, log);
    const bool loaded = handler.LoadEncoder(u"testenc", encoder, nullptr, folder.Path());
    SetLogOutlets(nullptr, nullptr, nullptr);
    const String logged = ReadUtf16(log);
    ::CloseHandle(log);

    EXPECT_TRUE(loaded); // the file system decides about letter case
    EXPECT_TRUE(encoder.HasInstance());
    EXPECT_EQ(logged, u"->->  [clTwCodecHandler::LoadEncoder]\r\n"
                      u"  Loading Encoder '" +
                          folder.Path() +
                          u"encoder\\testenc.DLL'\r\n"
                          u"<-<-  [clTwCodecHandler::LoadEncoder]\r\n");

    EXPECT_FALSE(handler.LoadEncoder(u"NoRemoveConfig", encoder, nullptr, folder.Path()));
    EXPECT_FALSE(encoder.HasInstance());
    EXPECT_FALSE(handler.LoadEncoder(u"Missing", encoder, nullptr, folder.Path()));

    EXPECT_EQ(handler.QueryExtension(u"TestEnc", folder.Path()), u".raw");
    EXPECT_EQ(handler.QueryExtension(u"Missing", folder.Path()), u"");

    clTwDSP dsp;
    EXPECT_FALSE(handler.LoadDSP(u"Missing", dsp, nullptr, folder.Path()));
    EXPECT_FALSE(dsp.HasInstance());
}

} // namespace
} // namespace wm
