#include "converter/OutputSink.h"

#include "files/FileOps.h"
#include "files/PathText.h"
#include "process/Log.h"
#include "text/NumberText.h"

#include <algorithm>

namespace wm {

String TemporaryOutputName(const String& outputFile) {
    const String ext = ExtensionOf(outputFile);
    String base = outputFile;
    const size_t limit = 255 - std::min<size_t>(ext.size(), 255);
    if (base.size() > limit)
        base.resize(limit);
    return base + u".tmp" + ext;
}

bool OutputSink::Prepare(const String& outputFile) {
    output_ = outputFile;
    temporary_.clear();
    if (EqualsNoCase(ExtensionOf(outputFile), u".IGNORE"))
        return false;
    const String folder = FolderPart(outputFile);
    if (!folder.empty())
        CreateFolderPath(folder);
    // A temporary output of this name can only be left by a run of ours that was killed; one that
    // another run still writes is open without delete sharing, and this delete then fails.
    const String temporary = TemporaryOutputName(outputFile);
    if (FileExists(temporary))
        DeleteFilePath(temporary);
    // A device (NUL, "nul.raw") takes the output as it comes: it is no file to replace.
    if (FileExists(outputFile) && !IsDeviceName(outputFile))
        temporary_ = temporary;
    return true;
}

bool OutputSink::Commit(bool keepOld, const EventHandle& quit, bool* moved) {
    *moved = !UsesTemporary();
    if (!UsesTemporary())
        return true;
    bool missing = false;
    const uint64_t size = FileSizeOfPath(temporary_, &missing);
    bool ok = true;
    if (!missing && size != 0 && !keepOld) {
        DeleteFilePath(output_);
        ok = MoveWithRetry(temporary_, output_, MOVEFILE_REPLACE_EXISTING, 2000, &quit);
        if (!ok)
            LogError(u"Error overwriting file " + Win32ErrorText(GetLastError()) + u" '" + output_ +
                     u"'");
        *moved = ok;
    }
    if (!DeleteFilePath(temporary_)) {
        const DWORD error = GetLastError();
        if (FileExists(temporary_))
            LogError(u"Error: The temporary output '" + temporary_ +
                     u"' was left behind: it could not be deleted " + Win32ErrorText(error) +
                     u" (the encoder may still hold it open).");
    }
    return ok;
}

void OutputSink::SizeCheck(StringView label, const String& path) {
    if (path.find(u".iGnore") != String::npos)
        return;
    LogLine(u"File Size Check " + String(label) + u": " +
            IntToText(static_cast<int64_t>(FileSizeOfPath(path, nullptr))) +
            u" bytes   Filename: " + path);
}

} // namespace wm
