#include "process/Registry.h"

#include "process/WinString.h"
#include "text/NumberText.h"

#include <cstring>

namespace wm {

namespace {

HKEY g_defaultHive = HKEY_CURRENT_USER;
String g_defaultPath = kSettingsRoot;

constexpr DWORD kEnumNameChars = 1040;

HKEY HiveOr(HKEY hive) {
    return hive ? hive : g_defaultHive;
}
String PathOr(const char16_t* path) {
    return path ? String(path) : g_defaultPath;
}

bool TypesMatch(DWORD stored, DWORD expected) {
    auto isText = [](DWORD t) { return t == REG_SZ || t == REG_EXPAND_SZ; };
    return stored == expected || (isText(stored) && isText(expected));
}

// Queries type and size only; no data.
bool QueryInfo(StringView name, HKEY hive, const char16_t* path, DWORD* type, DWORD* size) {
    UniqueRegKey key = RegOpenSettingsKey(KEY_QUERY_VALUE, hive, path);
    if (!key)
        return false;
    String valueName(name);
    return ::RegQueryValueExW(key.get(), W(valueName), nullptr, type, nullptr, size) ==
           ERROR_SUCCESS;
}

template <typename T>
T ReadScalar(StringView name, DWORD type, HKEY hive, const char16_t* path, bool* failed) {
    T value{};
    bool ok = RegReadTyped(name, &value, sizeof(value), type, hive, path);
    if (failed)
        *failed = !ok;
    return value;
}

// Reads a text value of any size: size + extra zeroed bytes keep it terminated.
bool ReadText(StringView name, DWORD type, uint32_t extraBytes, HKEY hive, const char16_t* path,
              std::u16string& out) {
    out.clear();
    bool failed = false;
    uint32_t size = RegValueSize(name, hive, path, &failed);
    if (failed || size == 0)
        return false;
    std::vector<char16_t> buffer((size + extraBytes + 1) / 2, 0);
    if (!RegReadTyped(name, buffer.data(), size, type, hive, path))
        return false;
    out.assign(buffer.data(), buffer.size());
    return true;
}

} // namespace

void RegSetDefaultLocation(HKEY hive, StringView path) {
    g_defaultHive = hive;
    g_defaultPath = String(path);
}

HKEY RegDefaultHive() {
    return g_defaultHive;
}
String RegDefaultPath() {
    return g_defaultPath;
}

UniqueRegKey RegOpenSettingsKey(REGSAM access, HKEY hive, const char16_t* path) {
    String keyPath = PathOr(path);
    UniqueRegKey key;
    if (::RegCreateKeyExW(HiveOr(hive), W(keyPath), 0, nullptr, 0, access, nullptr, key.put(),
                          nullptr) != ERROR_SUCCESS)
        return UniqueRegKey();
    return key;
}

bool RegReadTyped(StringView name, void* buffer, uint32_t size, uint32_t type, HKEY hive,
                  const char16_t* path) {
    UniqueRegKey key = RegOpenSettingsKey(KEY_QUERY_VALUE, hive, path);
    bool ok = false;
    if (key) {
        String valueName(name);
        DWORD stored = REG_NONE;
        DWORD got = size;
        ok = ::RegQueryValueExW(key.get(), W(valueName), nullptr, &stored,
                                static_cast<BYTE*>(buffer), &got) == ERROR_SUCCESS &&
             TypesMatch(stored, type);
    }
    if (!ok && buffer && size)
        std::memset(buffer, 0, size);
    return ok;
}

uint32_t RegReadDword(StringView name, HKEY hive, const char16_t* path, bool* failed) {
    return ReadScalar<uint32_t>(name, REG_DWORD, hive, path, failed);
}

uint64_t RegReadQword(StringView name, HKEY hive, const char16_t* path, bool* failed) {
    return ReadScalar<uint64_t>(name, REG_QWORD, hive, path, failed);
}

float RegReadFloat(StringView name, HKEY hive, const char16_t* path, bool* failed) {
    return ReadScalar<float>(name, REG_BINARY, hive, path, failed);
}

bool RegReadBinary(StringView name, void* buffer, uint32_t size, HKEY hive, const char16_t* path) {
    return RegReadTyped(name, buffer, size, REG_BINARY, hive, path);
}

String RegReadString(StringView name, HKEY hive, const char16_t* path, bool* failed) {
    std::u16string raw;
    bool ok = ReadText(name, REG_SZ, 2, hive, path, raw);
    if (failed)
        *failed = !ok;
    return ok ? String(raw.c_str()) : String();
}

bool RegReadMultiString(StringView name, StringList& items, HKEY hive, const char16_t* path) {
    items.clear();
    std::u16string raw;
    if (!ReadText(name, REG_MULTI_SZ, 4, hive, path, raw))
        return false;
    items = UnpackMultiString(raw);
    return true;
}

uint32_t RegValueSize(StringView name, HKEY hive, const char16_t* path, bool* failed) {
    DWORD type = 0, size = 0;
    bool ok = QueryInfo(name, hive, path, &type, &size);
    if (failed)
        *failed = !ok;
    return ok ? size : 0;
}

uint32_t RegValueType(StringView name, HKEY hive, const char16_t* path, bool* failed) {
    DWORD type = 0, size = 0;
    bool ok = QueryInfo(name, hive, path, &type, &size);
    if (failed)
        *failed = !ok;
    return ok ? type : REG_NONE;
}

bool RegValueExists(StringView name, HKEY hive, const char16_t* path) {
    bool failed = true;
    RegValueType(name, hive, path, &failed);
    return !failed;
}

bool RegKeyExists(StringView subKey, HKEY parent) {
    String keyPath(subKey);
    UniqueRegKey key;
    return ::RegOpenKeyExW(HiveOr(parent), W(keyPath), 0, KEY_QUERY_VALUE, key.put()) ==
           ERROR_SUCCESS;
}

bool RegWriteTyped(StringView name, const void* data, uint32_t size, uint32_t type, HKEY hive,
                   const char16_t* path) {
    UniqueRegKey key = RegOpenSettingsKey(KEY_WRITE, hive, path);
    if (!key)
        return false;
    String valueName(name);
    return ::RegSetValueExW(key.get(), W(valueName), 0, type, static_cast<const BYTE*>(data),
                            size) == ERROR_SUCCESS;
}

bool RegWriteDword(StringView name, uint32_t value, HKEY hive, const char16_t* path) {
    return RegWriteTyped(name, &value, sizeof(value), REG_DWORD, hive, path);
}

bool RegWriteQword(StringView name, uint64_t value, HKEY hive, const char16_t* path) {
    return RegWriteTyped(name, &value, sizeof(value), REG_QWORD, hive, path);
}

bool RegWriteFloat(StringView name, float value, HKEY hive, const char16_t* path) {
    return RegWriteTyped(name, &value, sizeof(value), REG_BINARY, hive, path);
}

bool RegWriteBinary(StringView name, const void* data, uint32_t size, HKEY hive,
                    const char16_t* path) {
    return RegWriteTyped(name, data, size, REG_BINARY, hive, path);
}

bool RegWriteString(StringView name, StringView value, HKEY hive, const char16_t* path,
                    bool expandable) {
    String text(value);
    return RegWriteTyped(name, text.c_str(), static_cast<uint32_t>((text.size() + 1) * 2),
                         expandable ? REG_EXPAND_SZ : REG_SZ, hive, path);
}

bool RegWriteMultiString(StringView name, const StringList& items, HKEY hive,
                         const char16_t* path) {
    std::u16string packed = PackMultiString(items);
    return RegWriteTyped(name, packed.data(), static_cast<uint32_t>(packed.size() * 2),
                         REG_MULTI_SZ, hive, path);
}

LONG RegDeleteValue(StringView name, HKEY hive, const char16_t* path) {
    UniqueRegKey key = RegOpenSettingsKey(KEY_ALL_ACCESS, hive, path);
    if (!key)
        return ERROR_ACCESS_DENIED;
    String valueName(name);
    return ::RegDeleteValueW(key.get(), W(valueName));
}

void RegDeleteKeyTree(StringView name, HKEY hive, const char16_t* parentPath) {
    if (name.empty())
        return;
    String parent = PathOr(parentPath);
    String full = parent.empty() ? String(name) : parent + u"\\" + String(name);
    for (const String& child : RegEnumSubKeys(HiveOr(hive), full.c_str()))
        RegDeleteKeyTree(child, hive, full.c_str());
    UniqueRegKey key = RegOpenSettingsKey(KEY_ALL_ACCESS, hive, parent.c_str());
    if (key) {
        String keyName(name);
        ::RegDeleteKeyW(key.get(), W(keyName));
    }
}

namespace {

// A hive given without a path is enumerated itself; otherwise the key is opened for reading.
HKEY KeyToEnumerate(HKEY hive, const char16_t* path, UniqueRegKey& opened) {
    if (hive && !path)
        return hive;
    opened = RegOpenSettingsKey(KEY_READ, hive, path);
    return opened.get();
}

} // namespace

namespace {

// Collects the names that next(index, buffer, &length) yields for index 0, 1, ... until it fails.
template <class Next> void CollectNames(StringList& names, Next next) {
    wchar_t name[kEnumNameChars];
    for (DWORD i = 0;; ++i) {
        DWORD length = kEnumNameChars;
        if (next(i, name, &length) != ERROR_SUCCESS)
            break;
        names.push_back(FromW(name, length));
    }
}

} // namespace

StringList RegEnumSubKeys(HKEY hive, const char16_t* path) {
    StringList names;
    UniqueRegKey opened;
    HKEY key = KeyToEnumerate(hive, path, opened);
    if (key)
        CollectNames(names, [key](DWORD i, wchar_t* name, DWORD* length) {
            return ::RegEnumKeyExW(key, i, name, length, nullptr, nullptr, nullptr, nullptr);
        });
    return names;
}

bool RegEnumValues(StringList& names, std::vector<uint32_t>* types, HKEY hive,
                   const char16_t* path) {
    UniqueRegKey opened;
    HKEY key = KeyToEnumerate(hive, path, opened);
    if (!key)
        return false;
    CollectNames(names, [key, types](DWORD i, wchar_t* name, DWORD* length) {
        DWORD type = REG_NONE;
        LONG status = ::RegEnumValueW(key, i, name, length, nullptr, &type, nullptr, nullptr);
        if (status == ERROR_SUCCESS && types)
            types->push_back(type);
        return status;
    });
    return true;
}

void ApplyTaggingDefaults(StringView root) {
    String base(root);
    String tagging = base + u"\\Tagging";
    String profile = base + u"\\Discpull\\Profiles\\(default)";
    if (RegValueExists(u"Mp3TagDefault", HKEY_CURRENT_USER, tagging.c_str()))
        return;
    RegWriteDword(u"AlbumArtFolderJPG", 1, HKEY_CURRENT_USER, profile.c_str());
    RegWriteDword(u"Mp3TagDefault", 3, HKEY_CURRENT_USER, tagging.c_str());
    RegWriteDword(u"Mp3ID3v2UnicodeEncode", 1, HKEY_CURRENT_USER, tagging.c_str());
    RegWriteDword(u"VrxProfFreqConversion", 1, HKEY_CURRENT_USER, base.c_str());
}

} // namespace wm
