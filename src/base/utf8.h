#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace orv {

/// Decodes UTF-8 to UTF-16 code units, one unit an element. Every maximal ill-formed piece becomes
/// one U+FFFD; a byte-order mark stays as U+FEFF. The same on every system.
std::wstring Utf8ToWide(std::string_view bytes);

/// The same into a target that is large enough (as many units as there are bytes always are);
/// returns the units written, or needed when the target is null.
std::size_t Utf8ToWide(std::string_view bytes, wchar_t* target);

/// One character of UTF-8, or one maximal ill-formed piece, which counts as U+FFFD.
struct Utf8Character {
  char32_t code;
  std::size_t length;  ///< bytes, at least 1
};

/// The character that the bytes, of which there is at least one, begin with.
Utf8Character DecodeUtf8Character(std::string_view bytes);

/// Encodes UTF-16 code units as UTF-8; an unpaired surrogate becomes U+FFFD.
std::string WideToUtf8(std::wstring_view text);

/// The same at the end of `*bytes`.
void AppendUtf8(std::wstring_view text, std::string* bytes);

/// The same into a target with `room` for bytes: what does not fit is left out, never half a
/// character. Returns the bytes written, or needed when the target is null.
std::size_t WideToUtf8(std::wstring_view text, char* target, std::size_t room);

}  // namespace orv
