// Path text in Windows form: the long-path rule, splitting, and names that are never entered.
// Portable: no Windows headers, so it is tested natively too. "\" and "/" both separate.
#pragma once

#include "text/String.h"

#include <cstddef>
#include <cstdint>

namespace wm {

// From this many characters on a path needs the "\\?\" form: opening files and reading
// attributes, and every other call (moves, copies, deletes, folders, searches, short names).
inline constexpr size_t kOpenPathLimit = 260;
inline constexpr size_t kOtherPathLimit = 248;

// The text to hand to the system. A path of `limit` characters or more gets "\\?\" in front
// (its "/" turned into "\", which that form does not translate); a UNC path, including one that
// already has the prefix, is passed as it is whatever its length. *unusable is set for an empty
// path, one holding a NUL, and a long one that is not drive-absolute (the prefix cannot be
// applied to it); callers then make no system call.
String LongPathForm(StringView path, size_t limit, bool* unusable = nullptr);

bool IsUnc(StringView path);
bool IsSeparator(char16_t c);

// "C:\a\b.txt" -> "C:\a\" ; no separator -> empty.
String FolderPart(StringView path);
// "C:\a\b.txt" -> "b.txt".
String FileNamePart(StringView path);
// From the last "." when it follows the last separator: "C:\a\b.tar.gz" -> ".gz"; else empty.
String ExtensionOf(StringView path);
// Everything before the last separator; a path ending in one loses it first and gets it back:
// "C:\a\b" -> "C:\a", "C:\a\b\" -> "C:\a\". No separator -> empty.
String ParentFolder(StringView path);
// ParentFolder in place. False (unchanged) when there is no parent.
bool StripToParent(String& path);
// Appends "\" unless the text already ends with a separator.
String EnsureTrailingSeparator(StringView path);
// True when the path's file name is a device of Windows (CON, PRN, AUX, NUL, COM1-9, LPT1-9),
// with or without an extension: "D:\x\nul.raw" writes to NUL and no file is ever made.
bool IsDeviceName(StringView path);
// False for the recycle bins and index folders of Windows and network storage boxes.
bool MayEnterFolder(StringView path);

// The n-th safe-rewrite name for target in process pid: target.p<pid>[.n].rewrite.tmp.
String RewriteTempName(StringView target, uint32_t pid, int n);
inline constexpr char16_t kRewriteTempMask[] = u"*.rewrite.tmp";

} // namespace wm
