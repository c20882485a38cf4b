/*
 * Wavemill plug-in interface.
 *
 * A plug-in is a Windows x86-64 DLL in one of the folders beside Wavemill.exe:
 *   decoder\  any name; answers "Decodes" with the extensions it reads
 *   encoder\  <codec>.dll; one library per target codec (the -convert_to name)
 *   DSPs\     <effect>.dll
 * The host resolves every entry point of the plug-in's kind by its exact export name and refuses
 * a library that lacks any of them. All records below are little-endian and packed; the host
 * reads and writes them by offset, so their layout never changes.
 *
 * Strings are zero-terminated UTF-16 (WmChar). Results are 32-bit, non-zero meaning success.
 * Buffers a plug-in hands back (blocks, tag data, answered strings) stay the plug-in's until its
 * next call on the same instance; the host copies what it keeps.
 */
#ifndef WAVEMILL_PLUGIN_H
#define WAVEMILL_PLUGIN_H

#include <stddef.h>
#include <stdint.h>

/* One UTF-16 code unit: char16_t in C++, uint16_t in C. Win32's wchar_t is UTF-16 as well, so
 * (const wchar_t*) is the only cast a Win32 call needs. */
#ifdef __cplusplus
typedef char16_t WmChar;
#define WM_EXTERN_C extern "C"
#else
typedef uint16_t WmChar;
#define WM_EXTERN_C
#endif

#if defined(_WIN32)
#define WM_PLUGIN_EXPORT WM_EXTERN_C __declspec(dllexport)
#else
#define WM_PLUGIN_EXPORT WM_EXTERN_C __attribute__((visibility("default")))
#endif

#pragma pack(push, 1)

/* WAVEFORMATEX (18 bytes) followed by the WAVEFORMATEXTENSIBLE part (22 bytes). */
typedef struct WmWaveFormat {
    uint16_t formatTag; /* 1 PCM, 3 IEEE float, 0xFFFE extensible */
    uint16_t channels;
    uint32_t samplesPerSec;
    uint32_t avgBytesPerSec;
    uint16_t blockAlign;
    uint16_t bitsPerSample;
    uint16_t cbSize; /* bytes after offset 18: 22 for the extensible form, else 0 */
    uint16_t validBitsPerSample;
    uint32_t channelMask;
    uint8_t subFormat[16]; /* KSDATAFORMAT_SUBTYPE_* GUID */
} WmWaveFormat;

/* Named value exchanged through every plug-in's get and set entry points. */
typedef struct PluginValue {
    uint32_t value1; /* index asked for; "Communicate": exchange number */
    uint32_t value2; /* "BatchID": batch number; "Communicate": no-error flag / result */
    uint8_t reserved[16];
    void* pointer1; /* "Decodes": extension out; "Extension": extension out */
    void* pointer2; /* "Decodes": description out */
    void* pointer3;
    void* pointer4;
} PluginValue;

/* The source description: the host fills path and open mode, the decoder the rest in "Open". */
typedef struct DecodeOpenInfo {
    const WmChar* path; /* input file, or "-" for standard input */
    uint32_t openMode;  /* WM_OPEN_CONVERT or WM_OPEN_RAW_HANDOVER */
    WmWaveFormat format;
    uint32_t bitRate; /* bits per second */
    uint64_t msLength;
    uint64_t byteLength; /* length of the decoded PCM */
    uint64_t reserved1;
    void* tagData; /* tag set block, owned by the decoder; may be null */
    uint32_t tagSize;
    void* secondData; /* second source block (tag set form), handed on to the encoder */
    uint32_t secondSize;
    uint8_t reserved2[24];
} DecodeOpenInfo;

