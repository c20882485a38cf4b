// The shipped WAV decoder and encoder, loaded from the staged tree as the host loads them.
#include "bundled/wav/WaveFormatRules.h"
#include "bundled/win/Win32File.h"
#include "tests/unit/wav/WavPluginApi.h"
#include "tests/unit/wav/WavTestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace wm::test {
namespace {

std::vector<std::string> ExportNames(HMODULE module) {
    const auto* base = reinterpret_cast<const uint8_t*>(module);
    const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* nt = reinterpret_cast<const IMAGE_NT_HEADERS64*>(base + dos->e_lfanew);
    const IMAGE_DATA_DIRECTORY& dir =
        nt->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
    std::vector<std::string> names;
    if (dir.VirtualAddress == 0)
        return names;
    const auto* exports =
        reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(base + dir.VirtualAddress);
    const auto* nameRvas = reinterpret_cast<const DWORD*>(base + exports->AddressOfNames);
    for (DWORD i = 0; i < exports->NumberOfNames; ++i)
        names.emplace_back(reinterpret_cast<const char*>(base + nameRvas[i]));
    std::sort(names.begin(), names.end());
    return names;
}

uint64_t FileSize(const std::wstring& path) {
    WIN32_FILE_ATTRIBUTE_DATA data{};
    if (!GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data))
        return 0;
    return (uint64_t{data.nFileSizeHigh} << 32) | data.nFileSizeLow;
}

struct Decoded {
    DecodeOpenInfo info{};
    std::vector<AudioBlockInfo> blocks;
    Bytes audio;
};

class WavPlugins : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        const std::wstring stage = Env(L"WAVEMILL_STAGE");
        ASSERT_FALSE(stage.empty()) << "WAVEMILL_STAGE is not set";
        ASSERT_TRUE(decoder_.Load(stage)) << GetLastError();
        ASSERT_TRUE(encoder_.Load(stage)) << GetLastError();
        folder_ = MakeTempFolder(L"wav_plugin_tests");
    }

    void SetUp() override {
        ASSERT_TRUE(decoder_.module && encoder_.module);
        dec_ = decoder_.create(nullptr);
        enc_ = encoder_.create(nullptr);
        ASSERT_TRUE(dec_ && enc_);
    }
    void TearDown() override {
        if (dec_)
            decoder_.destroy(dec_);
        if (enc_)
            encoder_.destroy(enc_);
    }

    static std::wstring Path(const std::wstring& name) { return folder_ + L"\\" + name; }

    // Encodes `audio` in pieces of the given sizes (cycled), as the host's blocks arrive.
    bool Encode(const std::wstring& path, const WmWaveFormat& format, const Bytes& audio,
                std::vector<size_t> pieces = {88200}) {
        ConversionInfo conversion{};
        conversion.inputPath = u"in.wav";
        conversion.outputPath = U(path);
        conversion.commandLine = u"";
        conversion.sourceFormat = &format;
        if (!encoder_.begin(enc_, &conversion))
            return false;
        for (size_t at = 0, i = 0; at < audio.size(); ++i) {
            const size_t n = std::min(pieces[i % pieces.size()], audio.size() - at);
            AudioBlockInfo block{};
            block.data = const_cast<uint8_t*>(audio.data() + at);
            block.length = static_cast<uint32_t>(n);
            block.format = format;
            if (!encoder_.encodeBlock(enc_, &block))
                return false;
            at += n;
        }
        uint32_t tagAfterwards = 5;
        const uint32_t ok = encoder_.end(enc_, &conversion, &tagAfterwards);
        // The host is to write the tags afterwards, through the decoder's "IDTags".
        EXPECT_EQ(tagAfterwards, ok ? 1u : 0u);
        return ok != 0;
    }

    bool Decode(const std::wstring& path, Decoded& out) {
        out = Decoded{};
        const auto keep = [&](const AudioBlockInfo& block) {
            out.blocks.push_back(block);
            AppendAudio(out.audio, block);
            return true;
        };
        return decoder_.OpenToConvert(dec_, path.c_str(), out.info) &&
               decoder_.DecodeBlocks(dec_, keep) && decoder_.CloseFile(dec_);
    }

    static DecoderApi decoder_;
    static EncoderApi encoder_;
    static std::wstring folder_;
    void* dec_ = nullptr;
    void* enc_ = nullptr;
};

DecoderApi WavPlugins::decoder_;
EncoderApi WavPlugins::encoder_;
std::wstring WavPlugins::folder_;

TEST_F(WavPlugins, ExportExactlyTheirNineEntryPoints) {
    EXPECT_EQ(ExportNames(decoder_.module),
              (std::vector<std::string>{"Close", "Create", "DecodeBlock", "DeleteATag", "Destroy",
                                        "Get", "Open", "Set", "SetPosition"}));
    EXPECT_EQ(ExportNames(encoder_.module),
              (std::vector<std::string>{"ENC_BeginConversion", "ENC_Create", "ENC_Destroy",
                                        "ENC_EncodeBlock", "ENC_EndConversion", "ENC_Get",
                                        "ENC_RemoveConfigBit", "ENC_Set", "ENC_ShowConfigBit"}));
}

