/*
 * Example decoder: Sun/NeXT ".au" files with 16, 24 or 32-bit linear PCM, written in C11.
 *
 * What it shows: the nine exports, "Decodes", "LastError", an open that fills the source
 * description, blocks of whole frames from one buffer allocated at open, and the end of the
 * stream as an empty block positioned at the very end.
 */
#include "wavemill_plugin.h"

#include <stdlib.h>
#include <string.h>
#include <windows.h>

/* Half a second per block keeps the host's progress and stop requests responsive. */
#define BLOCK_MS 500

typedef struct AuDecoder {
    HANDLE file;
    WmWaveFormat format;
    uint8_t* buffer;
    uint32_t bufferSize;
    uint64_t dataLength, delivered;
    const WmChar* lastError;
} AuDecoder;

static uint32_t BigEndian32(const uint8_t* p) {
    return (uint32_t)p[0] << 24 | (uint32_t)p[1] << 16 | (uint32_t)p[2] << 8 | p[3];
}

static int SameText(const WmChar* a, const WmChar* b) {
    while (*a && *a == *b) {
        ++a;
        ++b;
    }
    return *a == *b;
}

static uint32_t Fail(AuDecoder* self, const WmChar* why) {
    self->lastError = why;
    return 0;
}

static void CloseFile(AuDecoder* self) {
    if (self->file != INVALID_HANDLE_VALUE)
        CloseHandle(self->file);
    self->file = INVALID_HANDLE_VALUE;
    free(self->buffer);
    self->buffer = NULL;
    self->bufferSize = 0;
    self->dataLength = self->delivered = 0;
}

static uint64_t BytesToMs(uint64_t bytes, uint32_t avgBytesPerSec) {
    return bytes * 1000 / (avgBytesPerSec ? avgBytesPerSec : 1);
}

WM_PLUGIN_EXPORT void* Create(void* hostContext) {
    AuDecoder* self = (AuDecoder*)calloc(1, sizeof(AuDecoder));
    (void)hostContext; /* opaque: never dereferenced */
    if (self)
        self->file = INVALID_HANDLE_VALUE;
    return self;
}

WM_PLUGIN_EXPORT void Destroy(void* instance) {
    AuDecoder* self = (AuDecoder*)instance;
    if (!self)
        return;
    CloseFile(self);
    free(self);
}

WM_PLUGIN_EXPORT uint32_t Get(void* instance, const WmChar* name, PluginValue* value) {
    AuDecoder* self = (AuDecoder*)instance;
    if (!self || !name || !value)
        return 0;
    if (SameText(name, WM_VALUE_DECODES) && value->value1 == 0) {
        value->pointer1 = (void*)u".au";
        value->pointer2 = (void*)u"Sun Audio";
        return 1;
    }
    if (SameText(name, WM_VALUE_LAST_ERROR) && self->lastError) {
        value->pointer1 = (void*)self->lastError;
        return 1;
    }
    return 0;
}

WM_PLUGIN_EXPORT uint32_t Set(void* instance, const WmChar* name, PluginValue* value) {
    (void)instance;
    (void)name;
    (void)value;
    return 0;
}

static int ReadExactly(HANDLE file, void* into, DWORD size) {
    DWORD got = 0;
    return ReadFile(file, into, size, &got, NULL) && got == size;
}

/* Fills the format from the header; the file is left at the first sample. */
static uint32_t ReadHeader(AuDecoder* self, uint64_t fileSize) {
    uint8_t h[24];
    if (!ReadExactly(self->file, h, sizeof h) || memcmp(h, ".snd", 4) != 0)
        return Fail(self, u"not a Sun audio file");
    const uint32_t offset = BigEndian32(h + 4), size = BigEndian32(h + 8);
    const uint32_t encoding = BigEndian32(h + 12), rate = BigEndian32(h + 16);
    const uint32_t channels = BigEndian32(h + 20);
    if (encoding < 3 || encoding > 5)
        return Fail(self, u"only 16, 24 and 32-bit linear PCM .au files are supported");
    if (offset < 24 || offset > fileSize || rate == 0 || channels == 0 || channels > 8)
        return Fail(self, u"the .au header is damaged");
    WmWaveFormat* f = &self->format;
    memset(f, 0, sizeof *f);
    f->formatTag = WM_FORMAT_PCM;
    f->channels = (uint16_t)channels;
    f->samplesPerSec = rate;
    f->bitsPerSample = (uint16_t)(8 * (encoding - 1));
    f->blockAlign = (uint16_t)(channels * (encoding - 1));
    f->avgBytesPerSec = rate * f->blockAlign;
    self->dataLength = fileSize - offset;
    if (size != 0xFFFFFFFFu && size < self->dataLength)
        self->dataLength = size;
    self->dataLength -= self->dataLength % f->blockAlign;
    LARGE_INTEGER at;
    at.QuadPart = offset;
    return SetFilePointerEx(self->file, at, NULL, FILE_BEGIN) ? 1 : Fail(self, u"seek failed");
}