/* One block of PCM: filled by a decoder, passed to live DSPs and the encoder. */
typedef struct AudioBlockInfo {
    void* data;      /* owned by whoever filled the record; valid until its next call */
    uint32_t length; /* bytes */
    WmWaveFormat format;
    uint32_t bitRate; /* avgBytesPerSec * 8 */
    uint64_t msDuration;
    uint8_t reserved1[16];
    uint64_t msPosition;  /* time of the bytes delivered before this block */
    uint32_t endOfStream; /* non-zero on the last block */
    uint8_t reserved2[8];
    const WmChar* actionText; /* decoder: input now read; encoder: output now written */
    uint8_t reserved3[8];
} AudioBlockInfo;

/* The run's conversion record, given to the encoder, the DSPs and the decoder's "Close". */
typedef struct ConversionInfo {
    const WmChar* inputPath;
    const WmChar* outputPath;  /* the file to write: final or temporary name */
    const WmChar* commandLine; /* the encoder's own options, e.g. L" -b=\"320\"" */
    const WmWaveFormat* sourceFormat;
    void* tagData; /* tag set prepared for the encoder; owned by the host */
    uint32_t tagSize;
    void* secondData; /* from the decoder; the encoder may replace it */
    uint32_t secondSize;
    uint32_t runError; /* 0 while the run is error-free, 1 once a step failed */
} ConversionInfo;

#pragma pack(pop)

enum {
    WM_OPEN_RAW_HANDOVER = 28, /* open made only to describe the source for a raw hand-over */
    WM_OPEN_CONVERT = 29       /* the open of a normal conversion */
};

enum { WM_FORMAT_PCM = 1, WM_FORMAT_IEEE_FLOAT = 3, WM_FORMAT_EXTENSIBLE = 0xFFFE };

/* Value names (UTF-16) the host passes to the get and set entry points. */
#define WM_VALUE_DECODES u"Decodes"
#define WM_VALUE_STREAMING_DECODES u"StreamingDecodes"
#define WM_VALUE_BATCH_ID u"BatchID"
#define WM_VALUE_DECODE_AS u"Decode As" /* pointer1: u"Highest Quality" */
#define WM_VALUE_COMMUNICATE u"Communicate"
#define WM_VALUE_COMMUNICATE_RESULT u"CommunicateResult"
#define WM_VALUE_SEND_RAW_UNCOMPRESSED u"SendRawUnCompressed"
#define WM_VALUE_SEND_OVER_REPLAYGAIN_TAGS u"SendOverReplayGainTags"
#define WM_VALUE_NEED_HQ_AUDIO u"NeedHQAudio"
#define WM_VALUE_IS_LIVE u"IsLive"
#define WM_VALUE_EXTENSION u"Extension"
#define WM_VALUE_PRIORITY u"Priority"
#define WM_VALUE_ID_TAGS u"IDTags"
/* Asked after any entry point returned 0: pointer1 out = why, as one line of UTF-16 text owned by
 * the plug-in (for example u"WAV format 0x0002 (MS ADPCM) is not supported"). The host appends it
 * to its own error line. Answer 0 when there is nothing to say. */
#define WM_VALUE_LAST_ERROR u"LastError"
/* Decoder "Set", before "Open", only when the run converts one track of a disc image
 * (-track=n): value1 = the track number, 0 for the audio before track 1. Only the decoder that
 * reads ".cue" is asked; it answers non-zero when it takes the track. */
#define WM_VALUE_TRACK u"Track"
/* Encoder "ENC_Get" and "DSP_Get", asked for the program's help text: pointer1 out = the
 * encoder's own options or the effect's settings, one per line ("-b <kbps>   constant bit
 * rate"), owned by the plug-in. */
#define WM_VALUE_HELP u"Help"
/* Asked of the decoder, every effect and the encoder once the run has ended (after "Close",
 * the effects' last calls and "ENC_EndConversion"; before destroy): value1 in = 0, 1, 2, ...;
 * pointer1 out = one line of text that is not an error (audio read to the end of a file whose
 * header was never completed, samples clipped, a rate changed), owned by the plug-in. The host
 * prints each as an information line. Answer 0 when there is no line of that index. */
