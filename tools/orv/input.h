#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// Reading files and numbers for commands.

namespace orv::tool {

/// Reads a file's bytes from an offset to its end, or as many as are wanted; false when they cannot
/// be read, as those of a folder, a pipe or a device. The file is open only as long as that takes.
bool ReadFile(const std::wstring& path, std::string* bytes, std::uint64_t offset = 0,
              std::size_t most = std::string::npos);

/// Writes a file anew: afterwards it holds the new content, or after a failure, which gives false,
/// still the old one.
bool WriteFile(const std::wstring& path, std::string_view bytes);

/// The name beside a file under which its new content is made.
std::wstring PartOf(const std::wstring& path);
/// Puts a finished file into the place of another, never of a folder or a device; on failure
/// removes it and gives false.
bool MoveOver(const std::wstring& part, const std::wstring& path);

/// UTF-16LE bytes as wide text, without a byte-order mark being looked for.
std::wstring DecodeUtf16(std::string_view bytes);
/// Wide text as UTF-16LE bytes.
std::string EncodeUtf16(std::wstring_view text);

/// The text of a file that is UTF-16LE with a byte-order mark or UTF-8 with or without one; the
/// mark is left out.
std::wstring DecodeText(std::string_view bytes);

/// The number that a text wholly is, decimal or with 0x in front; false when it is none or above
/// 32 bits.
bool ParseNumber(std::wstring_view text, std::uint32_t* number);

/// The value of a hexadecimal digit; -1 for any other character.
int HexDigit(wchar_t digit);

}  // namespace orv::tool
