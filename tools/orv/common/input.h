#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "platform/new_file.h"

/// Reads and writes files and parses numbers for commands. The path "-" is standard input or
/// standard output.

namespace orv::tool {

inline constexpr wchar_t kStandardStream[] = L"-";

/// Whether a path is standard input or a pipe, such as the one of `<(COMMAND)` in a shell.
bool IsStream(const std::wstring& path);

/// Whether a path is standard output, by `-` or by a path that leads to the same pipe or terminal.
bool IsStandardOutput(const std::wstring& path);

/// Reads at most `max` bytes of a file from an offset; false when they cannot be read, for example
/// because the path is a folder or a device. The file is closed before the function returns.
/// Streams are read once and kept, so they can be read again. `CannotRead` is the message for a
/// failure.
bool ReadFile(const std::wstring& path, std::string* bytes, std::uint64_t offset = 0,
              std::size_t max = std::string::npos);

/// Reads the next bytes of standard input, none at its end, without keeping them: nothing else can
/// read them again. False as for `ReadFile`.
bool ReadStandardInput(std::string* bytes);

/// Records that the command reads a file in another way than by `ReadFile` and `InputFile`.
void NoteInput(const std::wstring& path);
/// Whether there is nothing at a path. What cannot be examined counts as there: reading it gives
/// the reason.
bool IsMissing(const std::wstring& path);

/// Replaces a file atomically: the file keeps its old content until `Commit`, and after a failure
/// it has either all of the new content or all of the old. Standard output, pipes and devices are
/// written by `Commit`, standard output through `PrintContent`. `CannotWrite` is the message for a
/// failure.
class OutputFile {
 public:
  explicit OutputFile(std::wstring path) : path_(std::move(path)) {}

  const std::wstring& path() const { return path_; }
  /// Stores the whole content; false when it cannot be written.
  bool Write(std::string bytes);
  /// After `Write`: whether `Commit` replaces a file rather than writes to a stream or device.
  bool IsReplaced() const { return isReplaced_; }
  bool Commit();

 private:
  std::wstring path_;
  NewFile file_;
  bool isReplaced_ = false;
  std::string bytes_;  ///< for a target that cannot be replaced
};

/// Writes one file through `OutputFile`.
bool WriteFile(const std::wstring& path, std::string bytes);

/// "cannot read NAME: REASON" or "cannot write NAME: REASON", for the last failure of a function
/// above.
std::wstring CannotRead(const std::wstring& path);
std::wstring CannotWrite(const std::wstring& path);

/// A path for messages; for an empty path it says that it is empty.
std::wstring PathName(const std::wstring& path);
/// An input path for messages.
std::wstring InputName(const std::wstring& path);

/// An input file that can be opened by its path: the file itself, or for a stream a temporary copy
/// that the destructor removes.
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

/// Decodes UTF-16LE bytes; a byte-order mark is not removed.
std::wstring DecodeUtf16(std::string_view bytes);
/// Wide text as UTF-16LE bytes.
std::string EncodeUtf16(std::wstring_view text);

/// Decodes UTF-16LE with a byte-order mark, or UTF-8 with or without one; the mark is removed.
std::wstring DecodeText(std::string_view bytes);

/// Parses a whole text as a number, decimal or hexadecimal after 0x; false when it is not a number
/// or exceeds 32 bits.
bool ParseNumber(std::wstring_view text, std::uint32_t* number);

/// A text without these characters at its start and end.
std::wstring_view Trim(std::wstring_view text, std::wstring_view blanks = L" \t");

/// The value of a hexadecimal digit; -1 for any other character.
int HexDigit(wchar_t digit);

}  // namespace orv::tool