#define WM_VALUE_INFORMATION u"Information"
/* "DSP_Get", asked while loading as "IsLive" is (pointer1 = the settings text): non-zero when the
 * effect with these settings changes the level, which makes the source's replay-gain values
 * wrong; the run then drops them whoever asked for them. */
#define WM_VALUE_CHANGES_LEVEL u"ChangesLevel"
/* "ENC_Get", asked once the encoder has ended, only when the run measured loudness (-replaygain;
 * pointer1 = the encoder's command line): non-zero when the output decodes to exactly the samples
 * handed to the encoder. Answer 0 (or nothing) for a lossy output: the host then decodes the file
 * just written to measure the peak players will meet, which a lossy codec's overshoot raises. */
#define WM_VALUE_LOSSLESS u"Lossless"
/* "ENC_Set", before "ENC_BeginConversion", only when the run measures loudness (-replaygain) and
 * writes a sample peak: value1 = 1 asks the encoder to decode its own output while it writes it.
 * An encoder that can answers non-zero. Once it has ended and has not answered "Lossless",
 * "ENC_Get" of the same name fills the double that pointer1 points at with the largest sample
 * magnitude of that decode (1.0 = full scale; a lossy codec's overshoot may pass it) and answers
 * non-zero. Answer 0 to either (or fail the decode): the host then decodes the finished file
 * itself, after the encoder, which costs the run that decode's time. */
#define WM_VALUE_DECODED_PEAK u"DecodedPeak"

/* Decoder entry points: "Create", "Destroy", "Get", "Set", "Open", "Close", "DecodeBlock",
 * "SetPosition", "DeleteATag". hostContext is opaque to the plug-in. */
typedef void* (*WmDecCreate)(void* hostContext);
typedef void (*WmDecDestroy)(void* instance);
typedef uint32_t (*WmDecGet)(void* instance, const WmChar* name, PluginValue* value);
typedef uint32_t (*WmDecSet)(void* instance, const WmChar* name, PluginValue* value);
typedef uint32_t (*WmDecOpen)(void* instance, DecodeOpenInfo* info);
typedef uint32_t (*WmDecClose)(void* instance, ConversionInfo* conversion);
typedef uint32_t (*WmDecDecodeBlock)(void* instance, AudioBlockInfo* block);
typedef uint32_t (*WmDecSetPosition)(void* instance, uint64_t position);
typedef uint32_t (*WmDecDeleteATag)(void* instance, void* argument1, void* argument2);

/* Encoder entry points: "ENC_Create", "ENC_Destroy", "ENC_Get", "ENC_Set", "ENC_ShowConfigBit",
 * "ENC_RemoveConfigBit", "ENC_BeginConversion", "ENC_EndConversion", "ENC_EncodeBlock". */
typedef void* (*WmEncCreate)(void* hostContext);
typedef void (*WmEncDestroy)(void* instance);
typedef uint32_t (*WmEncGet)(void* instance, const WmChar* name, PluginValue* value);
typedef uint32_t (*WmEncSet)(void* instance, const WmChar* name, PluginValue* value);
typedef uint32_t (*WmEncShowConfigBit)(void* instance, void* argument1, void* argument2);
typedef uint32_t (*WmEncRemoveConfigBit)(void* instance, void* argument);
typedef uint32_t (*WmEncBeginConversion)(void* instance, ConversionInfo* conversion);
/* *tagAfterwards (0 on entry): set non-zero to have the host write the ID tags afterwards. */
typedef uint32_t (*WmEncEndConversion)(void* instance, ConversionInfo* conversion,
                                       uint32_t* tagAfterwards);
typedef uint32_t (*WmEncEncodeBlock)(void* instance, AudioBlockInfo* block);

