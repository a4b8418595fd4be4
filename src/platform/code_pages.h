#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Conversion between wide text and code pages, identified by their Windows numbers: through
/// kernel32 on Windows, iconv on Linux. The system decides which code pages exist.

namespace orv {

/// The "ANSI" code page, for narrow text without a declared encoding. On Linux it is 1252 (Western
/// European).
int SystemCodePage();

/// Decodes `bytes` and appends the text. Undecodable bytes become U+FFFD, or what the system
/// substitutes, and set `*lost`. Returns false and appends nothing if the code page does not exist.
bool DecodeCodePage(int codePage, std::string_view bytes, std::wstring* text, bool* lost);

/// Encodes `text` and appends the bytes. Characters that the code page lacks become `?` and set
/// `*lost`. Returns false and appends nothing if the code page does not exist.
bool EncodeCodePage(int codePage, std::wstring_view text, std::string* bytes, bool* lost);

/// The length of the bytes up to the last one below 0x30, which is always a whole character or the
/// last byte of a wrong one in double-byte code pages without shift states; 0 without such a byte.
inline std::size_t LengthToCharacterEnd(std::string_view bytes) {
  constexpr unsigned char kFirstTrailByte = 0x30;
  std::size_t length = bytes.size();
  while (length > 0 && static_cast<unsigned char>(bytes[length - 1]) >= kFirstTrailByte) --length;
  return length;
}

}  // namespace orv