TEST_F(WavPlugins, AnswerTheirNamedValues) {
    std::vector<std::u16string> extensions;
    for (uint32_t i = 0; i < 4; ++i) {
        PluginValue value{};
        value.value1 = i;
        if (!decoder_.get(dec_, WM_VALUE_DECODES, &value))
            break;
        ASSERT_NE(value.pointer1, nullptr);
        ASSERT_NE(value.pointer2, nullptr);
        EXPECT_NE(*static_cast<const char16_t*>(value.pointer2), u'\0');
        extensions.emplace_back(static_cast<const char16_t*>(value.pointer1));
    }
    EXPECT_EQ(extensions, (std::vector<std::u16string>{u".wav", u".wave"}));
    PluginValue value{};
    EXPECT_EQ(decoder_.get(dec_, WM_VALUE_STREAMING_DECODES, &value), 0u);
    EXPECT_EQ(decoder_.get(dec_, u"Communicate", &value), 0u);

    ASSERT_NE(encoder_.get(enc_, WM_VALUE_EXTENSION, &value), 0u);
    EXPECT_EQ(std::u16string(static_cast<const char16_t*>(value.pointer1)), u".wav");
    for (const char16_t* name : {WM_VALUE_SEND_RAW_UNCOMPRESSED, WM_VALUE_NEED_HQ_AUDIO,
                                 WM_VALUE_SEND_OVER_REPLAYGAIN_TAGS, WM_VALUE_COMMUNICATE}) {
        PluginValue v{};
        EXPECT_EQ(encoder_.get(enc_, name, &v), 0u) << std::string(name, name + 4);
    }
}

TEST_F(WavPlugins, RoundTripKeepsTheAudioAndDeliversBoundedBlocks) {
    const WmWaveFormat format = wav::MakeWaveFormat(wav::SampleKind::Pcm, 3, 44100, 24);
    const Bytes audio = Noise(format.avgBytesPerSec * 17 / 10 / 9 * 9, 1); // 1.7 s
    const std::wstring path = Path(L"round.wav");
    // Pieces that split frames and straddle the encoder's buffer.
    ASSERT_TRUE(Encode(path, format, audio, {1, 7777, 600001, 4}));

    Decoded d;
    ASSERT_TRUE(Decode(path, d));
    EXPECT_EQ(d.audio, audio);
    EXPECT_EQ(d.info.byteLength, audio.size());
    EXPECT_EQ(d.info.msLength, audio.size() * 1000 / format.avgBytesPerSec);
    EXPECT_EQ(d.info.bitRate, format.avgBytesPerSec * 8);
    EXPECT_EQ(d.info.format.formatTag, WM_FORMAT_EXTENSIBLE);
    EXPECT_EQ(d.info.format.channels, 3);
    EXPECT_EQ(d.info.format.channelMask, 0x7u);
    EXPECT_EQ(d.info.tagData, nullptr);

    ASSERT_GE(d.blocks.size(), 4u);
    uint64_t before = 0;
    for (size_t i = 0; i < d.blocks.size(); ++i) {
        const AudioBlockInfo& b = d.blocks[i];
        EXPECT_EQ(b.data, d.blocks[0].data) << "one buffer, reused";
        EXPECT_EQ(b.length % 9, 0u);
        EXPECT_LE(b.length, format.avgBytesPerSec / 2);
        EXPECT_EQ(b.msPosition, before * 1000 / format.avgBytesPerSec);
        EXPECT_EQ(b.msDuration, uint64_t{b.length} * 1000 / format.avgBytesPerSec);
        EXPECT_EQ(b.endOfStream != 0, i + 1 == d.blocks.size());
        EXPECT_EQ(std::memcmp(&b.format, &d.info.format, sizeof(WmWaveFormat)), 0);
        before += b.length;
    }

    // Positioning moves the next block.
    DecodeOpenInfo info{};
    info.path = U(path);
    ASSERT_TRUE(decoder_.open(dec_, &info));
    ASSERT_TRUE(decoder_.setPosition(dec_, 1000));
    AudioBlockInfo block{};
    ASSERT_TRUE(decoder_.decodeBlock(dec_, &block));
    EXPECT_EQ(block.msPosition, 1000u);
    EXPECT_EQ(std::memcmp(block.data, audio.data() + format.avgBytesPerSec, 9), 0);
}

