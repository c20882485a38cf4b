// The shipped WAV decoder and encoder, loaded from the staged tree as the host loads them: audio
// in and out, and the decoder as the host's "IDTags" writer.
#include "bundled/wav/WaveFormatRules.h"
#include "process/UniqueHandle.h"
#include "tags/IDTagSet.h"
#include "tests/unit/wav/WavPluginApi.h"
#include "tests/unit/wav/WaveTestBytes.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace wm::test {
namespace {

using wav::MakeWaveFormat;
using wav::SampleKind;

class WavPlugins : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(decoder_.Load()) << GetLastError();
        encoder_ = LoadStaged(u"encoder\\Wave.dll");
        ASSERT_TRUE(BindAll(encoder_, encApi_));
        dec_ = decoder_.create(nullptr);
        enc_ = encApi_.create(nullptr);
        ASSERT_TRUE(dec_ && enc_);
        const String temp = TempDir();
        folder_ = std::wstring(temp.begin(), temp.end());
    }
    void TearDown() override {
        if (dec_)
            decoder_.destroy(dec_);
        if (enc_)
            encApi_.destroy(enc_);
    }

    // Encodes `audio` in pieces of `piece` bytes, as the host's blocks arrive, each announced
    // as `blockFormat` (the source's format when null).
    bool Encode(const std::wstring& path, const WmWaveFormat& format, const Bytes& audio,
                size_t piece = 88200, const WmWaveFormat* blockFormat = nullptr,
                const Bytes* tagBlock = nullptr, uint32_t runError = 0) {
        conversion_ = ConversionInfo{};
        conversion_.outputPath = U(path);
        conversion_.sourceFormat = &format;
        if (tagBlock) {
            conversion_.tagData = const_cast<uint8_t*>(tagBlock->data());
            conversion_.tagSize = uint32_t(tagBlock->size());
        }
        if (!encApi_.beginConversion(enc_, &conversion_))
            return false;
        for (size_t at = 0; at < audio.size(); at += piece) {
            AudioBlockInfo block{};
            block.data = const_cast<uint8_t*>(audio.data() + at);
            block.length = uint32_t(std::min(piece, audio.size() - at));
            block.format = blockFormat ? *blockFormat : format;
            if (!encApi_.encodeBlock(enc_, &block))
                return false;
        }
        conversion_.runError = runError;
        tagAfterwards_ = 9;
        return encApi_.endConversion(enc_, &conversion_, &tagAfterwards_) != 0;
    }
    uint32_t tagAfterwards_ = 0;

    // Opens `path` for a conversion and decodes it to its end into audio_, blocks_ and tags_.
    bool Decode(const std::wstring& path) {
        DecodeOpenInfo info{};
        if (!decoder_.OpenToConvert(dec_, path, info))
            return false;
        tags_.Deserialize(info.tagData, info.tagSize);
        audio_.clear();
        for (blocks_.clear(); blocks_.size() < 100000;) {
            AudioBlockInfo& block = blocks_.emplace_back();
            if (!decoder_.decodeBlock(dec_, &block))
                return false;
            const auto* p = static_cast<const uint8_t*>(block.data);
            audio_.insert(audio_.end(), p, p + block.length);
            if (block.endOfStream)
                return decoder_.close(dec_, &conversion_) != 0;
        }
        return false;
    }

    DecoderApi decoder_;
    HMODULE encoder_ = nullptr;
    EncoderEntryPoints encApi_;
    void* dec_ = nullptr;
    void* enc_ = nullptr;
    std::wstring folder_;
    ConversionInfo conversion_{};
    Bytes audio_;
    std::vector<AudioBlockInfo> blocks_;
    IDTagSet tags_;
};

TEST_F(WavPlugins, EncoderRefusesABlockOfAnotherFormatAndSaysWhy) {
    const std::wstring path = folder_ + L"mismatch.wav";
    const WmWaveFormat pcm = MakeWaveFormat(SampleKind::Pcm, 2, 44100, 16);
    const WmWaveFormat floatMono = MakeWaveFormat(SampleKind::Float, 1, 44100, 32);
    EXPECT_TRUE(Encode(path, pcm, Bytes(8), 8, &pcm));
    EXPECT_EQ(ReadBytes(path).size(), 80u + 8);
    EXPECT_EQ(LastError(encApi_.get, enc_), u"") << "nothing has failed yet";
    EXPECT_FALSE(Encode(path, pcm, Bytes(8), 8, &floatMono)) << "other kind, same frame size";
    EXPECT_EQ(LastError(encApi_.get, enc_), u"a block's format differs from the conversion's");
    WmWaveFormat adpcm = pcm;
    adpcm.formatTag = 2;
    EXPECT_FALSE(Encode(path, adpcm, Bytes(8)));
    EXPECT_EQ(LastError(encApi_.get, enc_), u"WAV format 0x0002 (MS ADPCM) is not supported");
}

// The codec frame answers ReplayGain and help for the other encoders; a wave file's tags have
// no place for ReplayGain, and Wave output has no options to explain. It is lossless.
TEST_F(WavPlugins, EncoderAnswersOnlyWhatWaveOutputHas) {
    PluginValue value{};
    ASSERT_EQ(encApi_.get(enc_, WM_VALUE_EXTENSION, &value), 1u);
    EXPECT_EQ(String(static_cast<const char16_t*>(value.pointer1)), u".wav");
    EXPECT_EQ(encApi_.get(enc_, WM_VALUE_SEND_OVER_REPLAYGAIN_TAGS, &value), 0u);
    EXPECT_EQ(encApi_.get(enc_, WM_VALUE_HELP, &value), 0u);
    EXPECT_EQ(encApi_.get(enc_, WM_VALUE_LOSSLESS, &value), 1u); // the samples as they came
}

