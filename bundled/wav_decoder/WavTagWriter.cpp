#include "bundled/wav_decoder/WavTagWriter.h"

#include "bundled/wav/TagSetBridge.h"
#include "bundled/wav/WaveTagFile.h"
#include "bundled/wav_decoder/FileByteSource.h"
#include "bundled/win/SafeReplace.h"
#include "bundled/win/Win32File.h"

#include <string>

namespace wm::bundled {

namespace {

class FileSink final : public wav::ByteSink {
  public:
    explicit FileSink(Win32File& file) : file_(file) {}
    bool Write(const void* data, size_t length) override { return file_.Write(data, length); }

  private:
    Win32File& file_;
};

} // namespace

bool WriteTagBlock(const char16_t* path, const void* block, size_t size) {
    IDTagSet set;
    set.Deserialize(block, size);
    const wav::WaveTags tags = wav::FromTagSet(set);

    const std::u16string target(path);
    Win32File in;
    if (IsReadOnly(target) || !in.OpenForReading(path))
        return false;
    FileByteSource source(in);
    wav::TagRewritePlan plan;
    std::string error;
    if (!wav::PlanTagRewrite(source, tags, plan, error))
        return false;
    if (!plan.changes)
        return true;

    Win32File out;
    std::u16string temp;
    if (!CreateTempBeside(target, out, temp))
        return false;
    FileSink sink(out);
    bool ok = wav::WriteTagRewrite(source, plan, sink, error);
    ok = out.Close() && ok;
    in.Close(); // the move needs the original free
    ok = ok && MoveOver(temp, target);
    if (!ok)
        DeleteQuietly(temp);
    return ok;
}

} // namespace wm::bundled
