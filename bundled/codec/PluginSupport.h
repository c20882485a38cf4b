// What every codec plug-in answers the same way: the reason of its last failure ("LastError")
// and the nine exported entry points over a plug-in class.
#pragma once

#include "bundled/wav/WaveError.h"
#include "bundled/win/Win32File.h"
#include "text/String.h"

#include <sdk/wavemill_plugin.h>

#include <new>
#include <string_view>
#include <utility>

namespace wm::codec {

inline bool Is(const WmChar* name, std::u16string_view wanted) {
    return name && name == wanted;
}

class LastError {
  public:
    // Records why a call failed; returns 0, the failed call's result.
    uint32_t Fail(String why) {
        text_ = std::move(why);
        return 0;
    }
    // The same for a step that answers true or false.
    bool Failed(String why) { return Fail(std::move(why)) != 0; }
    // Records a wave file's failure in the words of its own error table.
    uint32_t Fail(wav::WaveError why, const WmWaveFormat* format = nullptr) {
        return Fail(wav::WaveErrorText(why, format));
    }
    bool Failed(wav::WaveError why, const WmWaveFormat* format = nullptr) {
        return Fail(why, format) != 0;
    }
    void Clear() { text_.clear(); }
    bool Empty() const { return text_.empty(); }
    const String& Text() const { return text_; }
    // Answers a "LastError" query; false for any other name.
    bool Answer(const WmChar* name, PluginValue* value, uint32_t& result) const {
        if (!Is(name, WM_VALUE_LAST_ERROR) || !value)
            return false;
        value->pointer1 = const_cast<char16_t*>(text_.c_str());
        result = text_.empty() ? 0 : 1;
        return true;
    }

  private:
    String text_;
};

// Lines that are not errors, kept until the next conversion begins and answered by index to
// "Information" once the run has ended.
class InformationLines {
  public:
    void Add(String line) { lines_.push_back(std::move(line)); }
    void Clear() { lines_.clear(); }
    // Answers an "Information" query; false for any other name.
    bool Answer(const WmChar* name, PluginValue* value, uint32_t& result) const {
        if (!Is(name, WM_VALUE_INFORMATION) || !value)
            return false;
        result = value->value1 < lines_.size() ? 1 : 0;
        value->pointer1 = result ? const_cast<char16_t*>(lines_[value->value1].c_str()) : nullptr;
        return true;
    }

  private:
    StringList lines_;
};

// Whether the output decodes to exactly the samples the encoder was handed.
enum class Fidelity { Lossy, Lossless };

// The values every codec encoder answers alike: its last failure, whether ReplayGain is wanted
// (when its tags have a place for it), whether it is lossless, its help text (none when null)
// and its output extension.
inline uint32_t AnswerEncoderValue(const LastError& error, const WmChar* name, PluginValue* value,
                                   const char16_t* extension, const char16_t* help,
                                   Fidelity fidelity, bool replayGain = true) {
    uint32_t result = 0;
    if (error.Answer(name, value, result))
        return result;
    if (Is(name, WM_VALUE_SEND_OVER_REPLAYGAIN_TAGS))
        return replayGain ? 1 : 0;
    if (Is(name, WM_VALUE_LOSSLESS))
        return fidelity == Fidelity::Lossless ? 1 : 0;
    const char16_t* text = !value                         ? nullptr
                           : Is(name, WM_VALUE_HELP)      ? help
                           : Is(name, WM_VALUE_EXTENSION) ? extension
                                                          : nullptr;
    if (!text)
        return 0;
    value->pointer1 = const_cast<char16_t*>(text);
    return 1;
}

// The frame of every codec's begin or open: start afresh, run `start` (which records its own
// reason), keep the first reason and release what a failed start left.
template <class Start, class Release>
uint32_t GuardedStart(LastError& error, Start start, Release release) noexcept {
    release();
    error.Clear();
    try {
        if (start())
            return 1;
    } catch (const std::bad_alloc&) {
        error.Fail(u"out of memory");
    }
    String why = error.Text();
    release();
    return error.Fail(std::move(why));
}

} // namespace wm::codec

