// Header readers per picture format. Numbers are read byte by byte in the format's byte order;
// every fault throws invalid_input.
#include "tags/ImageStreams.h"

#include <cstring>

namespace wm::imageio {

namespace {

void Require(bool condition) {
    if (!condition)
        throw invalid_input();
}

uint32_t ReadLE(streamIn& in, int bytes) {
    uint8_t b[4];
    in.readExact(b, static_cast<size_t>(bytes));
    uint32_t v = 0;
    for (int i = bytes; i-- > 0;)
        v = v << 8 | b[i];
    return v;
}

uint32_t ReadBE(streamIn& in, int bytes) {
    uint8_t b[4];
    in.readExact(b, static_cast<size_t>(bytes));
    uint32_t v = 0;
    for (int i = 0; i < bytes; ++i)
        v = v << 8 | b[i];
    return v;
}

void ReadGif(streamIn& in, ImageInfo& info, bool& alpha) {
    in.skip(4); // "F87a" / "F89a"
    info.Width = ReadLE(in, 2);
    info.Height = ReadLE(in, 2);
    Require(info.Width != 0 && info.Height != 0);
    info.BitsPerPixel = 8;
    uint8_t flags = in.readByte();
    in.skip(2);
    // Kept as it always was: shorter than the real colour table, so the extension scan
    // below may start inside the table.
    if (flags & 0x80)
        in.skip((flags & 7) * 3u);
    uint8_t b = in.readByte();
    while (b == '!') {
        uint8_t label = in.readByte();
        uint8_t size = in.readByte();
        uint64_t pos = in.position();
        if (label == 0xF9 && size == 4)
            alpha = (in.readByte() & 1) != 0;
        in.seek(pos + size);
        b = in.readByte();
    }
}

bool IsStartOfFrame(uint8_t marker) {
    return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}

void ReadJpeg(streamIn& in, ImageInfo& info) {
    Require(in.readByte() == 0xD8);
    for (;;) {
        uint8_t marker[2];
        in.readExact(marker, 2);
        Require(marker[0] == 0xFF && marker[1] >= 0xC0 && marker[1] <= 0xFE);
        uint8_t m = marker[1];
        if (IsStartOfFrame(m)) {
            Require(ReadBE(in, 2) >= 6);
            uint32_t precision = in.readByte();
            info.Height = ReadBE(in, 2);
            info.Width = ReadBE(in, 2);
            Require(info.Width != 0 && info.Height != 0);
            info.BitsPerPixel = precision * in.readByte();
            return;
        }
        if (m == 0xC4 || m == 0xDA || m == 0xDB || (m >= 0xE0 && m <= 0xEF) || m == 0xFE) {
            uint32_t length = ReadBE(in, 2);
            Require(length >= 2);
            in.skip(length - 2);
        } else if (m == 0xDD) {
            in.skip(4);
        } else {
            throw invalid_input(); // end of image or a marker without a known length
        }
    }
}

void ReadPng(streamIn& in, ImageInfo& info, bool& alpha) {
    Require(in.readByte() == 'P');
    uint8_t rest[6];
    in.readExact(rest, 6);
    Require(std::memcmp(rest, "NG\r\n\x1A\n", 6) == 0);
    uint32_t length = ReadBE(in, 4);
    char type[4];
    in.readExact(type, 4);
    Require(length >= 10 && std::memcmp(type, "IHDR", 4) == 0);
    info.Width = ReadBE(in, 4);
    info.Height = ReadBE(in, 4);
    uint32_t depth = in.readByte();
    uint8_t colourType = in.readByte();
    in.skip(uint64_t(length) - 10 + 4); // rest of the header and its CRC
    static const uint32_t kChannels[7] = {1, 1, 3, 1, 2, 1, 4};
    info.BitsPerPixel = depth * (colourType < 7 ? kChannels[colourType] : 1);
    alpha = colourType == 4 || colourType == 6;
    while (!alpha) {
        length = ReadBE(in, 4);
        in.readExact(type, 4);
        if (std::memcmp(type, "tRNS", 4) == 0)
            alpha = true;
        else if (std::memcmp(type, "IDAT", 4) == 0)
            break;
        else
            in.skip(uint64_t(length) + 4);
    }
}

void ReadBmp(streamIn& in, ImageInfo& info) {
    Require(in.readByte() == 'M');
    in.skip(12);
    uint32_t headerSize = ReadLE(in, 4);
    Require(headerSize >= 12);
    int bytes = headerSize >= 40 ? 4 : 2; // the OS/2 header stores 16-bit sizes
    info.Width = ReadLE(in, bytes);
    info.Height = ReadLE(in, bytes);
    in.skip(2); // planes
    info.BitsPerPixel = ReadLE(in, 2);
}

uint32_t LE(const uint8_t* p, int bytes) {
    uint32_t v = 0;
    for (int i = bytes; i-- > 0;)
        v = v << 8 | p[i];
    return v;
}

void ReadWebP(streamIn& in, ImageInfo& info, bool& alpha) {
    uint8_t h[30] = {'R', 'I'};
    in.readExact(h + 2, 28);
    Require(std::memcmp(h, "RIFF", 4) == 0 && std::memcmp(h + 8, "WEBP", 4) == 0);
    if (std::memcmp(h + 12, "VP8 ", 4) == 0) {
        Require(h[23] == 0x9D && h[24] == 0x01 && h[25] == 0x2A);
        info.Width = LE(h + 26, 2) & 0x3FFF;
        info.Height = LE(h + 28, 2) & 0x3FFF;
        Require(info.Width != 0 && info.Height != 0);
        alpha = false;
    } else if (std::memcmp(h + 12, "VP8L", 4) == 0) {
        // 14 bits of width - 1, then 14 bits of height - 1, then the alpha hint.
        info.Width = 1 + (h[21] | (h[22] & 0x3Fu) << 8);
        info.Height = 1 + (h[22] >> 6 | uint32_t(h[23]) << 2 | (h[24] & 0x0Fu) << 10);
        alpha = (h[24] >> 4) & 1;
    } else if (std::memcmp(h + 12, "VP8X", 4) == 0) {
        info.Width = 1 + LE(h + 24, 3);
        info.Height = 1 + LE(h + 27, 3);
        alpha = (h[20] >> 4) & 1;
    } else {
        throw invalid_input();
    }
    info.BitsPerPixel = alpha ? 32 : 24;
}

class TiffReader {
  public:
    TiffReader(streamIn& in, bool bigEndian) : in_(in), bigEndian_(bigEndian) {}
    uint32_t Read(int bytes) { return bigEndian_ ? ReadBE(in_, bytes) : ReadLE(in_, bytes); }
    uint32_t Number(const uint8_t* p, int bytes) const {
        uint32_t v = 0;
        for (int i = 0; i < bytes; ++i)
            v = v << 8 | p[bigEndian_ ? i : bytes - 1 - i];
        return v;
    }

