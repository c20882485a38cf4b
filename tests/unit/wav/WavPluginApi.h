// Binds the shipped WAV plug-ins from the staged program tree, as the host does, and the
// whole-file reads and writes the plug-in tests and wavtool need.
#pragma once

#include <sdk/wavemill_plugin.h>

#include "plugins/clTwDecoder.h"
#include "plugins/clTwEncoder.h"
#include "tests/support/TestFiles.h"

#include <windows.h>

#include <cstdint>
#include <cstring>
#include <string>

namespace wm::test {

inline const WmChar* U(const std::wstring& s) {
    return reinterpret_cast<const WmChar*>(s.c_str());
}

// Fills a host binding's entry-point table from `module`, as the host does; false when an
// entry point is missing.
template <class EntryPoints> bool BindAll(HMODULE module, EntryPoints& entries) {
    if (!module)
        return false;
    for (const XDLL::EntryPoint& entry : entries.Table()) {
        FARPROC proc = GetProcAddress(module, entry.name);
        if (!proc)
            return false;
        std::memcpy(entry.slot, &proc, sizeof proc);
    }
    return true;
}

// `relative` below the staged tree (any slashes), e.g. u"decoder\\WavDecoder.dll".
inline HMODULE LoadStaged(StringView relative, String stage = StageDir()) {
    ReplaceAll(stage, u"/", u"\\");
    if (!stage.ends_with(u'\\'))
        stage += u'\\';
    const String path = stage + String(relative);
    return LoadLibraryW(reinterpret_cast<const wchar_t*>(path.c_str()));
}

struct DecoderApi : DecoderEntryPoints {
    HMODULE module = nullptr;

    bool Load(const String& stage = StageDir()) {
        module = LoadStaged(u"decoder\\WavDecoder.dll", stage);
        return BindAll(module, *this);
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

// The plug-in's answer to "LastError" through its get entry point; empty when it has none.
template <typename Get> std::u16string LastError(Get get, void* instance) {
    PluginValue value{};
    if (!get(instance, WM_VALUE_LAST_ERROR, &value) || !value.pointer1)
        return u"";
    return static_cast<const char16_t*>(value.pointer1);
}

} // namespace wm::test
