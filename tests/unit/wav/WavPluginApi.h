// Binds the shipped WAV plug-ins from the staged program tree, as the host does. Only the entry
// points the tests call are kept; the export-table test checks that all of them are there.
#pragma once

#include <sdk/wavemill_plugin.h>

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

namespace wm::test {

inline const WmChar* U(const wchar_t* s) {
    return reinterpret_cast<const WmChar*>(s);
}
inline const WmChar* U(const std::wstring& s) {
    return U(s.c_str());
}

// Sets `slot` to the export `name` of `module`; true when there is one.
template <typename F> bool Bind(HMODULE module, const char* name, F& slot) {
    slot = reinterpret_cast<F>(reinterpret_cast<void*>(GetProcAddress(module, name)));
    return slot != nullptr;
}

// `stage` is the staged tree (any slashes); `relative` e.g. L"decoder\\WavDecoder.dll".
inline HMODULE LoadStaged(std::wstring stage, const wchar_t* relative) {
    for (wchar_t& c : stage)
        if (c == L'/')
            c = L'\\';
    return LoadLibraryW((stage + L"\\" + relative).c_str());
}

inline void AppendAudio(std::vector<uint8_t>& audio, const AudioBlockInfo& block) {
    const auto* p = static_cast<const uint8_t*>(block.data);
    audio.insert(audio.end(), p, p + block.length);
}

struct DecoderApi {
    HMODULE module = nullptr;
    WmDecCreate create = nullptr;
    WmDecDestroy destroy = nullptr;
    WmDecGet get = nullptr;
    WmDecSet set = nullptr;
    WmDecOpen open = nullptr;
    WmDecClose close = nullptr;
    WmDecDecodeBlock decodeBlock = nullptr;
    WmDecSetPosition setPosition = nullptr;

    bool Load(const std::wstring& stage) {
        module = LoadStaged(stage, L"decoder\\WavDecoder.dll");
        return module && Bind(module, "Create", create) && Bind(module, "Destroy", destroy) &&
               Bind(module, "Get", get) && Bind(module, "Set", set) && Bind(module, "Open", open) &&
               Bind(module, "Close", close) && Bind(module, "DecodeBlock", decodeBlock) &&
               Bind(module, "SetPosition", setPosition);
    }

    // Opens `path` for a conversion; `info` receives what the decoder announces.
    bool OpenToConvert(void* instance, const wchar_t* path, DecodeOpenInfo& info) const {
        info.path = U(path);
        info.openMode = WM_OPEN_CONVERT;
        return open(instance, &info) != 0;
    }

    // Hands every block to `onBlock` up to the end of the stream. False when a block fails,
    // `onBlock` answers false, or the stream does not end within a sane number of blocks.
    template <typename OnBlock> bool DecodeBlocks(void* instance, OnBlock onBlock) const {
        for (int guard = 0; guard < 100000; ++guard) {
            AudioBlockInfo block{};
            if (!decodeBlock(instance, &block) || !onBlock(block))
                return false;
            if (block.endOfStream)
                return true;
        }
        return false;
    }

    bool CloseFile(void* instance) const {
        ConversionInfo conversion{};
        return close(instance, &conversion) != 0;
    }

    // Rewrites the tags of the file at `path` with a serialised tag set, through "IDTags".
    uint32_t SetIdTags(void* instance, const wchar_t* path,
                       const std::vector<uint8_t>& tags) const {
        PluginValue value{};
        value.value2 = static_cast<uint32_t>(tags.size());
        value.pointer1 = const_cast<wchar_t*>(path);
        value.pointer4 = const_cast<uint8_t*>(tags.data());
        return set(instance, WM_VALUE_ID_TAGS, &value);
    }
};

struct EncoderApi {
    HMODULE module = nullptr;
    WmEncCreate create = nullptr;
    WmEncDestroy destroy = nullptr;
    WmEncGet get = nullptr;
    WmEncBeginConversion begin = nullptr;
    WmEncEndConversion end = nullptr;
    WmEncEncodeBlock encodeBlock = nullptr;

    bool Load(const std::wstring& stage) {
        module = LoadStaged(stage, L"encoder\\Wave.dll");
        return module && Bind(module, "ENC_Create", create) &&
               Bind(module, "ENC_Destroy", destroy) && Bind(module, "ENC_Get", get) &&
               Bind(module, "ENC_BeginConversion", begin) &&
               Bind(module, "ENC_EndConversion", end) &&
               Bind(module, "ENC_EncodeBlock", encodeBlock);
    }
};

} // namespace wm::test
