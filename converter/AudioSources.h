// Where the run's audio comes from: the decoder plug-in bound to the input file, raw PCM on
// standard input described by options, or the file the non-live effects rendered.
#pragma once

#include "files/FileAccess.h"
#include "flow/BlockFlow.h"
#include "options/OptionStore.h"
#include "plugins/clTwDecoder.h"
#include "wave/WaveFormat.h"

#include <windows.h>

#include <vector>

namespace wm {

class AudioSource : public BlockSource {
  public:
    // Fills the source description (path and open mode are set by the caller).
    virtual bool Open(DecodeOpenInfo& info) = 0;
    virtual bool Close(ConversionInfo& conversion) = 0;
};

// When the decoder chosen by the extension refuses the file, the other decoders are asked
// (contentFallback; not for one track of a disc image, which only the cue decoder reads).
class DecoderSource : public AudioSource {
  public:
    DecoderSource(clTwDecoder& decoder, const String& inputFile, const String& programFolder,
                  bool contentFallback)
        : decoder_(decoder), inputFile_(inputFile), programFolder_(programFolder),
          contentFallback_(contentFallback) {}
    bool Open(DecodeOpenInfo& info) override;
    bool NextBlock(AudioBlockInfo& block) override;
    bool Close(ConversionInfo& conversion) override;

  private:
    bool OpenByContent(DecodeOpenInfo& info);
    std::vector<uint8_t> FirstBytes() const;

    clTwDecoder& decoder_;
    const String& inputFile_;
    const String& programFolder_;
    const bool contentFallback_;
};

class StdInputSource : public AudioSource {
  public:
    explicit StdInputSource(const OptionStore& options) : options_(options) {}
    ~StdInputSource() override { CloseInput(); }
    bool Open(DecodeOpenInfo& info) override;
    bool NextBlock(AudioBlockInfo& block) override;
    bool Close(ConversionInfo& conversion) override;

  private:
    bool ReadFormat(DecodeOpenInfo& info);
    bool ReadTagFile(DecodeOpenInfo& info);
    void DetectReading();
    void ReadAvailable();
    void CloseInput();

    const OptionStore& options_;
    HANDLE input_ = INVALID_HANDLE_VALUE;
    bool ended_ = false;
    bool peekWorks_ = true;
    std::vector<uint8_t> buffer_;
    std::vector<uint8_t> tags_; // the idtags file, kept for the whole run
    WaveFormat format_;
    uint64_t delivered_ = 0;
};

// The file the non-live effects rendered, read back in blocks of half a second of its format:
// by the encoder, or by a live effect applied to it while rendering (whose blocks carry the
// whole length instead of their own and no bit rate). Own() makes it delete the file on
// Release, which destruction does too.
class RenderedFileSource : public BlockSource {
  public:
    enum class Reader { Encoder, Effect };
    explicit RenderedFileSource(Reader reader = Reader::Encoder, uint64_t wholeMs = 0)
        : reader_(reader), wholeMs_(wholeMs) {}
    ~RenderedFileSource() override { Release(); }
    RenderedFileSource(const RenderedFileSource&) = delete;
    RenderedFileSource& operator=(const RenderedFileSource&) = delete;

    void Own(const String& path) { owned_ = path; }
    bool Open(const String& path, const WmWaveFormat& format);
    bool NextBlock(AudioBlockInfo& block) override;
    void Release();
    bool IsOpen() const { return file_.IsOpen(); }

  private:
    bool ReadError(const char16_t* encoderText);
    void DropTornEnd();
    const char* Context() const;

    Reader reader_;
    uint64_t wholeMs_;
    String owned_;
    FileAccess file_;
    WaveFormat format_;
    uint64_t left_ = 0, delivered_ = 0;
    std::vector<uint8_t> buffer_;
};

} // namespace wm
