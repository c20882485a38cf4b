// The three bindings over real libraries: entry-point resolution, the load rules, the guard
// that keeps calls away from a missing instance, and a round trip through the test plug-ins.
#include "PluginTestFolder.h"

#include "plugins/clTwDSP.h"
#include "plugins/clTwDecoder.h"
#include "plugins/clTwEncoder.h"
#include "process/WinString.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <fstream>
#include <iterator>
#include <string>

namespace wm {
namespace {

using test::PluginTestFolder;
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

std::string ReadBytes(const String& path) {
    std::ifstream in(Narrow(path).c_str(), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

void WriteText(const String& path, const std::string& text) {
    std::ofstream(Narrow(path).c_str(), std::ios::binary) << text;
}

TEST(PluginBinding, StageIsKnown) {
    ASSERT_FALSE(test::StageFolder().empty());
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

    // A library of another kind resolves nothing of the DSP table.
    clTwDSP dsp;
    EXPECT_FALSE(dsp.Load(kTestDecoder));
    EXPECT_TRUE(dsp.IsLoaded());
    EXPECT_EQ(dsp.Entries().create, nullptr);
    EXPECT_EQ(dsp.Entries().afterConversion, nullptr);

    clTwDecoder missing;
    EXPECT_FALSE(missing.Load(u"C:\\no\\such\\decoder.dll"));
    EXPECT_FALSE(missing.IsLoaded());
    EXPECT_FALSE(missing.Load(String()));
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
    decoder.Unload();
    EXPECT_FALSE(decoder.IsLoaded());
    EXPECT_TRUE(decoder.ExtensionServed().empty() && decoder.LibraryPath().empty());
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
    uint32_t flag = 9;
    EXPECT_EQ(encoder.GetValue(WM_VALUE_EXTENSION, value), 0u);
    EXPECT_EQ(encoder.BeginConversion(&conversion), 0u);
    EXPECT_EQ(encoder.EncodeBlock(&block), 0u);
    EXPECT_EQ(encoder.EndConversion(&conversion, &flag), 0u);
    ASSERT_TRUE(encoder.CreateInstance(nullptr));
    EXPECT_EQ(encoder.GetValue(WM_VALUE_EXTENSION, value), 1u);
    EXPECT_EQ(String(static_cast<const char16_t*>(value.pointer1)), u".raw");

    clTwDSP dsp;
    EXPECT_EQ(dsp.PassAudioBlock(&block), 0u);
    EXPECT_EQ(dsp.PassNonLive(u"x", nullptr, u"", nullptr), 0u);
}

TEST(PluginBinding, EncoderRoundTripThroughTheTestEncoder) {
    PluginTestFolder folder;
    const String output = folder.Path() + u"out.raw";
    const String log = folder.Path() + u"enc.log";
    const String commandLine =
        u" -tagafter=\"1\" -fail=\"EncodeBlock:2\" -action=\"Writing\" -log=\"" + log + u"\"";

    clTwEncoder encoder;
    ASSERT_TRUE(encoder.Load(kTestEnc));
    ASSERT_TRUE(encoder.CreateInstance(nullptr));
    ConversionInfo conversion{};
    conversion.outputPath = output.c_str();
    conversion.commandLine = commandLine.c_str();
    ASSERT_EQ(encoder.BeginConversion(&conversion), 1u);

    char pcm[] = "ABCDE";
    AudioBlockInfo block{};
    block.data = pcm;
    block.length = 5;
    EXPECT_EQ(encoder.EncodeBlock(&block), 1u);
    EXPECT_EQ(String(block.actionText), u"Writing");
    block.actionText = nullptr;
    EXPECT_EQ(encoder.EncodeBlock(&block), 0u); // scripted failure of the second block

    uint32_t tagAfterwards = 7; // the binding hands the encoder a cleared flag
    EXPECT_EQ(encoder.EndConversion(&conversion, &tagAfterwards), 1u);
    EXPECT_EQ(tagAfterwards, 1u);
    encoder.Unload();

    EXPECT_EQ(ReadBytes(output), "ABCDE");
    const std::string calls = ReadBytes(log);
    EXPECT_NE(calls.find("Create\nBeginConversion\n  cmd= -tagafter"), std::string::npos);
    EXPECT_NE(calls.find("EncodeBlock 5\n  action=null"), std::string::npos);
    EXPECT_NE(calls.find("EndConversion flag=0\n"), std::string::npos);
    EXPECT_NE(calls.find("Destroy\n"), std::string::npos);
}

TEST(PluginBinding, TestDecoderPlaysItsScript) {
    PluginTestFolder folder;
    const String script = folder.Path() + u"song.wmt";
    const String log = folder.Path() + u"dec.log";
    WriteText(script, "format 8000 1 16\nblock 300 2\nempty\naction In A\nend 5\nlog " +
                          Narrow(log) + "\n");

    clTwDecoder decoder;
    ASSERT_TRUE(decoder.Load(kTestDecoder));
    ASSERT_TRUE(decoder.CreateInstance(nullptr));
    DecodeOpenInfo open{};
    open.path = script.c_str();
    open.openMode = WM_OPEN_CONVERT;
    ASSERT_EQ(decoder.Open(&open), 1u);
    EXPECT_EQ(open.format.samplesPerSec, 8000u);
    EXPECT_EQ(open.format.blockAlign, 2);
    EXPECT_EQ(open.byteLength, 605u);
    EXPECT_EQ(open.msLength, 605u * 1000 / 16000);

    std::string stream;
    AudioBlockInfo block{};
    for (int i = 0; i < 4; ++i) {
        block = AudioBlockInfo{};
        ASSERT_EQ(decoder.DecodeBlock(&block), 1u);
        stream.append(static_cast<const char*>(block.data ? block.data : ""), block.length);
        EXPECT_EQ(block.endOfStream != 0, i == 3);
    }
    EXPECT_EQ(String(block.actionText), u"In A");
    EXPECT_EQ(block.msPosition, 600u * 1000 / 16000);
    ASSERT_EQ(stream.size(), 605u);
    for (size_t k = 0; k < stream.size(); ++k)
        ASSERT_EQ(static_cast<uint8_t>(stream[k]), k % 251) << k;
    decoder.Unload();

    EXPECT_EQ(ReadBytes(log).substr(0, 33), "Create\nOpen mode=29\n  clean=1\n  p");
}

} // namespace
} // namespace wm
