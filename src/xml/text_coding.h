#pragma once

#include <string>
#include <string_view>
#include <utility>

/// Conversion between the text of documents and the bytes of files.

namespace orv {

enum class TextForm { kUtf8, kUtf16, kUtf32, kCodePage };

/// The encoding of a file.
struct TextEncoding {
  TextForm form = TextForm::kUtf8;
  bool isBigEndian = false;
  bool hasMark = false;     ///< the file begins with a byte-order mark
  bool isDetected = false;  ///< recognized as UTF-8 by its bytes alone
  int codePage = 0;         ///< of `kCodePage`
  std::wstring name = L"UTF-8";
  std::wstring unsupported = {};  ///< the declared encoding if it is not used because the system
                                  ///< does not know it

  /// The bytes of the mark; empty for none.
  std::string_view Mark() const;
};

/// The encoding of a file by its first bytes: its mark, the layout of its first characters, its
/// declaration, whether it is valid UTF-8; otherwise the system's narrow encoding. `isWhole` means
/// that the file has no more bytes.
TextEncoding DetectEncoding(std::string_view bytes, bool isWhole);

/// The encoding that a document is saved in: UTF-16 or UTF-8 with a mark by its flags, otherwise
/// the encoding that it declares, otherwise UTF-8. If the system does not support the declared
/// encoding, `unsupported` is its name.
TextEncoding EncodingFor(const std::wstring& doc, int docFlags);

/// Decodes the bytes of a file, without the mark.
class TextDecoder {
 public:
  explicit TextDecoder(TextEncoding encoding) : encoding_(std::move(encoding)) {}

  /// Appends the text of the next bytes. A character that is cut off waits for the next call,
  /// unless these are the last bytes. Zero code units are removed.
  void Decode(std::string_view bytes, bool isLast, std::wstring* text);

  const TextEncoding& Encoding() const { return encoding_; }
  bool HasLost() const { return hasLost_; }        ///< some bytes were not a character
  int NullsRemoved() const { return nulls_; }      ///< zero code units removed
  bool IsTruncated() const { return truncated_; }  ///< the file ended inside a character

 private:
  std::size_t WholeLength(std::string_view bytes) const;
  void DecodeWhole(std::string_view bytes, std::wstring* text);

  TextEncoding encoding_;
  std::string waiting_;
  bool hasLost_ = false;
  bool truncated_ = false;
  int nulls_ = 0;
};

/// Encodes text as the bytes of a file, without the mark.
class TextEncoder {
 public:
  explicit TextEncoder(TextEncoding encoding) : encoding_(std::move(encoding)) {}

  /// Appends the bytes of the next text. Half a surrogate pair at its end waits for the next call,
  /// unless this is the last text.
  void Encode(std::wstring_view text, bool isLast, std::string* bytes);

  const TextEncoding& Encoding() const { return encoding_; }
  /// Whether the encoding lacks some characters.
  bool HasLost() const { return lost_ != kNothing; }
  /// The position of the first of them, in code units of the texts so far.
  std::size_t FirstLost() const { return lost_; }

 private:
  static constexpr std::size_t kNothing = static_cast<std::size_t>(-1);

  bool EncodeWhole(std::wstring_view text, std::string* bytes) const;
  std::size_t FindLost(std::wstring_view text) const;

  TextEncoding encoding_;
  std::wstring waiting_;
  std::size_t passed_ = 0;  ///< code units encoded
  std::size_t lost_ = kNothing;
};

}  // namespace orv
