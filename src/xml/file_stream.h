#pragma once

#include <cstdint>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>

#include "platform/new_file.h"
#include "xml/open_names.h"
#include "xml/text_coding.h"

namespace orv {

/// Bytes or units that a file in parts is handled in, at least.
inline constexpr std::size_t kStreamPart = std::size_t{1} << 16;

/// A file that is read or written in parts, and how far a document has got in it.
class FileStream {
 public:
  bool OpenToRead(const std::wstring& file);
  bool OpenToWrite(const std::wstring& file);
  /// Opens a file to be continued, in the encoding that it has; a missing one is made.
  bool OpenToAppend(const std::wstring& file);

  /// Appends some more text of the file, of `bytes` bytes or more; false at its end.
  bool Read(std::size_t bytes, std::wstring* text);

  /// Whether `Read` has given the last text.
  bool IsEnded() const { return isEnded_; }

  /// Writes text. The first text decides on the encoding of a new file, with the document's flags.
  bool Write(const std::wstring& text, std::size_t length, int docFlags);
  /// Hands what was written to the system.
  bool Flush();
  /// Ends the file; false when it could not be written whole.
  bool Finish(int docFlags);

  /// Adds the entries that say what became of the file.
  void Report(std::wstring* result) const;

  const std::wstring& Name() const { return name_; }
  /// The encoding of a file being read.
  const TextEncoding& ReadEncoding() const { return decoder_->Encoding(); }

  // Reading. The text in memory begins with the start tags of the open elements.

  /// Where the text that has not been passed begins.
  int next = 0;
  /// Units of the file in front of the text in memory, less those of the start tags kept.
  std::int64_t passed = 0;
  /// The content of the main element has not been passed.
  bool isContentAhead = false;
  /// The end tag of the parent has been passed.
  bool isParentEnded = false;

  /// Counts the names of the parent and of the elements around it, without regard to case: what
  /// matches none of them matches none with it.
  OpenNames parents{true};

  void EnterElement(std::wstring_view name) {
    parents.Add(name);
    isParentEnded = !isContentAhead;
    isContentAhead = false;
  }

 private:
  bool PutBytes(std::string_view bytes);

  std::wstring name_;
  std::ifstream input_;
  std::ofstream appended_;
  NewFile written_;
  std::optional<TextDecoder> decoder_;
  std::optional<TextEncoder> encoder_;
  std::string head_;          ///< bytes read to find the encoding
  std::uint64_t length_ = 0;  ///< bytes read or written
  bool isEnded_ = false;      ///< the last bytes have been decoded
  bool isWhole_ = true;       ///< all bytes could be written; nothing goes behind a gap
};

}  // namespace orv
