#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

/// The fuzz targets. Each accepts any bytes, uses them as the library's callers would, and aborts
/// if a guarantee is violated. The same functions run under libFuzzer and, in the tests, on the
/// committed corpora.

namespace orv::fuzz {

using Input = std::span<const std::uint8_t>;

/// Parses a text, walks it with every navigation function, and compares the index with a new parse.
void XmlParse(Input input);
/// Edits a text with a sequence of calls, and compares the index with a new parse after each.
void XmlEdit(Input input);
/// Reads a file at once and in parts, and writes the text in every format.
void XmlFile(Input input);
/// Writes a file in parts, and compares it with the same document in memory.
void XmlWrite(Input input);
/// Checks a text strictly, and that what is written passes.
void XmlStrict(Input input);
/// Compares the strict check with libxml2. Needs its development files.
void XmlPeer(Input input);
/// Escapes and unescapes text.
void XmlEscape(Input input);
/// Encodes bytes as Base64 and decodes the result; also decodes the bytes as Base64.
void Base64(Input input);
/// Loads a configuration file with these bytes.
void ConfigFile(Input input);
/// Makes mistakes in a configuration file, and compares the checker with the loader, before and
/// after the checker's corrections.
void ConfigEdit(Input input);
/// Runs the checks of protected files on the bytes, and encrypts and decrypts them.
void ProtectedFile(Input input);
/// Validates and converts a private record.
void Record(Input input);
/// Compares the C interface with the C++ interface: pages, records and configuration files.
void CInterface(Input input);
/// Runs every imaging loop on every instruction set and compares the results.
void Imaging(Input input);
/// Reads a registry file, writes its values and reads them again.
void RegistryFile(Input input);
/// Reads the text form of a private record, writes it and reads it again; also searches the bytes
/// for records.
void RecordText(Input input);
/// Collects the rows of a raster document, as the printer application does. Needs PAPPL.
void Raster(Input input);

/// Aborts with a message unless `holds`.
void Require(bool holds, const char* guarantee);

/// Splits an input into numbers and byte ranges.
class Reader {
 public:
  explicit Reader(Input input) : rest_(input) {}
  bool IsAtEnd() const { return rest_.empty(); }
  /// Returns the next byte, or 0 at the end.
  std::uint8_t Byte();
  /// Returns a number below `limit`, which must be at least 1.
  int Below(int limit);
  /// Returns the next `count` bytes, or the remaining ones if there are fewer.
  Input Bytes(std::size_t count);
  Input Rest() { return Bytes(rest_.size()); }

 private:
  Input rest_;
};

/// Decodes bytes as UTF-8. Invalid UTF-8 is converted byte by byte, so unpaired surrogates and all
/// of Latin-1 occur.
std::wstring AsText(Input bytes);

/// Writes the bytes to a temporary file of this process, which the next call overwrites.
std::filesystem::path AsFile(Input bytes);
/// Returns the name of another temporary file of this process, for a target's output.
std::filesystem::path OutputFile();

}  // namespace orv::fuzz