// The nine decoder entry points over class T (Get, Set, Open, Close, DecodeBlock, SetPosition).
#define WM_DECODER_EXPORTS(T)                                                                      \
    WM_PLUGIN_EXPORT void* Create(void*) {                                                         \
        return new (std::nothrow) T();                                                             \
    }                                                                                              \
    WM_PLUGIN_EXPORT void Destroy(void* self) {                                                    \
        delete static_cast<T*>(self);                                                              \
    }                                                                                              \
    WM_PLUGIN_EXPORT uint32_t Get(void* self, const WmChar* name, PluginValue* value) {            \
        return self ? static_cast<T*>(self)->Get(name, value) : 0;                                 \
    }                                                                                              \
    WM_PLUGIN_EXPORT uint32_t Set(void* self, const WmChar* name, PluginValue* value) {            \
        return self ? static_cast<T*>(self)->Set(name, value) : 0;                                 \
    }                                                                                              \
    WM_PLUGIN_EXPORT uint32_t Open(void* self, DecodeOpenInfo* info) {                             \
        return self ? static_cast<T*>(self)->Open(info) : 0;                                       \
    }                                                                                              \
    WM_PLUGIN_EXPORT uint32_t Close(void* self, ConversionInfo*) {                                 \
        return self ? static_cast<T*>(self)->Close() : 0;                                          \
    }                                                                                              \
    WM_PLUGIN_EXPORT uint32_t DecodeBlock(void* self, AudioBlockInfo* block) {                     \
        return self ? static_cast<T*>(self)->DecodeBlock(block) : 0;                               \
    }                                                                                              \
    WM_PLUGIN_EXPORT uint32_t SetPosition(void* self, uint64_t ms) {                               \
        return self ? static_cast<T*>(self)->SetPosition(ms) : 0;                                  \
    }                                                                                              \
    WM_PLUGIN_EXPORT uint32_t DeleteATag(void*, void*, void*) {                                    \
        return 0;                                                                                  \
    }                                                                                              \
    static_assert(std::is_same_v<decltype(&Create), WmDecCreate>);                                 \
    static_assert(std::is_same_v<decltype(&Get), WmDecGet>);                                       \
    static_assert(std::is_same_v<decltype(&Open), WmDecOpen>);                                     \
    static_assert(std::is_same_v<decltype(&Close), WmDecClose>);                                   \
    static_assert(std::is_same_v<decltype(&DecodeBlock), WmDecDecodeBlock>);                       \
    static_assert(std::is_same_v<decltype(&SetPosition), WmDecSetPosition>);                       \
    static_assert(std::is_same_v<decltype(&DeleteATag), WmDecDeleteATag>)

// The nine encoder entry points over class T (Get, Set, Begin, Encode, End).
#define WM_ENCODER_EXPORTS(T)                                                                      \
    WM_PLUGIN_EXPORT void* ENC_Create(void*) {                                                     \
        return new (std::nothrow) T();                                                             \
    }                                                                                              \
    WM_PLUGIN_EXPORT void ENC_Destroy(void* self) {                                                \
        delete static_cast<T*>(self);                                                              \
    }                                                                                              \
    WM_PLUGIN_EXPORT uint32_t ENC_Get(void* self, const WmChar* name, PluginValue* value) {        \
        return self ? static_cast<T*>(self)->Get(name, value) : 0;                                 \
    }                                                                                              \
    WM_PLUGIN_EXPORT uint32_t ENC_Set(void* self, const WmChar* name, PluginValue* value) {        \
        return self ? static_cast<T*>(self)->Set(name, value) : 0;                                 \
    }                                                                                              \
    WM_PLUGIN_EXPORT uint32_t ENC_ShowConfigBit(void*, void*, void*) {                             \
        return 0;                                                                                  \
    }                                                                                              \
    WM_PLUGIN_EXPORT uint32_t ENC_RemoveConfigBit(void*, void*) {                                  \
        return 0;                                                                                  \
    }                                                                                              \
    WM_PLUGIN_EXPORT uint32_t ENC_BeginConversion(void* self, ConversionInfo* conversion) {        \
        return self ? static_cast<T*>(self)->Begin(conversion) : 0;                                \
    }                                                                                              \
    /* The tags went in with the audio; a failed run's partial file is deleted.  */                \
    WM_PLUGIN_EXPORT uint32_t ENC_EndConversion(void* self, ConversionInfo* conversion,            \
                                                uint32_t* after) {                                 \
        if (after)                                                                                 \
            *after = 0;                                                                            \
        const uint32_t ended = self ? static_cast<T*>(self)->End() : 0;                            \
        if (conversion && (conversion->runError || !ended) && conversion->outputPath)              \
            wm::bundled::DeletePath(conversion->outputPath);                                       \
        return ended;                                                                              \
    }                                                                                              \
    WM_PLUGIN_EXPORT uint32_t ENC_EncodeBlock(void* self, AudioBlockInfo* block) {                 \
        return self ? static_cast<T*>(self)->Encode(block) : 0;                                    \
    }                                                                                              \
    static_assert(std::is_same_v<decltype(&ENC_Create), WmEncCreate>);                             \
    static_assert(std::is_same_v<decltype(&ENC_Get), WmEncGet>);                                   \
    static_assert(std::is_same_v<decltype(&ENC_ShowConfigBit), WmEncShowConfigBit>);               \
    static_assert(std::is_same_v<decltype(&ENC_BeginConversion), WmEncBeginConversion>);           \
    static_assert(std::is_same_v<decltype(&ENC_EndConversion), WmEncEndConversion>);               \
    static_assert(std::is_same_v<decltype(&ENC_EncodeBlock), WmEncEncodeBlock>)
