#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

/// What is fuzzed: each target takes any bytes, does with them what the library's callers do, and
/// aborts when a promise does not hold. The same functions run under libFuzzer and, in the tests,
/// over the checked-in corpora.

namespace orv::fuzz {

using Input = std::span<const std::uint8_t>;

/// Parses a text, walks all of it by every navigating call and holds the index against a new parse.
void XmlParse(Input input);
/// Edits a text by a sequence of calls and holds the index against a new parse after every one.
void XmlEdit(Input input);
/// Reads a file's bytes whole and in parts, and writes the text back in every form.
void XmlFile(Input input);
/// Escapes and unescapes.
void XmlEscape(Input input);
/// Encodes bytes as Base64 and back; decodes them as if they were Base64.
void Base64(Input input);
/// Loads a configuration file with these bytes.
void ConfigFile(Input input);
/// Puts bytes through the checks of protected files, and through the cipher and back.
void ProtectedFile(Input input);
/// Repairs and converts a private record.
void Record(Input input);
/// Runs every imaging loop of every instruction set over pixels and compares the results.
void Imaging(Input input);
/// Reads a registry file and writes back what it says.
void RegistryFile(Input input);
/// Reads the text form of a private record, and writes and reads it again.
void RecordText(Input input);

/// Ends the process with a message when a promise does not hold.
void Require(bool holds, const char* promise);

/// Hands out the bytes of an input in portions that a target reads as numbers or text.
class Reader {
 public:
  explicit Reader(Input input) : rest_(input) {}
  bool IsAtEnd() const { return rest_.empty(); }
  /// The next byte; 0 at the end.
  std::uint8_t Byte();
  /// A number below `limit`, which is at least 1.
  int Below(int limit);
  /// The next `count` bytes, or all that are left when there are fewer.
  Input Bytes(std::size_t count);
  Input Rest() { return Bytes(rest_.size()); }

 private:
  Input rest_;
};

/// Bytes as text: decoded from UTF-8, with what is no UTF-8 taken byte by byte, so that stray
/// surrogates and all of Latin-1 occur.
std::wstring AsText(Input bytes);

/// A file of the process's own with these bytes, overwritten at the next call.
std::filesystem::path AsFile(Input bytes);
/// Another file's name of the process's own, for what a target writes.
std::filesystem::path OutputFile();

}  // namespace orv::fuzz
