// Tells the format, size and bits per pixel of a picture from its first bytes, without
// decoding it: JPEG, PNG, GIF, BMP, WebP and TIFF.
#pragma once

#include "text/String.h"

#include <cstddef>
#include <cstdint>

namespace wm {

struct ImageInfo {
    const char* FormatName = nullptr; // "JPEG", "PNG", "GIF", "BMP", "WebP", "TIFF"; none if empty
    uint32_t FormatCode = 0;          // ImageFormatCode(FormatName)
    uint32_t Width = 0;
    uint32_t Height = 0; // a BMP height as stored, also when negative
    uint32_t BitsPerPixel = 0;
};

// Random-access bytes of a picture file; lets the header reader stay free of any file API.
class ImageByteReader {
  public:
    virtual ~ImageByteReader() = default;
    // Bytes read; fewer than asked only at the end (or on a read error).
    virtual size_t Read(void* buffer, size_t count) = 0;
    virtual bool Seek(uint64_t position) = 0;
    virtual uint64_t Position() const = 0;
    virtual uint64_t Size() const = 0;
};

// Any malformed, truncated or unknown header gives the all-zero result.
ImageInfo GetImageInfo(const void* data, size_t size);
ImageInfo GetImageInfo(ImageByteReader& file);
// Reads the file through the standard library's file streams (wide names work on Windows).
ImageInfo GetImageInfo(StringView fileName);

// "JPEG" 1, "PNG" 2, "GIF" 3, "BMP" 4, "WebP" 5, anything else (also "TIFF" or none) 0.
uint32_t ImageFormatCode(const char* name);

} // namespace wm
