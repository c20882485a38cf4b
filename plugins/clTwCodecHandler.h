// Finding plug-in libraries for a run: the decoder for a file type (with the per-user decoder
// cache in the registry), the encoder for a codec name, and one DSP effect by name; plus the
// listings a front end offers (decodable types with a file-type filter, installed encoders).
#pragma once

#include "plugins/clTwDSP.h"
#include "plugins/clTwDecoder.h"
#include "plugins/clTwEncoder.h"
#include "text/String.h"

namespace wm {

// Required name (README, Glossary): "cl" marks the converter's own classes.
class clTwCodecHandler {
  public:
    // Default decoder cache key under HKEY_CURRENT_USER; "64" is appended to it (and to any key
    // a caller passes) so that the 64-bit program keeps its own cache.
    static constexpr const char16_t* kDecoderCacheKey =
        u"Software\\Brightfold\\Tonewerk\\DecoderCache";

    // Binds the decoder for a file path (its extension) or, with isExtension set, for an
    // extension given directly (asking "StreamingDecodes" instead of "Decodes"). On success the
    // decoder is loaded with a live instance and the cache names its library.
    bool FindDecoder(const String& pathOrExt, clTwDecoder& decoder, void* hostContext,
                     const String& programFolder, bool isExtension,
                     const char16_t* cacheKey = nullptr);
    // Binds the decoder that reads cue sheets (".cue"): it also takes one track of a disc image
    // whose sheet is inside the image.
    bool FindTrackDecoder(clTwDecoder& decoder, void* hostContext, const String& programFolder);
    // After the decoder chosen by the extension refused the file: offers it to every other
    // decoder and keeps the first that opens it (info filled), without touching the cache.
    // False, with nothing loaded, when none does.
    bool OpenByContent(clTwDecoder& decoder, DecodeOpenInfo& info, void* hostContext,
                       const String& programFolder);
    // Loads one library and keeps it when it claims `extension`; otherwise unloads it fully.
    bool TryDecoder(const String& libraryPath, StringView extension, clTwDecoder& decoder,
                    void* hostContext, bool isExtension);
    // Asks every decoder for the types it reads. Any out pointer may be null. The filter text
    // holds "description\rpatterns\r" pairs (the carriage returns stand for the NULs of a
    // common-dialog filter), optionally led by an "All Audio Files" entry.
    void ListDecoders(bool allFilesEntry, StringList* extensions, StringList* descriptions,
                      String* filter, const String& programFolder);

    // Loads "encoder\<codec>.DLL" and creates its instance.
    bool LoadEncoder(const String& codec, clTwEncoder& encoder, void* hostContext,
                     const String& programFolder);
    // The output extension an encoder reports ("Extension"), or empty when anything fails.
    String QueryExtension(const String& codec, const String& programFolder);
    // File names in "encoder\", sorted case-blind with "[multi encoder]" last.
    StringList ListEncoders(const String& programFolder);

    // Loads "DSPs\<name>.DLL" and creates its instance.
    bool LoadDSP(const String& name, clTwDSP& dsp, void* hostContext, const String& programFolder);

  private:
    bool FindForExtension(const String& extension, clTwDecoder& decoder, void* hostContext,
                          const String& programFolder, bool isExtension, const char16_t* cacheKey);
};

} // namespace wm
