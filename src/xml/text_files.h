#pragma once

#include <string>
#include <string_view>

#include "xml/text_coding.h"

namespace orv {

/// What `CMarkup::ReadTextFile` makes of a file of these bytes, for bytes that come from elsewhere;
/// the outputs may be null.
std::wstring DecodeFile(std::string_view bytes, std::wstring* result, int* docFlags);

/// The bytes that `CMarkup::WriteTextFile` writes; the result record says what that comes to.
std::string EncodeFile(const std::wstring& doc, int docFlags, std::wstring* result);

/// Adds the entries that say what reading or writing `length` bytes of a file came to.
void ReportRead(const TextDecoder& decoder, std::uint64_t length, std::wstring* result);
void ReportWrite(const TextEncoder& encoder, std::uint64_t length, std::wstring* result);

/// Adds the entry of a failure.
void ReportFileError(const wchar_t* what, const std::wstring& file, std::wstring* result);

/// The document flags of a file in this encoding, in place of those of another file.
int FlagsOfFile(const TextEncoding& encoding, int docFlags);

}  // namespace orv
