// Binds the shipped WAV plug-ins from the staged program tree, as the host does. Only the entry
// points the tests call are kept; the export-table test checks that all of them are there.
#pragma once

#include <sdk/wavemill_plugin.h>

#include <windows.h>

#include <string>

namespace wm::test {

template <typename F> F Entry(HMODULE module, const char* name) {
    return reinterpret_cast<F>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

// `stage` is the staged tree (any slashes); `relative` e.g. L"decoder\\WavDecoder.dll".
inline HMODULE LoadStaged(std::wstring stage, const wchar_t* relative) {
    for (wchar_t& c : stage)
        if (c == L'/')
            c = L'\\';
    return LoadLibraryW((stage + L"\\" + relative).c_str());
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
        if (!module)
            return false;
        create = Entry<WmDecCreate>(module, "Create");
        destroy = Entry<WmDecDestroy>(module, "Destroy");
        get = Entry<WmDecGet>(module, "Get");
        set = Entry<WmDecSet>(module, "Set");
        open = Entry<WmDecOpen>(module, "Open");
        close = Entry<WmDecClose>(module, "Close");
        decodeBlock = Entry<WmDecDecodeBlock>(module, "DecodeBlock");
        setPosition = Entry<WmDecSetPosition>(module, "SetPosition");
        return create && destroy && get && set && open && close && decodeBlock && setPosition;
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
        if (!module)
            return false;
        create = Entry<WmEncCreate>(module, "ENC_Create");
        destroy = Entry<WmEncDestroy>(module, "ENC_Destroy");
        get = Entry<WmEncGet>(module, "ENC_Get");
        begin = Entry<WmEncBeginConversion>(module, "ENC_BeginConversion");
        end = Entry<WmEncEndConversion>(module, "ENC_EndConversion");
        encodeBlock = Entry<WmEncEncodeBlock>(module, "ENC_EncodeBlock");
        return create && destroy && get && begin && end && encodeBlock;
    }
};

} // namespace wm::test