TEST_F(WavPlugins, EncoderWritesTheTagsInTheSamePassAndDropsAFailedRunsFile) {
    const std::wstring path = folder_ + L"tagged.wav";
    const WmWaveFormat pcm = MakeWaveFormat(SampleKind::Pcm, 2, 44100, 16);
    IDTagSet set;
    set.Add(u"title", u"One Pass");
    const uint8_t cover[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 1, 2, 3};
    set.AddData(u"_albumart_1_Front Album Cover", cover, sizeof cover);
    const Bytes block = set.Serialize();
    Bytes audio(4001 * 4);
    for (size_t i = 0; i < audio.size(); ++i)
        audio[i] = uint8_t(i * 7);
    ASSERT_TRUE(Encode(path, pcm, audio, 88200, nullptr, &block));
    EXPECT_EQ(tagAfterwards_, 0u) << "no second write of the file";
    ASSERT_TRUE(Decode(path));
    EXPECT_EQ(audio_, audio);
    EXPECT_EQ(tags_.GetValue(u"title"), u"One Pass");
    String type;
    const IDTagEntry* art = tags_.FindAlbumArt(1, &type);
    ASSERT_TRUE(art);
    EXPECT_EQ(Bytes(art->Data.begin(), art->Data.end()), Bytes(cover, cover + sizeof cover));

    // The host says the run failed: the partial file goes.
    EXPECT_TRUE(Encode(path, pcm, audio, 88200, nullptr, &block, 1));
    EXPECT_EQ(GetFileAttributesW(path.c_str()), INVALID_FILE_ATTRIBUTES);
}

TEST_F(WavPlugins, DecoderSaysWhyAFileDoesNotOpen) {
    DecodeOpenInfo info{};
    const std::wstring text = folder_ + L"not-a-wave.wav";
    ASSERT_TRUE(WriteBytes(text, Bytes(64, 'x')));
    EXPECT_FALSE(decoder_.OpenToConvert(dec_, text, info));
    EXPECT_EQ(LastError(decoder_.get, dec_), u"not a RIFF WAVE file");

    Bytes fmt = wav::test::PcmFmt(1, 8000, 16);
    fmt[0] = 0x11; // IMA ADPCM
    const std::wstring ima = folder_ + L"ima.wav";
    Bytes chunks = wav::test::Chunk("fmt ", fmt);
    wav::test::Add(chunks, wav::test::Chunk("data", Bytes(4)));
    ASSERT_TRUE(WriteBytes(ima, wav::test::Wave(chunks)));
    EXPECT_FALSE(decoder_.OpenToConvert(dec_, ima, info));
    EXPECT_EQ(LastError(decoder_.get, dec_), u"WAV format 0x0011 (IMA ADPCM) is not supported");

    EXPECT_FALSE(decoder_.OpenToConvert(dec_, folder_ + L"missing.wav", info));
    EXPECT_EQ(LastError(decoder_.get, dec_), u"the file could not be opened");
}

TEST_F(WavPlugins, DecodeWholeFramesAndRewriteTagsSafely) {
    // Wide and fast enough for the block cap, which is no whole number of 9-byte frames.
    const WmWaveFormat format = MakeWaveFormat(SampleKind::Pcm, 3, 192000, 24);
    Bytes audio(format.avgBytesPerSec * 17 / 10 / 9 * 9); // 1.7 s
    for (size_t i = 0; i < audio.size(); ++i)
        audio[i] = uint8_t(i * 7 + i / 251);
    const std::wstring path = folder_ + L"kept.wav";
    ASSERT_TRUE(Encode(path, format, audio, 7777)); // pieces that split frames
    ASSERT_TRUE(Decode(path));
    EXPECT_EQ(audio_, audio);
    ASSERT_GE(blocks_.size(), 4u);
    for (size_t i = 0; i < blocks_.size(); ++i) {
        EXPECT_EQ(blocks_[i].length % 9, 0u);
        EXPECT_EQ(blocks_[i].endOfStream != 0, i + 1 == blocks_.size());
    }

    const Bytes original = ReadBytes(path);
    const std::wstring temporary =
        path + L".p" + std::to_wstring(GetCurrentProcessId()) + L".rewrite.tmp";
    IDTagSet tags;
    tags.Add(u"title", u"new");
    // Held open without delete sharing, the file cannot be replaced.
    UniqueHandle held(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                  OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(held);
    EXPECT_EQ(decoder_.SetIdTags(dec_, path, tags.Serialize()), 0u);
    EXPECT_EQ(LastError(decoder_.get, dec_), u"the original file could not be replaced");
    held.reset();
    EXPECT_EQ(ReadBytes(path), original);
    EXPECT_EQ(GetFileAttributesW(temporary.c_str()), INVALID_FILE_ATTRIBUTES);

    // Once free, it is rewritten with the same audio.
    ASSERT_EQ(decoder_.SetIdTags(dec_, path, tags.Serialize()), 1u);
    EXPECT_EQ(GetFileAttributesW(temporary.c_str()), INVALID_FILE_ATTRIBUTES);
    ASSERT_TRUE(Decode(path));
    EXPECT_EQ(audio_, audio);
    EXPECT_EQ(tags_.GetValue(u"title"), u"new");
}

} // namespace
} // namespace wm::test
