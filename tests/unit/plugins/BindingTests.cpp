// The three bindings over real libraries: entry-point resolution, the load rules and the guard
// that keeps calls away from a missing instance.
#include "PluginTestFolder.h"

#include "plugins/clTwDecoder.h"
#include "plugins/clTwEncoder.h"
#include "process/WinString.h"

#include <gtest/gtest.h>
#include <windows.h>

namespace wm {
namespace {

using test::StagedPlugin;

const String kTestDecoder = StagedPlugin(u"decoder", u"TestDecoder.dll");
const String kNoDeleteATag = StagedPlugin(u"decoder", u"NoDeleteATag.dll");
const String kTestEnc = StagedPlugin(u"encoder", u"TestEnc.dll");
const String kNoRemoveConfig = StagedPlugin(u"encoder", u"NoRemoveConfig.dll");

String ModulePath(HMODULE module) {
    wchar_t buffer[MAX_PATH];
    DWORD n = ::GetModuleFileNameW(module, buffer, MAX_PATH);
    return FromW(buffer, n);
}

TEST(PluginBinding, OneMissingExportLeavesTheLibraryLoadedButNotOk) {
    clTwDecoder decoder;
    EXPECT_FALSE(decoder.Load(kNoDeleteATag));
    EXPECT_TRUE(decoder.IsLoaded());
    EXPECT_FALSE(decoder.LoadedOk());
    EXPECT_EQ(decoder.Entries().deleteATag, nullptr);
    EXPECT_NE(decoder.Entries().setPosition, nullptr);

    // The encoder's missing name sits mid-table: the names after it must still resolve.
    clTwEncoder encoder;
    EXPECT_FALSE(encoder.Load(kNoRemoveConfig));
    EXPECT_EQ(encoder.Entries().removeConfigBit, nullptr);
    EXPECT_NE(encoder.Entries().showConfigBit, nullptr);
    EXPECT_NE(encoder.Entries().encodeBlock, nullptr);

    clTwDecoder missing;
    EXPECT_FALSE(missing.Load(u"C:\\no\\such\\decoder.dll"));
    EXPECT_FALSE(missing.IsLoaded());
}

TEST(PluginBinding, SecondLoadKeepsTheFirstLibraryUntilReloaded) {
    clTwDecoder decoder;
    ASSERT_TRUE(decoder.Load(kTestDecoder));
    const HMODULE first = decoder.Module();
    EXPECT_TRUE(decoder.Load(kNoDeleteATag));
    EXPECT_EQ(decoder.Module(), first);
    EXPECT_TRUE(EndsWithNoCase(ModulePath(decoder.Module()), u"TestDecoder.dll"));

    EXPECT_FALSE(decoder.LoadForExtension(u".nodel", kNoDeleteATag));
    EXPECT_TRUE(EndsWithNoCase(ModulePath(decoder.Module()), u"NoDeleteATag.dll"));
    EXPECT_TRUE(decoder.ExtensionServed().empty());

    ASSERT_TRUE(decoder.LoadForExtension(u".wmt", kTestDecoder));
    EXPECT_EQ(decoder.ExtensionServed(), u".wmt");
    EXPECT_EQ(decoder.LibraryPath(), kTestDecoder);
}

TEST(PluginBinding, CallsWithoutAnInstanceReturnZero) {
    clTwDecoder decoder;
    ASSERT_TRUE(decoder.Load(kTestDecoder));
    PluginValue value{};
    DecodeOpenInfo open{};
    AudioBlockInfo block{};
    ConversionInfo conversion{};
    auto allZero = [&] {
        return decoder.Get(WM_VALUE_DECODES, &value) == 0 &&
               decoder.Set(WM_VALUE_BATCH_ID, &value) == 0 && decoder.Open(&open) == 0 &&
               decoder.Close(&conversion) == 0 && decoder.DecodeBlock(&block) == 0 &&
               decoder.SetPosition(5) == 0 && decoder.DeleteATag(nullptr, nullptr) == 0;
    };
    EXPECT_TRUE(allZero());
    ASSERT_TRUE(decoder.CreateInstance(nullptr));
    // The test decoder answers these two with 1, so the zeros above came from the guard.
    EXPECT_EQ(decoder.SetPosition(5), 1u);
    EXPECT_EQ(decoder.DeleteATag(nullptr, nullptr), 1u);
    decoder.DestroyInstance();
    EXPECT_FALSE(decoder.HasInstance());
    EXPECT_TRUE(allZero());

    clTwEncoder encoder;
    ASSERT_TRUE(encoder.Load(kTestEnc));
    EXPECT_EQ(encoder.GetValue(WM_VALUE_EXTENSION, value), 0u);
    EXPECT_EQ(encoder.EncodeBlock(&block), 0u);
    ASSERT_TRUE(encoder.CreateInstance(nullptr));
    EXPECT_EQ(encoder.GetValue(WM_VALUE_EXTENSION, value), 1u);
}

} // namespace
} // namespace wm
