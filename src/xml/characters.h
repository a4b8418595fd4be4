#pragma once

#include <span>
#include <string>
#include <string_view>

/// UTF-8, UTF-16 and Base64.

namespace orv {

/// Decodes one character and moves the pointer past it: its code point, U+FFFD for ill-formed
/// input, 0 at the end. A null end means the terminating zero.
int DecodeCharUtf8(const char** at, const char* end);
int DecodeCharUtf16(const wchar_t** at, const wchar_t* end);

/// Encodes one character into up to four bytes or two code units; with a null target it only
/// returns their number.
void EncodeCharUtf8(int character, char* target, int* length);
void EncodeCharUtf16(int code, wchar_t* target, int* length);

/// Appends the code units of one character.
void AppendCharUtf16(int code, std::wstring* text);

/// Whether a text ends with the first half of a surrogate pair.
inline bool EndsInsidePair(std::wstring_view text) {
  return !text.empty() && (text.back() & 0xFC00) == 0xD800;
}

/// Whether bytes, up to a zero, could be UTF-8, overlong forms included. The outputs, which may be
/// null, are the number of lead bytes beyond ASCII up to the first error, and whether the only
/// error is a sequence cut off by the end.
bool DetectUtf8(std::string_view bytes, int* nonAscii, bool* errorAtEnd);

/// Base64 with a leading line break and lines of 64 characters.
std::wstring EncodeBase64(std::span<const unsigned char> data);

/// Decodes Base64 and returns the number of bytes written; with a size of 0, or a null buffer, a
/// sufficient size.
int DecodeBase64(std::wstring_view text, unsigned char* buffer, int size);

}  // namespace orv
