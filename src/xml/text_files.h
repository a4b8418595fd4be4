#pragma once

#include <string>
#include <string_view>

#include "xml/text_coding.h"

namespace orv {

/// Reads a whole file and decodes it. The result record, if not null, is replaced; the document
/// flags, if not null, are set to the file's encoding. False, with the text unchanged, if the file
/// cannot be read.
bool ReadTextFile(const wchar_t* file, std::wstring& text, std::wstring* result, int* docFlags);

/// Writes a text as a file, in the encoding that the flags or the text itself determine. The file
/// is replaced only when it is complete. False if it cannot be written or there is an obstacle
/// (`WhyNotWritten`).
bool WriteTextFile(const wchar_t* file, const std::wstring& text, std::wstring* result,
                   const int* docFlags);

/// What `ReadTextFile` returns for a file with these bytes; the outputs may be null.
std::wstring DecodeFile(std::string_view bytes, std::wstring* result, int* docFlags);

/// The bytes that `WriteTextFile` writes; the result record, if not null, describes them.
/// `*obstacle` is why it does not write them (`WhyNotWritten`).
std::string EncodeFile(const std::wstring& text, int docFlags, std::wstring* result,
                       std::wstring* obstacle);

/// The reason why a text cannot be written: the system does not support the declared encoding, or
/// the encoding lacks a character and `DOC_LOSSY` is not set. Empty if it can be written. `text` is
/// the whole text, or empty if it was encoded in parts.
std::wstring WhyNotWritten(const TextEncoder& encoder, std::wstring_view text, int docFlags);

/// Adds the result entries for reading or writing `length` bytes of a file.
void ReportRead(const TextDecoder& decoder, std::uint64_t length, std::wstring* result);
void ReportWrite(const TextEncoder& encoder, std::uint64_t length, std::wstring* result);

/// Adds the result entry for a failure: "cannot read FILE: REASON".
void ReportFileError(const wchar_t* what, const std::wstring& file, const std::wstring& reason,
                     std::wstring* result);

/// Replaces the document flags that describe a file's encoding.
int FlagsOfFile(const TextEncoding& encoding, int docFlags);

}  // namespace orv
