// The shipped WAV decoder and encoder, loaded from the staged tree as the host loads them: audio
// in and out, and the decoder as the host's "IDTags" writer.
#include "bundled/wav/WaveFormatRules.h"
#include "bundled/win/Win32File.h"
#include "tags/AlbumArt.h"
#include "tags/IDTagSet.h"
#include "tests/unit/wav/WavPluginApi.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>

namespace wm::test {
namespace {

using wav::MakeWaveFormat;
using wav::SampleKind;

// Repeatable noise, different for each seed.
Bytes Noise(size_t length, uint32_t seed) {
    std::minstd_rand random(seed);
    Bytes b(length);
    for (uint8_t& x : b)
        x = static_cast<uint8_t>(random() >> 8);
    return b;
}

class WavPlugins : public ::testing::Test {
  protected:
    void SetUp() override {
        const wchar_t* stage = _wgetenv(L"WAVEMILL_STAGE");
        ASSERT_TRUE(stage) << "WAVEMILL_STAGE is not set";
        ASSERT_TRUE(decoder_.Load(stage)) << GetLastError();
        encoder_ = LoadStaged(stage, L"encoder\\Wave.dll");
        ASSERT_TRUE(encoder_ && Bind(encoder_, "ENC_Create", encCreate_) &&
                    Bind(encoder_, "ENC_Destroy", encDestroy_) &&
                    Bind(encoder_, "ENC_BeginConversion", begin_) &&
                    Bind(encoder_, "ENC_EncodeBlock", encodeBlock_) &&
                    Bind(encoder_, "ENC_EndConversion", end_));
        dec_ = decoder_.create(nullptr);
        enc_ = encCreate_(nullptr);
        ASSERT_TRUE(dec_ && enc_);
        wchar_t temp[MAX_PATH];
        GetTempPathW(MAX_PATH, temp);
        folder_ = std::wstring(temp) + L"wav_plugin_tests\\";
        CreateDirectoryW(folder_.c_str(), nullptr);
    }
    void TearDown() override {
        if (dec_)
            decoder_.destroy(dec_);
        if (enc_)
            encDestroy_(enc_);
    }

    // Encodes `audio` in pieces of the given sizes (cycled), as the host's blocks arrive.
    bool Encode(const std::wstring& path, const WmWaveFormat& format, const Bytes& audio,
                const std::vector<size_t>& pieces = {88200}) {
        ConversionInfo conversion{};
        conversion.inputPath = u"in.wav";
        conversion.outputPath = U(path);
        conversion.commandLine = u"";
        conversion.sourceFormat = &format;
        if (!begin_(enc_, &conversion))
            return false;
        for (size_t at = 0, i = 0; at < audio.size(); ++i) {
            AudioBlockInfo block{};
            block.data = const_cast<uint8_t*>(audio.data() + at);
            block.length = uint32_t(std::min(pieces[i % pieces.size()], audio.size() - at));
            block.format = format;
            if (!encodeBlock_(enc_, &block))
                return false;
            at += block.length;
        }
        // The host is to write the tags afterwards, through the decoder's "IDTags".
        uint32_t tagAfterwards = 5;
        return end_(enc_, &conversion, &tagAfterwards) && tagAfterwards == 1;
    }

    // A 16-bit stereo wave file; returns its audio.
    Bytes MakeWave(const std::wstring& path) {
        const Bytes audio = Noise(44100 * 4 * 13 / 10, 5);
        EXPECT_TRUE(Encode(path, MakeWaveFormat(SampleKind::Pcm, 2, 44100, 16), audio));
        return audio;
    }

    // Opens `path` for a conversion (what it announces in info_) and decodes it to its end.
    bool Decode(const std::wstring& path, Bytes& audio, IDTagSet* tags = nullptr,
                std::vector<AudioBlockInfo>* blocks = nullptr) {
        info_ = DecodeOpenInfo{};
        if (!decoder_.OpenToConvert(dec_, path, info_))
            return false;
        if (tags)
            tags->Deserialize(info_.tagData, info_.tagSize);
        audio.clear();
        for (int guard = 0; guard < 100000; ++guard) {
            AudioBlockInfo block{};
            if (!decoder_.decodeBlock(dec_, &block))
                return false;
            if (blocks)
                blocks->push_back(block);
            const auto* p = static_cast<const uint8_t*>(block.data);
            audio.insert(audio.end(), p, p + block.length);
            if (block.endOfStream) {
                ConversionInfo conversion{};
                return decoder_.close(dec_, &conversion) != 0;
            }
        }
        return false;
    }

    uint32_t SetTags(const std::wstring& path, const IDTagSet& tags) {
        return decoder_.SetIdTags(dec_, path, tags.Serialize());
    }
    // The rewrite's temporary file beside `path`, numbered when the plain name is taken.
    static std::wstring Temporary(const std::wstring& path, const wchar_t* number = L"") {
        return path + L".p" + std::to_wstring(GetCurrentProcessId()) + number + L".rewrite.tmp";
    }
    static bool Exists(const std::wstring& path) {
        return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
    }