  private:
    streamIn& in_;
    bool bigEndian_;
};

// What the first directory's entries say, gathered while they are read.
struct TiffFields {
    uint32_t orientation = 1;
    uint32_t bitsOffset = 0, bitsCount = 0;
};

// One directory entry: width, height, bits per sample, colour space, orientation.
void ReadTiffEntry(streamIn& in, TiffReader& tiff, ImageInfo& info, bool& alpha,
                   TiffFields& fields) {
    uint32_t tag = tiff.Read(2);
    uint32_t type = tiff.Read(2);
    uint32_t count = tiff.Read(4);
    uint8_t field[4];
    in.readExact(field, 4);
    bool shorts = type == 3 && count <= 2;
    uint32_t first = shorts ? tiff.Number(field, 2) : tiff.Number(field, 4);
    uint32_t second = shorts ? tiff.Number(field + 2, 2) : 0;
    bool single = count == 1 && (type == 3 || type == 4);
    if (tag == 256 && single)
        info.Width = first;
    else if (tag == 257 && single)
        info.Height = first;
    else if (tag == 258) {
        if (count > 3)
            alpha = true;
        if (shorts)
            info.BitsPerPixel = first + second;
        else if (type == 3)
            fields.bitsOffset = first, fields.bitsCount = count;
    } else if (tag == 262 && type == 3 && count == 1 && first == 4)
        alpha = true;
    else if (tag == 274 && type == 3 && count == 1)
        fields.orientation = first;
}

void ReadTiff(streamIn& in, ImageInfo& info, bool& alpha, uint8_t order) {
    Require(in.readByte() == order && in.canSeek());
    TiffReader tiff(in, order == 'M');
    Require(tiff.Read(2) == 42);
    uint32_t directory = tiff.Read(4);
    Require(directory >= 8);
    in.seek(directory);
    uint32_t entries = tiff.Read(2);
    info.FormatName = "TIFF";
    info.Width = info.Height = info.BitsPerPixel = 0;
    TiffFields fields;
    for (uint32_t i = 0; i < entries; ++i)
        ReadTiffEntry(in, tiff, info, alpha, fields);
    if (fields.bitsCount) {
        in.seek(fields.bitsOffset);
        uint32_t sum = 0;
        for (uint32_t i = 0; i < fields.bitsCount; ++i)
            sum += tiff.Read(2);
        info.BitsPerPixel = sum;
    }
    if (fields.orientation >= 5 && fields.orientation <= 8)
        std::swap(info.Width, info.Height);
}

} // namespace

void ReadImageHeader(streamIn& in, ImageInfo& info, bool& alpha) {
    info = ImageInfo();
    alpha = false;
    uint8_t first = in.readByte();
    switch (first) {
    case 'G':
        Require(in.readByte() == 'I');
        ReadGif(in, info, alpha);
        info.FormatName = "GIF";
        break;
    case 0xFF:
        ReadJpeg(in, info);
        info.FormatName = "JPEG";
        break;
    case 0x89:
        ReadPng(in, info, alpha);
        info.FormatName = "PNG";
        break;
    case 'B':
        ReadBmp(in, info);
        info.FormatName = "BMP";
        break;
    case 'R':
        Require(in.readByte() == 'I');
        ReadWebP(in, info, alpha);
        info.FormatName = "WebP";
        break;
    case 'I':
    case 'M':
        ReadTiff(in, info, alpha, first);
        break;
    default:
        throw invalid_input();
    }
    info.FormatCode = ImageFormatCode(info.FormatName);
}

} // namespace wm::imageio
