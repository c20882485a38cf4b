// The FLAC and MP3 plug-ins as the host binds them, from the staged tree: a FLAC round trip of
// an odd sample format at the entry points, and the reasons ("LastError") their failures carry.
#include "bundled/codec/PcmConvert.h"
#include "tests/unit/wav/WavPluginApi.h"
#include "text/String.h"

#include <gtest/gtest.h>

namespace wm::test {
namespace {

std::string LastError(WmDecGet get, void* instance) {
    PluginValue v{};
    if (!get(instance, WM_VALUE_LAST_ERROR, &v) || !v.pointer1)
        return "<none>";
    return Narrow(static_cast<const char16_t*>(v.pointer1));
}

class CodecPlugins : public ::testing::Test {
  protected:
    void SetUp() override {
        DecoderEntryPoints dec;
        EncoderEntryPoints enc;
        ASSERT_TRUE(BindAll(LoadStaged(u"decoder\\FlacDecoder.dll"), dec));
        ASSERT_TRUE(BindAll(LoadStaged(u"encoder\\FLAC.dll"), enc));
        decCreate_ = dec.create;
        open_ = dec.open;
        decode_ = dec.decodeBlock;
        decGet_ = dec.get;
        encCreate_ = enc.create;
        encGet_ = enc.get;
        begin_ = enc.beginConversion;
        encode_ = enc.encodeBlock;
        end_ = enc.endConversion;
        dec_ = decCreate_(nullptr);
        enc_ = encCreate_(nullptr);
        wchar_t temp[MAX_PATH];
        path_ = std::wstring(temp, GetTempPathW(MAX_PATH, temp)) + L"wm_codec_test.flac";
    }

    bool Encode(const WmWaveFormat& format, const Bytes& audio, const char16_t* options = u"") {
        ConversionInfo c{};
        c.outputPath = U(path_);
        c.sourceFormat = &format;
        c.commandLine = options;
        AudioBlockInfo block{};
        block.data = const_cast<uint8_t*>(audio.data());
        block.length = uint32_t(audio.size());
        block.format = format;
        uint32_t after = 0;
        return begin_(enc_, &c) && encode_(enc_, &block) && end_(enc_, &c, &after);
    }

    // Decodes the whole file; false with the reason when a call fails.
    bool Decode(Bytes& pcm, WmWaveFormat& format, std::string& why) {
        DecodeOpenInfo info{};
        info.path = U(path_);
        info.openMode = WM_OPEN_CONVERT;
        if (!open_(dec_, &info))
            return why = LastError(decGet_, dec_), false;
        format = info.format;
        for (bool end = false; !end;) {
            AudioBlockInfo block{};
            if (!decode_(dec_, &block))
                return why = LastError(decGet_, dec_), false;
            const auto* p = static_cast<const uint8_t*>(block.data);
            pcm.insert(pcm.end(), p, p + block.length);
            end = block.endOfStream != 0;
        }
        return true;
    }

