// The tag writer: puts the tags into the finished file through the decoder plug-in that serves
// the file's type, because only it knows where tags live in that format.
#include "converter/Console.h"
#include "converter/EncoderTags.h"
#include "files/FileAccess.h"
#include "files/FileOps.h"
#include "files/PathText.h"
#include "plugins/clTwCodecHandler.h"
#include "process/Log.h"

namespace wm {

namespace {

// The encoder or a virus scanner may still hold the file for a moment.
void WaitUntilReadable(const String& file) {
    if (!FileExists(file))
        return;
    for (int i = 0; i < 30; ++i) {
        FileAccess probe;
        if (probe.OpenRead(file))
            return;
        Sleep(100);
    }
}

bool SendTags(clTwDecoder& writer, const String& file, const std::vector<uint8_t>& block) {
    for (int attempt = 1; attempt <= 10; ++attempt) {
        PluginValue pv{};
        pv.value2 = static_cast<uint32_t>(block.size());
        pv.pointer1 = const_cast<char16_t*>(file.c_str());
        pv.pointer4 = const_cast<uint8_t*>(block.data());
        if (writer.Set(WM_VALUE_ID_TAGS, &pv))
            return true;
        if (attempt < 10)
            Sleep(750);
    }
    return false;
}

} // namespace

bool IDTagWriter(const String& outputFile, const String& tagSourceFile,
                 const std::vector<uint8_t>& block, const String& programFolder, Console* console,
                 String* reason, bool writerRequired) {
    if (block.empty() || EqualsNoCase(ExtensionOf(tagSourceFile), u".iGnore"))
        return true;
    LogScope scope("TwWavemill::IDTagWriter");
    if (console)
        console->Write(u"Writing ID Tags: ");
    clTwDecoder writer;
    bool ok = true;
    if (clTwCodecHandler().FindDecoder(tagSourceFile, writer, LogHostContext(), programFolder,
                                       false)) {
        WaitUntilReadable(outputFile);
        ok = SendTags(writer, outputFile, block);
        if (!ok && reason)
            *reason = writer.LastError();
    } else if (writerRequired) {
        ok = false;
        if (reason)
            *reason = u"no decoder is installed for the type";
    }
    if (ok && console)
        console->Write(u"Done", true);
    writer.Unload();
    return ok;
}

} // namespace wm
