/*
 * Example effect: scales 16-bit PCM by a percentage, written in C11.
 *
 * Settings text: the percentage, optionally followed by "nonlive" ("50", "200 nonlive"). Live,
 * it works block by block into a buffer of its own; non-live, it rewrites the rendered file in
 * place. What it shows: the eleven exports, "IsLive" answered from the settings, a replaced
 * block that stays valid until the next call, and "LastError".
 */
#include "wavemill_plugin.h"

#include <stdlib.h>
#include <string.h>
#include <windows.h>

typedef struct Gain {
    int percent;
    int16_t* out; /* the block handed back; ours until the next call */
    uint32_t outSize;
    const WmChar* lastError;
} Gain;

static int SameText(const WmChar* a, const WmChar* b) {
    while (*a && *a == *b) {
        ++a;
        ++b;
    }
    return *a == *b;
}

static int Contains(const WmChar* text, const WmChar* word) {
    for (; text && *text; ++text) {
        size_t i = 0;
        while (word[i] && text[i] == word[i])
            ++i;
        if (!word[i])
            return 1;
    }
    return 0;
}

/* "50 nonlive" gives 50; no number gives 100 (unchanged). */
static int Percent(const WmChar* settings) {
    int value = 0, digits = 0;
    while (settings && *settings == u' ')
        ++settings;
    for (; settings && *settings >= u'0' && *settings <= u'9' && value < 100000; ++settings) {
        value = value * 10 + (*settings - u'0');
        ++digits;
    }
    return digits ? value : 100;
}

static const WmChar* SkipBlanks(const WmChar* text) {
    while (*text == u' ')
        ++text;
    return text;
}

/* True for the settings this effect knows: a percentage and "nonlive", each optional. Anything
   else is refused, or a misspelt setting would be ignored without a word. */
static int KnownSettings(const WmChar* settings) {
    const WmChar* at = SkipBlanks(settings ? settings : u"");
    while (*at >= u'0' && *at <= u'9')
        ++at;
    at = SkipBlanks(at);
    const WmChar nonlive[] = u"nonlive";
    size_t i = 0;
    while (nonlive[i] && at[i] == nonlive[i])
        ++i;
    if (!nonlive[i])
        at += i;
    return *SkipBlanks(at) == 0;
}

static int16_t Scaled(int16_t sample, int percent) {
    long v = (long)sample * percent / 100;
    return (int16_t)(v > 32767 ? 32767 : v < -32768 ? -32768 : v);
}

static int Is16BitPcm(const WmWaveFormat* f) {
    return f && f->bitsPerSample == 16 &&
           (f->formatTag == WM_FORMAT_PCM ||
            (f->formatTag == WM_FORMAT_EXTENSIBLE && f->subFormat[0] == WM_FORMAT_PCM));
}

static uint32_t Fail(Gain* self, const WmChar* why) {
    self->lastError = why;
    return 0;
}

WM_PLUGIN_EXPORT void* DSP_Create(void* hostContext) {
    (void)hostContext;
    return calloc(1, sizeof(Gain));
}

WM_PLUGIN_EXPORT void DSP_Destroy(void* instance) {
    Gain* self = (Gain*)instance;
    if (self)
        free(self->out);
    free(self);
}

WM_PLUGIN_EXPORT uint32_t DSP_Get(void* instance, const WmChar* name, PluginValue* value) {
    Gain* self = (Gain*)instance;
    if (!self || !name || !value)
        return 0;
    /* Asked of a separate instance while the effects load, with pointer1 = the settings. */
    if (SameText(name, WM_VALUE_IS_LIVE))
        return !Contains((const WmChar*)value->pointer1, u"nonlive");
    if (SameText(name, WM_VALUE_LAST_ERROR) && self->lastError) {
        value->pointer1 = (void*)self->lastError;
        return 1;
    }
    return 0;
}

WM_PLUGIN_EXPORT uint32_t DSP_Set(void* instance, const WmChar* name, PluginValue* value) {
    (void)instance;
    (void)name;
    (void)value;
    return 0;
}

