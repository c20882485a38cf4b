// Binds the shipped WAV plug-ins from the staged program tree, as the host does, and the
// whole-file reads and writes the plug-in tests and wavtool need.
#pragma once

#include <sdk/wavemill_plugin.h>

#include <windows.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace wm::test {

using Bytes = std::vector<uint8_t>;

inline const WmChar* U(const std::wstring& s) {
    return reinterpret_cast<const WmChar*>(s.c_str());
}

// The whole file, or nothing when it cannot be read.
inline Bytes ReadBytes(const std::wstring& path) {
    std::ifstream in(std::filesystem::path(path), std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), {});
}

// Creates or replaces the file with `bytes`; true when all of them were written.
inline bool WriteBytes(const std::wstring& path, const Bytes& bytes) {
    std::ofstream out(std::filesystem::path(path), std::ios::binary);
    return out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size())) &&
           out.flush();
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

struct DecoderApi {
    HMODULE module = nullptr;
    WmDecCreate create = nullptr;
    WmDecDestroy destroy = nullptr;
    WmDecSet set = nullptr;
    WmDecOpen open = nullptr;
    WmDecClose close = nullptr;
    WmDecDecodeBlock decodeBlock = nullptr;

    bool Load(const std::wstring& stage) {
        module = LoadStaged(stage, L"decoder\\WavDecoder.dll");
        return module && Bind(module, "Create", create) && Bind(module, "Destroy", destroy) &&
               Bind(module, "Set", set) && Bind(module, "Open", open) &&
               Bind(module, "Close", close) && Bind(module, "DecodeBlock", decodeBlock);
    }

    // Opens `path` for a conversion; `info` receives what the decoder announces.
    bool OpenToConvert(void* instance, const std::wstring& path, DecodeOpenInfo& info) const {
        info.path = U(path);
        info.openMode = WM_OPEN_CONVERT;
        return open(instance, &info) != 0;
    }

    // Rewrites the tags of the file at `path` with a serialised tag set, through "IDTags".
    uint32_t SetIdTags(void* instance, const std::wstring& path, const Bytes& tags) const {
        PluginValue value{};
        value.value2 = static_cast<uint32_t>(tags.size());
        value.pointer1 = const_cast<wchar_t*>(path.c_str());
        value.pointer4 = const_cast<uint8_t*>(tags.data());
        return set(instance, WM_VALUE_ID_TAGS, &value);
    }
};

} // namespace wm::test
