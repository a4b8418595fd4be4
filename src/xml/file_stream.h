#pragma once

#include <cstdint>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "base/block_size.h"
#include "orv/xml/line_index.h"
#include "platform/new_file.h"
#include "xml/text_coding.h"

namespace orv {

/// The minimum size of a part of a file, in bytes or code units.
inline constexpr std::size_t kStreamPart = BlockSize<std::size_t>(1 << 16, 2100);

/// The position of an offset in the text of a file, which is read in parts; none if the file cannot
/// be read or is shorter. Only regular files can be read twice.
std::optional<TextPosition> PositionInFile(const std::wstring& file, std::size_t offset);

/// Passes the text of a file between two offsets to `use`, in parts that do not divide a surrogate
/// pair. Returns why the file cannot be read to the end of the range; empty if it was.
std::wstring ReadTextRange(const std::wstring& file, std::int64_t start, std::int64_t end,
                           const std::function<void(std::wstring_view)>& use);

/// A place between two parts of a file that is being read.
struct StreamPlace {
  std::uint64_t bytes;
  TextDecoder decoder;
};

/// A text file that is read or written in parts.
class FileStream {
 public:
  bool OpenToRead(const std::wstring& file);
  bool OpenToWrite(const std::wstring& file);
  /// Opens a file to continue it, in its own encoding; a missing one is created.
  bool OpenToAppend(const std::wstring& file);

  /// Appends more text of the file, decoded from at least `bytes` bytes; false at its end, or where
  /// reading fails.
  bool Read(std::size_t bytes, std::wstring* text);

  /// Whether `ReadAgain` works: only regular files can be read twice.
  bool CanReadAgain() const { return canReadAgain_; }
  /// Where the next `Read` begins.
  StreamPlace Place() const { return {length_ - unread_.size(), *decoder_}; }
  /// Appends the text of the part at a place before `Place`, and moves the place past it. False if
  /// that fails or the file has become shorter. Has no effect on `Read`.
  bool ReadAgain(StreamPlace* place, std::wstring* text);

  /// Whether `Read` has returned the last text.
  bool IsEnded() const { return isEnded_; }

  /// Writes the first `length` code units of a text. The first text and the document flags
  /// determine the encoding of a new file.
  bool Write(const std::wstring& text, std::size_t length, int docFlags);
  /// Passes what was written to the system.
  bool Flush();
  /// Ends the file; false if it is incomplete.
  bool Finish(int docFlags);

  /// Adds the result entries for the file.
  void Report(std::wstring* result) const;

  const std::wstring& Name() const { return name_; }
  /// Why the first function failed.
  const std::wstring& FailureReason() const { return failure_; }
  /// The encoding of a file that is being read.
  const TextEncoding& ReadEncoding() const { return decoder_->Encoding(); }

 private:
  bool WriteEncoded(std::wstring_view text, bool isLast, int docFlags);
  bool PutBytes(std::string_view bytes);
  bool Fail(std::wstring reason);

  std::wstring name_;
  std::ifstream input_;
  std::ofstream appended_;
  NewFile written_;
  std::optional<TextDecoder> decoder_;
  std::optional<TextEncoder> encoder_;
  std::string unread_;        ///< bytes that were not decoded yet
  std::uint64_t length_ = 0;  ///< bytes read or written
  bool canReadAgain_ = false;
  bool isEnded_ = false;  ///< the last bytes have been decoded
  std::wstring failure_;  ///< why the first call failed; afterwards nothing more is written
};

}  // namespace orv