TEST_F(WavPlugins, EmptyDataGivesOneEmptyEndBlock) {
    const WmWaveFormat format = wav::MakeWaveFormat(wav::SampleKind::Float, 2, 48000, 32);
    const std::wstring path = Path(L"empty.wav");
    ASSERT_TRUE(Encode(path, format, {}));
    Decoded d;
    ASSERT_TRUE(Decode(path, d));
    ASSERT_EQ(d.blocks.size(), 1u);
    EXPECT_EQ(d.blocks[0].length, 0u);
    EXPECT_NE(d.blocks[0].endOfStream, 0u);
    EXPECT_EQ(d.info.msLength, 0u);
    EXPECT_EQ(wav::KindOf(d.info.format), wav::SampleKind::Float);
}

TEST_F(WavPlugins, DecoderFailsOnMissingBrokenOrShrunkFiles) {
    AudioBlockInfo block{};
    EXPECT_EQ(decoder_.decodeBlock(dec_, &block), 0u) << "no file open";
    DecodeOpenInfo info{};
    const std::wstring missing = Path(L"missing.wav");
    info.path = U(missing);
    EXPECT_EQ(decoder_.open(dec_, &info), 0u);
    const std::wstring text = Path(L"text.wav");
    ASSERT_TRUE(WriteBytes(text, Bytes(200, 'a')));
    info.path = U(text);
    EXPECT_EQ(decoder_.open(dec_, &info), 0u);

    // A file cut short under the decoder makes the next read fail.
    const WmWaveFormat format = wav::MakeWaveFormat(wav::SampleKind::Pcm, 2, 44100, 16);
    const std::wstring path = Path(L"shrink.wav");
    ASSERT_TRUE(Encode(path, format, Noise(400000, 3)));
    info.path = U(path);
    ASSERT_TRUE(decoder_.open(dec_, &info));
    HANDLE h = CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                           OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(h, INVALID_HANDLE_VALUE);
    LARGE_INTEGER at{};
    at.QuadPart = 1000;
    ASSERT_TRUE(SetFilePointerEx(h, at, nullptr, FILE_BEGIN) && SetEndOfFile(h));
    CloseHandle(h);
    EXPECT_EQ(decoder_.decodeBlock(dec_, &block), 0u);
}

TEST_F(WavPlugins, EncoderRefusesWhatItCannotWrite) {
    uint32_t tagAfterwards = 0;
    ConversionInfo conversion{};
    EXPECT_EQ(encoder_.end(enc_, &conversion, &tagAfterwards), 0u) << "never begun";
    EXPECT_EQ(tagAfterwards, 0u) << "nothing to tag";

    WmWaveFormat adpcm = wav::MakeWaveFormat(wav::SampleKind::Pcm, 2, 44100, 4);
    adpcm.formatTag = 2;
    const std::wstring path = Path(L"refused.wav");
    conversion.outputPath = U(path);
    conversion.sourceFormat = &adpcm;
    EXPECT_EQ(encoder_.begin(enc_, &conversion), 0u);

    const WmWaveFormat format = wav::MakeWaveFormat(wav::SampleKind::Pcm, 2, 44100, 16);
    conversion.sourceFormat = &format;
    ASSERT_NE(encoder_.begin(enc_, &conversion), 0u);
    uint8_t samples[8] = {};
    AudioBlockInfo block{};
    block.data = samples;
    block.length = sizeof samples;
    block.format = wav::MakeWaveFormat(wav::SampleKind::Pcm, 2, 48000, 16);
    EXPECT_EQ(encoder_.encodeBlock(enc_, &block), 0u) << "other rate";
    block.format = wav::MakeWaveFormat(wav::SampleKind::Float, 1, 44100, 32);
    EXPECT_EQ(encoder_.encodeBlock(enc_, &block), 0u) << "other kind, same frame size";
    block.format = format;
    EXPECT_NE(encoder_.encodeBlock(enc_, &block), 0u);
    EXPECT_NE(encoder_.end(enc_, &conversion, &tagAfterwards), 0u);
    EXPECT_EQ(FileSize(path), 80u + sizeof samples);

    const std::wstring noFolder = Path(L"no\\such\\folder.wav");
    conversion.outputPath = U(noFolder);
    EXPECT_EQ(encoder_.begin(enc_, &conversion), 0u);
}

TEST(WavPluginPaths, LongLocalPathsGetThePrefix) {
    using bundled::SystemPath;
    const std::u16string shortPath = u"C:\\" + std::u16string(256, u'a');
    EXPECT_EQ(SystemPath(shortPath.c_str()), shortPath); // 259 characters
    const std::u16string longPath = u"C:/" + std::u16string(257, u'a');
    EXPECT_EQ(SystemPath(longPath.c_str()), u"\\\\?\\C:\\" + std::u16string(257, u'a'));
    const std::u16string unc = u"\\\\server\\share\\" + std::u16string(300, u'a');
    EXPECT_EQ(SystemPath(unc.c_str()), unc);
}

} // namespace
} // namespace wm::test