/* DSP entry points: "DSP_Create", "DSP_Destroy", "DSP_Get", "DSP_Set", "DSP_ShowConfigBit",
 * "DSP_RemoveConfigBit", "DSP_BeginConversion", "DSP_EndConversion", "DSP_PassAudioBlock",
 * "DSP_PassNonLive", "DSP_AfterConversion". */
typedef void* (*WmDspCreate)(void* hostContext);
typedef void (*WmDspDestroy)(void* instance);
typedef uint32_t (*WmDspGet)(void* instance, const WmChar* name, PluginValue* value);
typedef uint32_t (*WmDspSet)(void* instance, const WmChar* name, PluginValue* value);
typedef uint32_t (*WmDspShowConfigBit)(void* instance, void* argument1, void* argument2);
typedef uint32_t (*WmDspRemoveConfigBit)(void* instance, void* argument);
typedef uint32_t (*WmDspBeginConversion)(void* instance, ConversionInfo* conversion,
                                         const WmChar* settings);
typedef uint32_t (*WmDspEndConversion)(void* instance, ConversionInfo* conversion);
typedef uint32_t (*WmDspPassAudioBlock)(void* instance, AudioBlockInfo* block);
typedef uint32_t (*WmDspPassNonLive)(void* instance, const WmChar* renderedPath,
                                     const WmWaveFormat* format, const WmChar* settings,
                                     void* runValue);
typedef uint32_t (*WmDspAfterConversion)(void* instance, ConversionInfo* conversion);