    DecoderApi decoder_;
    HMODULE encoder_ = nullptr;
    WmEncCreate encCreate_ = nullptr;
    WmEncDestroy encDestroy_ = nullptr;
    WmEncBeginConversion begin_ = nullptr;
    WmEncEncodeBlock encodeBlock_ = nullptr;
    WmEncEndConversion end_ = nullptr;
    void* dec_ = nullptr;
    void* enc_ = nullptr;
    std::wstring folder_;
    DecodeOpenInfo info_{};
};

TEST_F(WavPlugins, ExportTheirEntryPoints) {
    for (const char* name : {"Create", "Destroy", "Get", "Set", "Open", "Close", "DecodeBlock",
                             "SetPosition", "DeleteATag"})
        EXPECT_NE(GetProcAddress(decoder_.module, name), nullptr) << name;
    for (const char* name :
         {"ENC_Create", "ENC_Destroy", "ENC_Get", "ENC_Set", "ENC_ShowConfigBit",
          "ENC_RemoveConfigBit", "ENC_BeginConversion", "ENC_EncodeBlock", "ENC_EndConversion"})
        EXPECT_NE(GetProcAddress(encoder_, name), nullptr) << name;
}

TEST_F(WavPlugins, RoundTripKeepsTheAudioInBoundedPositionedBlocks) {
    const WmWaveFormat format = MakeWaveFormat(SampleKind::Pcm, 3, 44100, 24);
    const Bytes audio = Noise(format.avgBytesPerSec * 17 / 10 / 9 * 9, 1); // 1.7 s
    const std::wstring path = folder_ + L"round.wav";
    // Pieces that split frames and straddle the encoder's buffer.
    ASSERT_TRUE(Encode(path, format, audio, {1, 7777, 600001, 4}));
    std::vector<AudioBlockInfo> blocks;
    Bytes decoded;
    ASSERT_TRUE(Decode(path, decoded, nullptr, &blocks));
    EXPECT_EQ(decoded, audio);
    EXPECT_EQ(info_.byteLength, audio.size());
    EXPECT_EQ(info_.msLength, audio.size() * 1000 / format.avgBytesPerSec);
    EXPECT_EQ(info_.bitRate, format.avgBytesPerSec * 8);
    EXPECT_EQ(info_.format.formatTag, WM_FORMAT_EXTENSIBLE);
    EXPECT_EQ(info_.format.channelMask, 0x7u);
    ASSERT_GE(blocks.size(), 4u);
    uint64_t before = 0;
    for (size_t i = 0; i < blocks.size(); ++i) {
        const AudioBlockInfo& b = blocks[i];
        EXPECT_EQ(b.length % 9, 0u);
        EXPECT_LE(b.length, format.avgBytesPerSec / 2);
        EXPECT_EQ(b.msPosition, before * 1000 / format.avgBytesPerSec);
        EXPECT_EQ(b.msDuration, uint64_t{b.length} * 1000 / format.avgBytesPerSec);
        EXPECT_EQ(b.endOfStream != 0, i + 1 == blocks.size());
        EXPECT_EQ(std::memcmp(&b.format, &info_.format, sizeof(WmWaveFormat)), 0);
        before += b.length;
    }

    // Positioning moves the next block.
    ASSERT_TRUE(decoder_.OpenToConvert(dec_, path, info_));
    ASSERT_TRUE(decoder_.setPosition(dec_, 1000));
    AudioBlockInfo block{};
    ASSERT_TRUE(decoder_.decodeBlock(dec_, &block));
    EXPECT_EQ(block.msPosition, 1000u);
    EXPECT_EQ(std::memcmp(block.data, audio.data() + format.avgBytesPerSec, 9), 0);

    // No audio at all is one empty end block.
    const std::wstring empty = folder_ + L"empty.wav";
    ASSERT_TRUE(Encode(empty, MakeWaveFormat(SampleKind::Float, 2, 48000, 32), {}));
    blocks.clear();
    ASSERT_TRUE(Decode(empty, decoded, nullptr, &blocks));
    EXPECT_EQ(wav::KindOf(info_.format), SampleKind::Float);
    ASSERT_EQ(blocks.size(), 1u);
    EXPECT_EQ(blocks[0].length, 0u);
}

TEST_F(WavPlugins, EncoderRefusesWhatItCannotWrite) {
    WmWaveFormat adpcm = MakeWaveFormat(SampleKind::Pcm, 2, 44100, 4);
    adpcm.formatTag = 2;
    const std::wstring noFolder = folder_ + L"no\\such\\folder.wav";
    EXPECT_FALSE(Encode(folder_ + L"refused.wav", adpcm, {}));
    EXPECT_FALSE(Encode(noFolder, MakeWaveFormat(SampleKind::Pcm, 2, 44100, 16), {}));

    const std::wstring path = folder_ + L"mismatch.wav";
    const WmWaveFormat format = MakeWaveFormat(SampleKind::Pcm, 2, 44100, 16);
    ConversionInfo conversion{};
    conversion.outputPath = U(path);
    conversion.sourceFormat = &format;
    ASSERT_NE(begin_(enc_, &conversion), 0u);
    uint8_t samples[8] = {};
    AudioBlockInfo block{};
    block.data = samples;
    block.length = sizeof samples;
    block.format = MakeWaveFormat(SampleKind::Pcm, 2, 48000, 16);
    EXPECT_EQ(encodeBlock_(enc_, &block), 0u) << "other rate";
    block.format = MakeWaveFormat(SampleKind::Float, 1, 44100, 32);
    EXPECT_EQ(encodeBlock_(enc_, &block), 0u) << "other kind, same frame size";
    block.format = format;
    EXPECT_NE(encodeBlock_(enc_, &block), 0u);
    uint32_t tagAfterwards = 0;
    EXPECT_NE(end_(enc_, &conversion, &tagAfterwards), 0u);
    EXPECT_EQ(ReadBytes(path).size(), 80u + sizeof samples);
}

TEST_F(WavPlugins, IdTagsRewriteTheFileWithNamedPictures) {
    const std::wstring path = folder_ + L"tagged.wav";
    const Bytes audio = MakeWave(path);
    Bytes front = Noise(70000, 7), back = Noise(3001, 8);
    std::memcpy(front.data(), "\x89PNG\r\n\x1A\n", 8);
    std::memcpy(back.data(), "\xFF\xD8\xFF\xE0", 4);
    IDTagSet tags;
    tags.Add(u"title", u"Caf\u00e9 \u266b");
    tags.Add(u"artist", u"A\rB");
    tags.Add(u"_riff_internal", u"not written");
    tags.AddData(MakeAlbumArtName(1, u"Front Album Cover", u""), front.data(), front.size());
    tags.AddData(MakeAlbumArtName(2, u"Back Album Cover", u"back side"), back.data(), back.size());
    ASSERT_EQ(SetTags(path, tags), 1u);
    EXPECT_FALSE(Exists(Temporary(path)));
    IDTagSet read;
    Bytes decoded;
    ASSERT_TRUE(Decode(path, decoded, &read));
    EXPECT_EQ(decoded, audio);
    ASSERT_EQ(read.Count(), 4u);
    EXPECT_EQ(read.GetValue(u"title"), u"Caf\u00e9 \u266b");
    EXPECT_EQ(read.GetValue(u"artist"), u"A\rB");
    EXPECT_EQ(read.At(2).Name, u"_albumart_1_Front Album Cover");
    EXPECT_EQ(read.At(2).Data, front);
    EXPECT_EQ(read.At(3).Name, u"_albumart_2_Back Album Cover<subdesc>back side");
    EXPECT_EQ(read.At(3).Data, back);
}

TEST_F(WavPlugins, FailedRewriteLeavesTheOriginalAndNoTemporary) {
    const std::wstring path = folder_ + L"kept.wav";
    const Bytes audio = MakeWave(path);
    const Bytes original = ReadBytes(path);
    IDTagSet tags;
    tags.Add(u"title", u"new");

    // Held open without delete sharing, the file cannot be replaced.
    HANDLE h = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0,
                           nullptr);
    ASSERT_NE(h, INVALID_HANDLE_VALUE);
    EXPECT_EQ(SetTags(path, tags), 0u);
    CloseHandle(h);
    EXPECT_EQ(ReadBytes(path), original);
    EXPECT_FALSE(Exists(Temporary(path)));
    // A read-only file is not replaced either; nor is a file that is no wave file.
    ASSERT_TRUE(SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_READONLY));
    EXPECT_EQ(SetTags(path, tags), 0u);
    SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    EXPECT_EQ(ReadBytes(path), original);
    const std::wstring text = folder_ + L"text.wav";
    ASSERT_TRUE(WriteBytes(text, Bytes(100, 'x')));
    EXPECT_EQ(SetTags(text, tags), 0u);
    EXPECT_EQ(ReadBytes(text), Bytes(100, 'x'));
    EXPECT_FALSE(Exists(Temporary(text)));

    // Someone else's file under the temporary name is left alone; the next name is used.
    ASSERT_TRUE(WriteBytes(Temporary(path), {'m', 'i', 'n', 'e'}));
    EXPECT_EQ(SetTags(path, tags), 1u);
    EXPECT_EQ(ReadBytes(Temporary(path)), (Bytes{'m', 'i', 'n', 'e'}));
    EXPECT_FALSE(Exists(Temporary(path, L".1")));
    DeleteFileW(Temporary(path).c_str());
    IDTagSet read;
    Bytes decoded;
    ASSERT_TRUE(Decode(path, decoded, &read));
    EXPECT_EQ(read.GetValue(u"title"), u"new");
    EXPECT_EQ(decoded, audio);
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
