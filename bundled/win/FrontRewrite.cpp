#include "bundled/win/FrontRewrite.h"

#include "files/SafeReplace.h"

namespace wm::bundled {

namespace {

String RewriteWhole(const String& target, Win32File& in, const std::vector<uint8_t>& front,
                    uint64_t restAt) {
    Win32File out;
    const String temp = CreateRewriteTemp(
        target, [&out](const String& name) { return out.CreateNew(name.c_str()); });
    if (temp.empty())
        return u"no temporary file could be made beside it";
    bool ok = out.Write(front.data(), front.size());
    std::vector<uint8_t> piece(1 << 20);
    const uint64_t size = in.Size();
    for (uint64_t at = restAt; ok && at < size;) {
        const size_t got = in.ReadAt(at, piece.data(), piece.size());
        ok = got > 0 && out.Write(piece.data(), got);
        at += got;
    }
    ok = out.Close() && ok;
    in.Close(); // the move needs the original free
    if (ok && MoveRewriteOver(temp, target))
        return {};
    DeletePath(temp.c_str());
    return ok ? u"the rewritten file could not replace it"
              : u"the rewritten file could not be written";
}

} // namespace

String ReplaceFront(const char16_t* path, Win32File& file, const std::vector<uint8_t>& front,
                    uint64_t oldFrontLength) {
    if (front.size() != oldFrontLength)
        return RewriteWhole(path, file, front, oldFrontLength);
    if (!file.WriteAt(0, front.data(), front.size()) || !file.Close())
        return u"the tags could not be written";
    return {};
}

} // namespace wm::bundled
