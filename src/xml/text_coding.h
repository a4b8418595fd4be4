#pragma once

#include <string>
#include <string_view>

/// How the text of documents stands in files.

namespace orv {

enum class TextForm { kUtf8, kUtf16, kUtf32, kCodePage };

/// An encoding of files.
struct TextEncoding {
  TextForm form = TextForm::kUtf8;
  bool isBigEndian = false;
  bool hasMark = false;     ///< a byte-order mark stands in front
  bool isDetected = false;  ///< taken for UTF-8 because of its bytes alone
  int codePage = 0;         ///< of `kCodePage`
  std::wstring name = L"UTF-8";

  /// The bytes of the mark, "" when there is none.
  std::string_view Mark() const;
};

/// The encoding of a file by its first bytes: its mark, the shape of its first characters, what it
/// declares, whether it is UTF-8; the system's narrow one otherwise. `isWhole` when there are no
/// more bytes.
TextEncoding DetectEncoding(std::string_view bytes, bool isWhole);

/// The encoding that a document is saved in: UTF-16 or a mark as its flags say, else what it
/// declares, else UTF-8, which also takes the place of what the system does not know.
TextEncoding EncodingFor(const std::wstring& doc, int docFlags);

/// Turns a file's bytes, without the mark, into text.
class TextDecoder {
 public:
  explicit TextDecoder(TextEncoding encoding) : encoding_(std::move(encoding)) {}

  /// Appends the text of the next bytes. A character that they cut off waits for more, unless these
  /// are the last ones. Zero units are left out.
  void Decode(std::string_view bytes, bool isLast, std::wstring* text);

  const TextEncoding& Encoding() const { return encoding_; }
  bool HasLost() const { return hasLost_; }        ///< something was no character
  int NullsRemoved() const { return nulls_; }      ///< zero units left out
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

/// Turns text into a file's bytes, without the mark.
class TextEncoder {
 public:
  explicit TextEncoder(TextEncoding encoding) : encoding_(std::move(encoding)) {}

  /// Appends the bytes of the next text. Half a surrogate pair at its end waits for more, unless
  /// this is the last text.
  void Encode(std::wstring_view text, bool isLast, std::string* bytes);

  const TextEncoding& Encoding() const { return encoding_; }
  bool HasLost() const { return hasLost_; }  ///< something had no place in the encoding

 private:
  void EncodeWhole(std::wstring_view text, std::string* bytes);

  TextEncoding encoding_;
  std::wstring waiting_;
  bool hasLost_ = false;
};

}  // namespace orv
