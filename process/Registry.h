// Typed registry access relative to one process-wide default location.
//
// Every call opens and closes its own key; nothing is cached. A missing hive means the default
// hive; a given path replaces the default path whole (pass kSettingsRoot + suffix for keys
// below the root). Keys are opened with RegCreateKeyExW, so even a read creates its key.
// Reads never fail loudly: they yield 0 / empty / false and report through `failed`.
#pragma once

#include "process/UniqueHandle.h"
#include "text/String.h"

#include <windows.h>

#include <cstdint>
#include <vector>

namespace wm {

inline constexpr char16_t kSettingsRoot[] = u"Software\\Brightfold\\Tonewerk";

// Set once at start, before other threads run. Initially HKEY_CURRENT_USER + kSettingsRoot.
void RegSetDefaultLocation(HKEY hive, StringView path);
HKEY RegDefaultHive();
String RegDefaultPath();

// Opens, creating it when missing. Empty on any error.
UniqueRegKey RegOpenSettingsKey(REGSAM access, HKEY hive = nullptr, const char16_t* path = nullptr);

// Fills the buffer, or zeroes it and returns false. REG_SZ and REG_EXPAND_SZ stand in for
// each other; any other type mismatch is a failure.
bool RegReadTyped(StringView name, void* buffer, uint32_t size, uint32_t type, HKEY hive = nullptr,
                  const char16_t* path = nullptr);
uint32_t RegReadDword(StringView name, HKEY hive = nullptr, const char16_t* path = nullptr,
                      bool* failed = nullptr);
uint64_t RegReadQword(StringView name, HKEY hive = nullptr, const char16_t* path = nullptr,
                      bool* failed = nullptr);
// Floats live as 4-byte REG_BINARY values holding the bits.
float RegReadFloat(StringView name, HKEY hive = nullptr, const char16_t* path = nullptr,
                   bool* failed = nullptr);
bool RegReadBinary(StringView name, void* buffer, uint32_t size, HKEY hive = nullptr,
                   const char16_t* path = nullptr);
// REG_EXPAND_SZ text comes back unexpanded.
String RegReadString(StringView name, HKEY hive = nullptr, const char16_t* path = nullptr,
                     bool* failed = nullptr);
// Clears the list first; "[Empty]" items read back as empty.
bool RegReadMultiString(StringView name, StringList& items, HKEY hive = nullptr,
                        const char16_t* path = nullptr);
uint32_t RegValueSize(StringView name, HKEY hive = nullptr, const char16_t* path = nullptr,
                      bool* failed = nullptr);
uint32_t RegValueType(StringView name, HKEY hive = nullptr, const char16_t* path = nullptr,
                      bool* failed = nullptr);
bool RegValueExists(StringView name, HKEY hive = nullptr, const char16_t* path = nullptr);
// Tests without creating: subKey relative to parent (nullptr = default hive).
bool RegKeyExists(StringView subKey, HKEY parent = nullptr);

bool RegWriteTyped(StringView name, const void* data, uint32_t size, uint32_t type,
                   HKEY hive = nullptr, const char16_t* path = nullptr);
bool RegWriteDword(StringView name, uint32_t value, HKEY hive = nullptr,
                   const char16_t* path = nullptr);
bool RegWriteQword(StringView name, uint64_t value, HKEY hive = nullptr,
                   const char16_t* path = nullptr);
bool RegWriteFloat(StringView name, float value, HKEY hive = nullptr,
                   const char16_t* path = nullptr);
bool RegWriteBinary(StringView name, const void* data, uint32_t size, HKEY hive = nullptr,
                    const char16_t* path = nullptr);
bool RegWriteString(StringView name, StringView value, HKEY hive = nullptr,
                    const char16_t* path = nullptr, bool expandable = false);
// Empty items are stored as "[Empty]": an empty piece would end the list early.
bool RegWriteMultiString(StringView name, const StringList& items, HKEY hive = nullptr,
                         const char16_t* path = nullptr);

// The system status. (<windows.h> renames this to RegDeleteValueW, consistently.)
LONG RegDeleteValue(StringView name, HKEY hive = nullptr, const char16_t* path = nullptr);
// Deletes parentPath\name with everything below it, depth first. Empty name: nothing.
void RegDeleteKeyTree(StringView name, HKEY hive = nullptr, const char16_t* parentPath = nullptr);

// With a hive and no path the hive handle itself is enumerated; with neither, the default key.
StringList RegEnumSubKeys(HKEY hive = nullptr, const char16_t* path = nullptr);
bool RegEnumValues(StringList& names, std::vector<uint32_t>* types = nullptr, HKEY hive = nullptr,
                   const char16_t* path = nullptr);

// The four first-run DWORDs (HKEY_CURRENT_USER), written only while root\Tagging has no
// "Mp3TagDefault".
void ApplyTaggingDefaults(StringView root = kSettingsRoot);

// Makes number text use the user's "Control Panel\International" settings.
void InstallRegistryLocaleLoader();

} // namespace wm
