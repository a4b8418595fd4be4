#pragma once

#include <string>

#include "orv/xml/text_coding.h"

namespace orv {

/// Adds the entries that say what reading or writing `length` bytes of a file came to.
void ReportRead(const TextDecoder& decoder, std::uint64_t length, std::wstring* result);
void ReportWrite(const TextEncoder& encoder, std::uint64_t length, std::wstring* result);

/// Adds the entry of a failure.
void ReportFileError(const wchar_t* what, const std::wstring& file, std::wstring* result);

/// The document flags of a file in this encoding, in place of those of another file.
int FlagsOfFile(const TextEncoding& encoding, int docFlags);

}  // namespace orv