WM_PLUGIN_EXPORT uint32_t DSP_ShowConfigBit(void* instance, void* argument1, void* argument2) {
    (void)instance;
    (void)argument1;
    (void)argument2;
    return 0;
}

WM_PLUGIN_EXPORT uint32_t DSP_RemoveConfigBit(void* instance, void* argument) {
    (void)instance;
    (void)argument;
    return 0;
}

WM_PLUGIN_EXPORT uint32_t DSP_BeginConversion(void* instance, ConversionInfo* conversion,
                                              const WmChar* settings) {
    Gain* self = (Gain*)instance;
    if (!self || !conversion)
        return 0;
    if (!KnownSettings(settings))
        return Fail(self, u"unknown setting (the settings are a percentage and \"nonlive\")");
    if (!Is16BitPcm(conversion->sourceFormat))
        return Fail(self, u"the gain example handles 16-bit PCM only");
    self->percent = Percent(settings);
    return 1;
}

WM_PLUGIN_EXPORT uint32_t DSP_PassAudioBlock(void* instance, AudioBlockInfo* block) {
    Gain* self = (Gain*)instance;
    if (!self || !block)
        return 0;
    if (!Is16BitPcm(&block->format))
        return Fail(self, u"the gain example handles 16-bit PCM only");
    if (block->length > self->outSize) {
        int16_t* grown = (int16_t*)realloc(self->out, block->length);
        if (!grown)
            return Fail(self, u"out of memory");
        self->out = grown;
        self->outSize = block->length;
    }
    /* The decoder's buffer is not ours to change: scale into our own and hand that back. */
    const int16_t* in = (const int16_t*)block->data;
    for (uint32_t i = 0; i < block->length / 2; ++i)
        self->out[i] = Scaled(in[i], self->percent);
    if (block->length)
        block->data = self->out;
    return 1;
}

WM_PLUGIN_EXPORT uint32_t DSP_EndConversion(void* instance, ConversionInfo* conversion) {
    Gain* self = (Gain*)instance;
    (void)conversion;
    if (!self)
        return 0;
    free(self->out);
    self->out = NULL;
    self->outSize = 0;
    return 1;
}

/* Rewrites the whole rendered file in place, one chunk at a time. */
WM_PLUGIN_EXPORT uint32_t DSP_PassNonLive(void* instance, const WmChar* renderedPath,
                                          const WmWaveFormat* format, const WmChar* settings,
                                          void* runValue) {
    Gain* self = (Gain*)instance;
    int16_t chunk[32768];
    (void)runValue;
    if (!self || !renderedPath)
        return 0;
    if (!KnownSettings(settings))
        return Fail(self, u"unknown setting (the settings are a percentage and \"nonlive\")");
    if (!Is16BitPcm(format))
        return Fail(self, u"the gain example handles 16-bit PCM only");
    const int percent = Percent(settings);
    HANDLE file = CreateFileW((const wchar_t*)renderedPath, GENERIC_READ | GENERIC_WRITE, 0, NULL,
                              OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, NULL);
    if (file == INVALID_HANDLE_VALUE)
        return Fail(self, u"the rendered file cannot be opened");
    uint32_t ok = 1;
    for (;;) {
        DWORD got = 0, written = 0;
        if (!ReadFile(file, chunk, sizeof chunk, &got, NULL)) {
            ok = Fail(self, u"the rendered file cannot be read");
            break;
        }
        if (got == 0)
            break;
        for (DWORD i = 0; i < got / 2; ++i)
            chunk[i] = Scaled(chunk[i], percent);
        LARGE_INTEGER back;
        back.QuadPart = -(LONGLONG)got;
        if (!SetFilePointerEx(file, back, NULL, FILE_CURRENT) ||
            !WriteFile(file, chunk, got, &written, NULL) || written != got) {
            ok = Fail(self, u"the rendered file cannot be written");
            break;
        }
    }
    CloseHandle(file);
    return ok;
}

WM_PLUGIN_EXPORT uint32_t DSP_AfterConversion(void* instance, ConversionInfo* conversion) {
    (void)conversion;
    return instance != NULL;
}
