#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace orv {

/// The replacement character for text that cannot be converted, and its UTF-8 form.
inline constexpr wchar_t kReplacement = 0xFFFD;
inline constexpr std::string_view kReplacementUtf8 = "\xEF\xBF\xBD";

/// Decodes UTF-8 to UTF-16 code units, one per element. Each maximal ill-formed subsequence becomes
/// one U+FFFD; a byte-order mark is kept as U+FEFF. The result is the same on both platforms.
std::wstring Utf8ToWide(std::string_view bytes);

/// Decodes into `target`, which must be large enough; one code unit per byte always is. Returns the
/// number of code units written, or needed if `target` is null.
std::size_t Utf8ToWide(std::string_view bytes, wchar_t* target);

/// One decoded code point; U+FFFD replaces a maximal ill-formed subsequence.
struct Utf8Character {
  char32_t code;
  std::size_t length;  ///< bytes, at least 1
};

/// Decodes the first code point of `bytes`, which must not be empty.
Utf8Character DecodeUtf8Character(std::string_view bytes);

/// Encodes UTF-16 code units as UTF-8; an unpaired surrogate becomes U+FFFD.
std::string WideToUtf8(std::wstring_view text);

/// Appends the UTF-8 form of `text` to `*bytes`.
void AppendUtf8(std::wstring_view text, std::string* bytes);

/// Encodes into `target`, which has `room` bytes. The text is cut at a code point boundary if it
/// does not fit. Returns the number of bytes written, or needed if `target` is null.
std::size_t WideToUtf8(std::wstring_view text, char* target, std::size_t room);

}  // namespace orv
