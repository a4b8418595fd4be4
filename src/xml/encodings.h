#pragma once

#include <string>
#include <string_view>

/// The names of encodings, and the encoding that a document declares.

namespace orv {

inline constexpr int kUtf16Page = 1200;
inline constexpr int kUtf16BigEndianPage = 1201;
inline constexpr int kUtf7Page = 65000;
inline constexpr int kUtf8Page = 65001;
inline constexpr int kUtf32Page = 65005;

/// The Windows code page of an encoding: 0 for an empty name, -1 for an unknown one.
int EncodingCodePage(std::wstring_view name);

/// The encoding that a document declares in its XML declaration, or in the "Content-Type" of an
/// HTML head; empty if it declares none.
std::wstring DeclaredEncoding(std::wstring_view text);

}  // namespace orv
