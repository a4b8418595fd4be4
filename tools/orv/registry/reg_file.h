#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "orv/platform/registry.h"
#include "orv/platform/types.h"

/// Registry files: text, version 5, as registry editors export and import it.

namespace orv::tool {

/// One step of an import. For a hive that is not in the store, the root is null and the path that
/// of the whole key.
struct RegChange : RegistryChange {
  std::size_t line;  ///< of the file, from 1
};

struct RegFault {
  std::size_t line;
  std::wstring message;
};

/// Whether a text begins like a registry file.
bool IsRegFile(std::wstring_view text);

/// The hives of a registry file: those of the store, so that the changes can be applied, or any.
enum class RegHives { kStored, kAny };

/// Parses a registry file into changes, in order, and faults. Do not apply the changes of a file
/// with faults.
void ParseRegFile(std::wstring_view text, std::vector<RegChange>* changes,
                  std::vector<RegFault>* faults, RegHives hives = RegHives::kStored);

/// The same for the bytes of a file, whose text must be valid: nothing else would be stored.
void ParseRegBytes(std::string_view bytes, std::vector<RegChange>* changes,
                   std::vector<RegFault>* faults);

/// The first line of a registry file and the empty line after it, with their line ends.
std::wstring RegFileHeader();
/// Ends the command if the path of a key, or the name of a value in it, contains a line feed: the
/// file would have two lines instead of one.
void RequireOneLine(const std::wstring& fullPath, const std::wstring& valueName = {});
/// A key's section heading with its line end. Calls `RequireOneLine`.
std::wstring FormatRegKey(const std::wstring& fullPath);
/// A value's lines. The name must not contain a line feed.
std::wstring FormatRegValue(const std::wstring& name, const RegistryValue& value);

/// Writes a registry file: in UTF-16 with a byte-order mark, which registry editors expect, or in
/// UTF-8 to standard output. Ends the command when that fails.
void SaveRegFile(const std::wstring& path, const std::wstring& text);

/// Splits a key such as "HKCU\Software" (or with the long name of the hive) into hive and path. The
/// path is empty for a hive; it neither begins nor ends with a backslash.
bool ParseKeyPath(std::wstring_view text, HKEY* root, std::wstring* path);
/// The long form of a key's path; the path itself if the root is null.
std::wstring FullKeyPath(HKEY root, const std::wstring& path);

}  // namespace orv::tool
