#include "bundled/wav_decoder/WavTagWriter.h"

#include "bundled/wav/TagSetBridge.h"
#include "bundled/wav/WaveTagFile.h"
#include "bundled/wav_decoder/FileByteSource.h"
#include "bundled/win/Win32File.h"
#include "files/SafeReplace.h"
#include "files/SystemPath.h"

#include <windows.h>

#include <string>

namespace wm::bundled {

namespace {

// Windows refuses to replace a read-only file; Wine replaces it. Asking first keeps the two
// alike and saves the copy.
bool IsReadOnly(const String& path) {
    String p;
    if (!SystemPathForm(path, kOpenPathLimit, p))
        return false;
    const DWORD attributes = GetFileAttributesW(reinterpret_cast<const wchar_t*>(p.c_str()));
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY);
}

class FileSink final : public wav::ByteSink {
  public:
    explicit FileSink(Win32File& file) : file_(file) {}
    bool Write(const void* data, size_t length) override { return file_.Write(data, length); }

  private:
    Win32File& file_;
};

} // namespace

wav::WaveError WriteTagBlock(const char16_t* path, const void* block, size_t size) {
    IDTagSet set;
    set.Deserialize(block, size);
    const wav::WaveTags tags = wav::FromTagSet(set);

    const String target(path);
    if (IsReadOnly(target))
        return wav::kWaveReadOnly;
    Win32File in;
    if (!in.OpenForReading(path))
        return wav::kWaveOpenFailed;
    FileByteSource source(in);
    wav::TagRewritePlan plan;
    wav::WaveError error = wav::kWaveOk;
    if (!wav::PlanTagRewrite(source, tags, plan, error))
        return error;
    if (!plan.changes)
        return wav::kWaveOk;

    Win32File out;
    const String temp = CreateRewriteTemp(
        target, [&out](const String& name) { return out.CreateNew(name.c_str()); });
    if (temp.empty())
        return wav::kWaveCreateFailed;
    FileSink sink(out);
    if (!wav::WriteTagRewrite(source, plan, sink, error) || !out.Close())
        error =
            wav::WriteError(GetLastError(), error == wav::kWaveOk ? wav::kWaveWriteFailed : error);
    in.Close(); // the move needs the original free
    if (error == wav::kWaveOk && !MoveRewriteOver(temp, target))
        error = wav::kWaveReplaceFailed;
    if (error != wav::kWaveOk)
        DeletePath(temp.c_str());
    return error;
}

} // namespace wm::bundled