/* The layout is the contract: check it wherever this header is compiled. */
#ifdef __cplusplus
#define WM_LAYOUT_CHECK(cond, msg) static_assert(cond, msg)
#else
#define WM_LAYOUT_CHECK(cond, msg) _Static_assert(cond, msg)
#endif
WM_LAYOUT_CHECK(sizeof(void*) == 8, "Wavemill plug-ins are 64-bit");
WM_LAYOUT_CHECK(sizeof(WmWaveFormat) == 40, "WmWaveFormat size");
WM_LAYOUT_CHECK(offsetof(WmWaveFormat, cbSize) == 16, "WmWaveFormat.cbSize");
WM_LAYOUT_CHECK(offsetof(WmWaveFormat, validBitsPerSample) == 18, "WmWaveFormat.valid bits");
WM_LAYOUT_CHECK(offsetof(WmWaveFormat, channelMask) == 20, "WmWaveFormat.channelMask");
WM_LAYOUT_CHECK(offsetof(WmWaveFormat, subFormat) == 24, "WmWaveFormat.subFormat");
WM_LAYOUT_CHECK(sizeof(PluginValue) == 56, "PluginValue size");
WM_LAYOUT_CHECK(offsetof(PluginValue, value2) == 4, "PluginValue.value2");
WM_LAYOUT_CHECK(offsetof(PluginValue, reserved) == 8, "PluginValue.reserved");
WM_LAYOUT_CHECK(offsetof(PluginValue, pointer1) == 24, "PluginValue.pointer1");
WM_LAYOUT_CHECK(offsetof(PluginValue, pointer2) == 32, "PluginValue.pointer2");
WM_LAYOUT_CHECK(offsetof(PluginValue, pointer3) == 40, "PluginValue.pointer3");
WM_LAYOUT_CHECK(offsetof(PluginValue, pointer4) == 48, "PluginValue.pointer4");
WM_LAYOUT_CHECK(sizeof(DecodeOpenInfo) == 128, "DecodeOpenInfo size");
WM_LAYOUT_CHECK(offsetof(DecodeOpenInfo, openMode) == 8, "DecodeOpenInfo.openMode");
WM_LAYOUT_CHECK(offsetof(DecodeOpenInfo, format) == 12, "DecodeOpenInfo.format");
WM_LAYOUT_CHECK(offsetof(DecodeOpenInfo, bitRate) == 52, "DecodeOpenInfo.bitRate");
WM_LAYOUT_CHECK(offsetof(DecodeOpenInfo, msLength) == 56, "DecodeOpenInfo.msLength");
WM_LAYOUT_CHECK(offsetof(DecodeOpenInfo, byteLength) == 64, "DecodeOpenInfo.byteLength");
WM_LAYOUT_CHECK(offsetof(DecodeOpenInfo, reserved1) == 72, "DecodeOpenInfo.reserved1");
WM_LAYOUT_CHECK(offsetof(DecodeOpenInfo, tagData) == 80, "DecodeOpenInfo.tagData");
WM_LAYOUT_CHECK(offsetof(DecodeOpenInfo, tagSize) == 88, "DecodeOpenInfo.tagSize");
WM_LAYOUT_CHECK(offsetof(DecodeOpenInfo, secondData) == 92, "DecodeOpenInfo.secondData");
WM_LAYOUT_CHECK(offsetof(DecodeOpenInfo, secondSize) == 100, "DecodeOpenInfo.secondSize");
WM_LAYOUT_CHECK(offsetof(DecodeOpenInfo, reserved2) == 104, "DecodeOpenInfo.reserved2");
WM_LAYOUT_CHECK(sizeof(AudioBlockInfo) == 116, "AudioBlockInfo size");
WM_LAYOUT_CHECK(offsetof(AudioBlockInfo, length) == 8, "AudioBlockInfo.length");
WM_LAYOUT_CHECK(offsetof(AudioBlockInfo, format) == 12, "AudioBlockInfo.format");
WM_LAYOUT_CHECK(offsetof(AudioBlockInfo, bitRate) == 52, "AudioBlockInfo.bitRate");
WM_LAYOUT_CHECK(offsetof(AudioBlockInfo, msDuration) == 56, "AudioBlockInfo.msDuration");
WM_LAYOUT_CHECK(offsetof(AudioBlockInfo, reserved1) == 64, "AudioBlockInfo.reserved1");
WM_LAYOUT_CHECK(offsetof(AudioBlockInfo, msPosition) == 80, "AudioBlockInfo.msPosition");
WM_LAYOUT_CHECK(offsetof(AudioBlockInfo, endOfStream) == 88, "AudioBlockInfo.endOfStream");
WM_LAYOUT_CHECK(offsetof(AudioBlockInfo, reserved2) == 92, "AudioBlockInfo.reserved2");
WM_LAYOUT_CHECK(offsetof(AudioBlockInfo, actionText) == 100, "AudioBlockInfo.actionText");
WM_LAYOUT_CHECK(offsetof(AudioBlockInfo, reserved3) == 108, "AudioBlockInfo.reserved3");
WM_LAYOUT_CHECK(sizeof(ConversionInfo) == 60, "ConversionInfo size");
WM_LAYOUT_CHECK(offsetof(ConversionInfo, outputPath) == 8, "ConversionInfo.outputPath");
WM_LAYOUT_CHECK(offsetof(ConversionInfo, commandLine) == 16, "ConversionInfo.commandLine");
WM_LAYOUT_CHECK(offsetof(ConversionInfo, sourceFormat) == 24, "ConversionInfo.sourceFormat");
WM_LAYOUT_CHECK(offsetof(ConversionInfo, tagData) == 32, "ConversionInfo.tagData");
WM_LAYOUT_CHECK(offsetof(ConversionInfo, tagSize) == 40, "ConversionInfo.tagSize");
WM_LAYOUT_CHECK(offsetof(ConversionInfo, secondData) == 44, "ConversionInfo.secondData");
WM_LAYOUT_CHECK(offsetof(ConversionInfo, secondSize) == 52, "ConversionInfo.secondSize");
WM_LAYOUT_CHECK(offsetof(ConversionInfo, runError) == 56, "ConversionInfo.runError");
#undef WM_LAYOUT_CHECK

#endif /* WAVEMILL_PLUGIN_H */
