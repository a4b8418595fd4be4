#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "platform/new_file.h"

/// Reading and writing files, and reading numbers, for commands. The path "-" stands for standard
/// input and standard output.

namespace orv::tool {

inline constexpr wchar_t kStandardStream[] = L"-";

/// Reads a file's bytes from an offset to its end, or as many as are wanted; false when they cannot
/// be read, as those of a folder, a pipe or a device. The file is open only as long as that takes.
/// Standard input is read once and can be read again.
bool ReadFile(const std::wstring& path, std::string* bytes, std::uint64_t offset = 0,
              std::size_t max = std::string::npos);

/// A file that is written anew: it holds the old content until `Commit`, and then, or when it
/// fails, all of the new or of the old. Standard output and what is no file get the content at the
/// commit, the former by `PrintContent`.
class OutputFile {
 public:
  explicit OutputFile(std::wstring path) : path_(std::move(path)) {}

  const std::wstring& path() const { return path_; }
  /// Takes the whole content; false when there is no room for it, or no place.
  bool Write(std::string bytes);
  bool Commit();

 private:
  std::wstring path_;
  NewFile file_;
  bool isReplaced_ = false;
  std::string bytes_;  ///< for what cannot be replaced
};

/// Writes one file in this way.
bool WriteFile(const std::wstring& path, std::string bytes);

/// A path in a folder for temporary files that only the user can look into and that goes when the
/// program ends.
std::wstring TemporaryPath(const wchar_t* name);

/// What messages call a path: the path, and of an empty one that it is empty.
std::wstring PathName(const std::wstring& path);
/// What messages call a file that is read.
std::wstring InputName(const std::wstring& path);

/// A file to be opened by its path: the file of that path, or for standard input a temporary copy
/// that goes with this object.
class InputFile {
 public:
  explicit InputFile(const std::wstring& path);
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;
  ~InputFile();

  const std::wstring& path() const { return path_; }

 private:
  std::wstring path_;
  bool isCopy_;
};

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

/// A text without these characters at its start and end.
std::wstring_view Trim(std::wstring_view text, std::wstring_view blanks = L" \t");

/// The value of a hexadecimal digit; -1 for any other character.
int HexDigit(wchar_t digit);

}  // namespace orv::tool
