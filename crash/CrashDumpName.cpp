#include "crash/CrashDumpName.h"

#include "files/PathText.h"

namespace wm {

String CrashDumpName(uint32_t processId, int n) {
    String name = u"crash-" + Widen(std::to_string(processId));
    if (n > 0)
        name += u"-" + Widen(std::to_string(n));
    return name + u".dmp";
}

String FreeCrashDumpPath(StringView folder, uint32_t processId,
                         const std::function<bool(const String&)>& exists) {
    for (int n = 0; n <= kMaxCrashDumpSuffix; ++n) {
        String path = String(folder) + CrashDumpName(processId, n);
        if (!exists(path))
            return path;
    }
    return {};
}

String CrashDumpOfValue(StringView folder, StringView value) {
    String name = FileNamePart(value);
    // "." and ".." name folders, never a dump.
    if (name.empty() || name == u"." || name == u"..")
        return {};
    return String(folder) + name;
}

} // namespace wm