    WmDecCreate decCreate_ = nullptr;
    WmDecOpen open_ = nullptr;
    WmDecDecodeBlock decode_ = nullptr;
    WmDecGet decGet_ = nullptr;
    WmEncCreate encCreate_ = nullptr;
    WmEncGet encGet_ = nullptr;
    WmEncBeginConversion begin_ = nullptr;
    WmEncEncodeBlock encode_ = nullptr;
    WmEncEndConversion end_ = nullptr;
    void* dec_ = nullptr;
    void* enc_ = nullptr;
    std::wstring path_;
};

TEST_F(CodecPlugins, TwentyBitThreeChannelsRoundTripAndDamage) {
    const WmWaveFormat format = codec::PcmFormat(3, 32000, 20);
    Bytes audio(size_t{format.blockAlign} * 20000);
    for (size_t i = 0; i < audio.size(); ++i)
        audio[i] = uint8_t(i * 7919 >> 3) & (i % 3 == 0 ? 0xF0 : 0xFF); // low 4 bits unused
    ASSERT_TRUE(Encode(format, audio, u" -8 -V"));
    Bytes pcm;
    WmWaveFormat got{};
    std::string why;
    ASSERT_TRUE(Decode(pcm, got, why)) << why;
    EXPECT_EQ(got.validBitsPerSample, 20);
    EXPECT_EQ(got.channels, 3);
    EXPECT_EQ(pcm, audio);

    Bytes file = ReadBytes(path_);
    file[26 + 4] ^= 1; // inside STREAMINFO's MD5
    ASSERT_TRUE(WriteBytes(path_, file));
    pcm.clear();
    EXPECT_FALSE(Decode(pcm, got, why));
    EXPECT_NE(why.find("MD5"), std::string::npos) << why;
    file[26 + 4] ^= 1;
    file[file.size() / 2] ^= 0x55;
    ASSERT_TRUE(WriteBytes(path_, file));
    EXPECT_FALSE(Decode(pcm, got, why));
    EXPECT_NE(why.find("damaged"), std::string::npos) << why;
    file[file.size() / 2] ^= 0x55;
    file.resize(file.size() * 2 / 3);
    ASSERT_TRUE(WriteBytes(path_, file));
    EXPECT_FALSE(Decode(pcm, got, why));
    EXPECT_NE(why.find("ends early"), std::string::npos) << why;
    file = ReadBytes(path_);
    file.insert(file.begin() + 42,
                {0x06, 0, 0, 32, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0,    0,    0,    0,
                 0,    0, 0, 0,  0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF});
    ASSERT_TRUE(WriteBytes(path_, file)); // a PICTURE block claiming 4 GiB of picture data
    EXPECT_FALSE(Decode(pcm, got, why));
    EXPECT_NE(why.find("metadata block is damaged"), std::string::npos) << why;
    file.assign(4096, 0xFF);
    ASSERT_TRUE(WriteBytes(path_, file));
    EXPECT_FALSE(Decode(pcm, got, why));
    EXPECT_NE(why.find("not a FLAC file"), std::string::npos) << why;
    DeleteFileW(path_.c_str());
}

TEST_F(CodecPlugins, EncoderRefusalsSayWhy) {
    const Bytes audio(4000, 0);
    EXPECT_FALSE(Encode(codec::PcmFormat(2, 44100, 16), audio, u" -fast"));
    EXPECT_EQ(LastError(encGet_, enc_), "unknown FLAC option -fast");
    WmWaveFormat floats = codec::PcmFormat(2, 44100, 32);
    floats.formatTag = WM_FORMAT_IEEE_FLOAT;
    floats.cbSize = 0;
    EXPECT_FALSE(Encode(floats, audio));
    EXPECT_NE(LastError(encGet_, enc_).find("integer PCM"), std::string::npos);
}

// Only a lossless encoder may spare the host the decode that finds a lossy output's peak.
TEST_F(CodecPlugins, OnlyLosslessEncodersSaySo) {
    // The M4A encoders load FFmpeg's libraries, which sit at the top of the staged tree.
    ASSERT_TRUE(SetDllDirectoryW(reinterpret_cast<const wchar_t*>(StageDir().c_str())));
    for (auto [library, lossless] : {std::pair{u"encoder\\FLAC.dll", 1u},
                                     {u"encoder\\ALAC.dll", 1u},
                                     {u"encoder\\MP3.dll", 0u},
                                     {u"encoder\\AAC.dll", 0u},
                                     {u"encoder\\Vorbis.dll", 0u},
                                     {u"encoder\\Opus.dll", 0u}}) {
        EncoderEntryPoints enc;
        ASSERT_TRUE(BindAll(LoadStaged(library), enc));
        void* encoder = enc.create(nullptr);
        PluginValue value{};
        EXPECT_EQ(enc.get(encoder, WM_VALUE_LOSSLESS, &value), lossless) << Narrow(library);
        enc.destroy(encoder);
    }
}

} // namespace
} // namespace wm::test