WM_PLUGIN_EXPORT uint32_t Open(void* instance, DecodeOpenInfo* info) {
    AuDecoder* self = (AuDecoder*)instance;
    if (!self || !info || !info->path)
        return 0;
    CloseFile(self);
    /* Paths arrive as the user typed them; WmChar and wchar_t are both UTF-16 on Windows. */
    self->file = CreateFileW((const wchar_t*)info->path, GENERIC_READ, FILE_SHARE_READ, NULL,
                             OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, NULL);
    if (self->file == INVALID_HANDLE_VALUE)
        return Fail(self, u"the file cannot be opened");
    LARGE_INTEGER size;
    if (!GetFileSizeEx(self->file, &size) || !ReadHeader(self, (uint64_t)size.QuadPart)) {
        const WmChar* why = self->lastError;
        CloseFile(self);
        return Fail(self, why ? why : u"the file cannot be read");
    }
    const WmWaveFormat* f = &self->format;
    self->bufferSize = f->avgBytesPerSec / (1000 / BLOCK_MS);
    self->bufferSize -= self->bufferSize % f->blockAlign;
    if (self->bufferSize == 0)
        self->bufferSize = f->blockAlign;
    self->buffer = (uint8_t*)malloc(self->bufferSize);
    if (!self->buffer) {
        CloseFile(self);
        return Fail(self, u"out of memory");
    }
    info->format = *f;
    info->bitRate = f->avgBytesPerSec * 8;
    info->byteLength = self->dataLength;
    info->msLength = BytesToMs(self->dataLength, f->avgBytesPerSec);
    self->lastError = NULL;
    return 1;
}

/* Big-endian samples to the little-endian PCM the host expects. */
static void SwapSamples(uint8_t* data, uint32_t length, uint32_t width) {
    for (uint32_t i = 0; i + width <= length; i += width)
        for (uint32_t a = i, b = i + width - 1; a < b; ++a, --b) {
            const uint8_t t = data[a];
            data[a] = data[b];
            data[b] = t;
        }
}

WM_PLUGIN_EXPORT uint32_t DecodeBlock(void* instance, AudioBlockInfo* block) {
    AuDecoder* self = (AuDecoder*)instance;
    if (!self || !block || !self->buffer)
        return 0; /* not open, or called after Close */
    const WmWaveFormat* f = &self->format;
    uint64_t left = self->dataLength - self->delivered;
    DWORD n = (DWORD)(left < self->bufferSize ? left : self->bufferSize);
    if (n && !ReadExactly(self->file, self->buffer, n))
        return Fail(self, u"the file cannot be read");
    SwapSamples(self->buffer, n, f->bitsPerSample / 8);
    block->data = n ? self->buffer : NULL;
    block->length = n;
    block->format = *f;
    block->bitRate = f->avgBytesPerSec * 8;
    block->msDuration = BytesToMs(n, f->avgBytesPerSec);
    block->msPosition = BytesToMs(self->delivered, f->avgBytesPerSec);
    self->delivered += n;
    /* The end comes as an empty block whose position is the whole length: the host takes the
       progress from a block's start, so only such a block brings it to 100 %. */
    block->endOfStream = n == 0;
    return 1;
}

WM_PLUGIN_EXPORT uint32_t Close(void* instance, ConversionInfo* conversion) {
    AuDecoder* self = (AuDecoder*)instance;
    (void)conversion;
    if (!self)
        return 0;
    CloseFile(self);
    return 1;
}

WM_PLUGIN_EXPORT uint32_t SetPosition(void* instance, uint64_t position) {
    (void)instance;
    (void)position;
    return 0;
}

WM_PLUGIN_EXPORT uint32_t DeleteATag(void* instance, void* argument1, void* argument2) {
    (void)instance;
    (void)argument1;
    (void)argument2;
    return 0;
}
