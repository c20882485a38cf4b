#include "plugins/clTwCodecHandler.h"

#include "files/PathText.h"
#include "plugins/DecoderFilter.h"
#include "plugins/PluginFolder.h"
#include "process/Log.h"
#include "process/Registry.h"
#include "text/NumberText.h"

#include <algorithm>
#include <utility>

namespace wm {

namespace {

String CacheKey(const char16_t* cacheKey) {
    return String(cacheKey ? cacheKey : clTwCodecHandler::kDecoderCacheKey) + u"64";
}

String AnsweredText(void* pointer) {
    return pointer ? String(static_cast<const char16_t*>(pointer)) : String();
}

// Loads "<folder>\<name>.DLL" into `binding` and creates its instance. The name is used as
// typed: the file system decides about letter case.
template <class EntryPoints>
bool LoadByName(PluginBinding<EntryPoints>& binding, const char16_t* kind, const char16_t* folder,
                const String& name, void* hostContext, const String& programFolder) {
    const String path = PluginFolder(programFolder, folder) + name + u".DLL";
    LogLine(u"Loading " + String(kind) + u" '" + path + u"'");
    return binding.Reload(path) && binding.CreateInstance(hostContext);
}

// A decoder's list of file types, asked entry by entry until it answers no more (or an entry
// without a type), each entry handed to visit until it returns false. A list that never ends
// (a plug-in answering every index) would hang -help and every conversion of a type nobody
// claims: it is cut after kMaxDecodesEntries, and the plug-in is named.
constexpr uint32_t kMaxDecodesEntries = 1000;

template <class Visit>
void WalkDecodesList(clTwDecoder& decoder, const char16_t* valueName, Visit visit) {
    for (uint32_t index = 0; index < kMaxDecodesEntries; ++index) {
        PluginValue value{};
        value.value1 = index;
        if (!decoder.Get(valueName, &value) || !value.pointer1 || !visit(value))
            return;
    }
    LogInfo(u"Information: The decoder '" + FileNamePart(decoder.LibraryPath()) +
                u"' lists file types without end; only its first " + IntToText(kMaxDecodesEntries) +
                u" \"" + valueName + u"\" entries were read.",
            "clTwCodecHandler::FindDecoder");
}

} // namespace

bool clTwCodecHandler::TryDecoder(const String& libraryPath, StringView extension,
                                  clTwDecoder& decoder, void* hostContext, bool isExtension) {
    if (!decoder.LoadForExtension(extension, libraryPath) || !decoder.CreateInstance(hostContext)) {
        decoder.Unload();
        return false;
    }
    const char16_t* valueName = isExtension ? WM_VALUE_STREAMING_DECODES : WM_VALUE_DECODES;
    bool claimed = false;
    WalkDecodesList(decoder, valueName, [&](const PluginValue& value) {
        claimed = EqualsNoCase(AnsweredText(value.pointer1), extension);
        return !claimed;
    });
    if (claimed)
        return true;
    decoder.Unload();
    return false;
}

bool clTwCodecHandler::FindDecoder(const String& pathOrExt, clTwDecoder& decoder, void* hostContext,
                                   const String& programFolder, bool isExtension,
                                   const char16_t* cacheKey) {
    decoder.DestroyInstance();
    const String extension = isExtension ? pathOrExt : ExtensionOf(pathOrExt);
    // A path without an extension names no file type: no decoder can claim it.
    if (extension.empty())
        return false;
    return FindForExtension(extension, decoder, hostContext, programFolder, isExtension, cacheKey);
}

bool clTwCodecHandler::FindTrackDecoder(clTwDecoder& decoder, void* hostContext,
                                        const String& programFolder) {
    decoder.DestroyInstance();
    return FindForExtension(u".cue", decoder, hostContext, programFolder, false, nullptr);
}

bool clTwCodecHandler::OpenByContent(clTwDecoder& decoder, DecodeOpenInfo& info, void* hostContext,
                                     const String& programFolder) {
    const String refused = decoder.LibraryPath();
    const DecodeOpenInfo asked = info;
    for (const String& library : PluginLibraries(PluginFolder(programFolder, u"decoder"))) {
        if (EqualsNoCase(library, refused))
            continue;
        // Served for an extension no file has, so that no later choice by extension reuses it.
        if (!decoder.LoadForExtension(u".NOTUSING", library) ||
            !decoder.CreateInstance(hostContext))
            continue;
        info = asked;
        if (decoder.Open(&info))
            return true;
    }
    decoder.Unload();
    info = asked;
    return false;
}

bool clTwCodecHandler::FindForExtension(const String& extension, clTwDecoder& decoder,
                                        void* hostContext, const String& programFolder,
                                        bool isExtension, const char16_t* cacheKey) {

    if (!decoder.IsLoaded())
        decoder.ClearExtensionServed();
    if (EqualsNoCase(decoder.ExtensionServed(), extension))
        return decoder.CreateInstance(hostContext);

    const String key = CacheKey(cacheKey);
    const String decoderFolder = PluginFolder(programFolder, u"decoder");
    bool found = false;

    // The cache stores a full path, but only its file name counts: another copy of the program
    // in another folder shares the cache.
    const String cached = RegReadString(extension, HKEY_CURRENT_USER, key.c_str());
    if (!cached.empty())
        found = TryDecoder(decoderFolder + FileNamePart(cached), extension, decoder, hostContext,
                           isExtension);
    if (!found) {
        for (const String& library : PluginLibraries(decoderFolder)) {
            if (TryDecoder(library, extension, decoder, hostContext, isExtension)) {
                found = true;
                break;
            }
        }
    }
    if (found)
        RegWriteString(extension, decoder.LibraryPath(), HKEY_CURRENT_USER, key.c_str());
    return found;
}

void clTwCodecHandler::ListDecoders(bool allFilesEntry, StringList* extensions,
                                    StringList* descriptions, String* filter,
                                    const String& programFolder) {
    StringList exts, descs;
    for (const String& library : PluginLibraries(PluginFolder(programFolder, u"decoder"))) {
        clTwDecoder decoder;
        // A served extension no file has, so that nothing later mistakes this load for a choice.
        if (!decoder.LoadForExtension(u".NOTUSING", library) ||
            !decoder.CreateInstance(LogHostContext()))
            continue;
        WalkDecodesList(decoder, WM_VALUE_DECODES, [&](const PluginValue& value) {
            if (!value.pointer2)
                return false;
            String ext = AnsweredText(value.pointer1);
            if (FindNoCase(ext, u".IGNORE") == StringView::npos) {
                exts.push_back(std::move(ext));
                descs.push_back(AnsweredText(value.pointer2));
            }
            return true;
        });
        decoder.Unload();
    }
    if (filter)
        *filter = BuildDecoderFilter(allFilesEntry, exts, descs);
    if (extensions)
        *extensions = std::move(exts);
    if (descriptions)
        *descriptions = std::move(descs);
}

bool clTwCodecHandler::LoadEncoder(const String& codec, clTwEncoder& encoder, void* hostContext,
                                   const String& programFolder) {
    LogScope scope("clTwCodecHandler::LoadEncoder");
    return LoadByName(encoder, u"Encoder", u"encoder", codec, hostContext, programFolder);
}

String clTwCodecHandler::QueryExtension(const String& codec, const String& programFolder) {
    clTwEncoder encoder;
    String extension;
    if (LoadEncoder(codec, encoder, LogHostContext(), programFolder)) {
        PluginValue value{};
        if (encoder.Get(WM_VALUE_EXTENSION, &value))
            extension = AnsweredText(value.pointer1);
    }
    encoder.Unload();
    return extension;
}

StringList clTwCodecHandler::ListEncoders(const String& programFolder) {
    StringList names;
    for (const String& library : PluginLibraries(PluginFolder(programFolder, u"encoder"))) {
        String name = FileNamePart(library);
        if (std::find(names.begin(), names.end(), name) == names.end())
            names.push_back(std::move(name));
    }
    // "[multi encoder]" goes last: "{" sorts after every letter, so it stands in for "["
    // while sorting and is put back afterwards.
    for (String& name : names)
        if (StartsWithNoCase(name, u"[multi encoder]"))
            name[0] = u'{';
    std::sort(names.begin(), names.end(),
              [](const String& a, const String& b) { return CompareNoCase(a, b) < 0; });
    for (String& name : names)
        if (!name.empty() && name[0] == u'{')
            name[0] = u'[';
    return names;
}

bool clTwCodecHandler::LoadDSP(const String& name, clTwDSP& dsp, void* hostContext,
                               const String& programFolder) {
    LogScope scope("clTwCodecHandler::LoadDSP");
    return LoadByName(dsp, u"DSP", u"DSPs", name, hostContext, programFolder);
}

} // namespace wm
