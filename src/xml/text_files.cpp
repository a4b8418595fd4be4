#include "xml/text_files.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <limits>
#include <utility>

#include "orv/text/format.h"
#include "orv/xml/line_index.h"
#include "orv/xml/markup.h"
#include "platform/files.h"
#include "platform/new_file.h"
#include "xml/result.h"

namespace orv {
namespace {

constexpr wchar_t kTextName[] = L"UTF-16";

/// Entries are limited to the range of an int.
int ToEntryNumber(std::uint64_t number) {
  constexpr std::uint64_t kMax = std::numeric_limits<int>::max();
  return static_cast<int>(std::min(number, kMax));
}

/// Why a file could not be read; called right after the failure.
std::wstring ReadFailure(const std::wstring& file) {
  std::wstring reason = FileErrorText();
  std::error_code error;
  return std::filesystem::is_directory(ToPath(file), error) ? L"it is a folder" : reason;
}

/// Reads a file; false with a reason if that fails.
bool ReadBytes(const std::wstring& file, std::string* bytes, std::wstring* reason) {
  std::ifstream stream(ToPath(file), std::ios::binary | std::ios::ate);
  const std::streamoff size = stream ? std::streamoff(stream.tellg()) : -1;
  std::error_code error;
  if (size < 0 || std::filesystem::is_directory(ToPath(file), error)) {
    *reason = ReadFailure(file);
    return false;
  }
  if (size > std::numeric_limits<int>::max()) {
    *reason = L"it has more than 2,147,483,647 bytes";
    return false;
  }
  bytes->resize(static_cast<std::size_t>(size));
  stream.seekg(0);
  const bool isRead =
      static_cast<bool>(stream.read(bytes->data(), static_cast<std::streamsize>(size)));
  if (!isRead) *reason = stream.bad() ? ReadFailure(file) : L"it became shorter meanwhile";
  return isRead;
}

}  // namespace

void ReportRead(const TextDecoder& decoder, std::uint64_t length, std::wstring* result) {
  const TextEncoding& encoding = decoder.Encoding();
  const auto add = [result](const wchar_t* name) { AddResult(*result, name, nullptr, 0); };
  if (encoding.hasMark) add(L"bom");
  if (!encoding.unsupported.empty()) {
    AddResult(*result, L"declared", encoding.unsupported.c_str(), kResultEncoding);
  }
  AddResult(*result, L"read", encoding.name.c_str(), kResultEncoding | kResultLength,
            ToEntryNumber(length));
  if (encoding.form != TextForm::kUtf16) {
    AddResult(*result, L"converted_to", kTextName, kResultEncoding);
  }
  if (encoding.isBigEndian) add(L"endian_swap");
  if (decoder.NullsRemoved() > 0) {
    AddResult(*result, L"nulls_removed", nullptr, kResultCount, decoder.NullsRemoved());
  }
  if (decoder.HasLost()) add(L"conversion_loss");
  if (encoding.isDetected) add(L"utf8_detection");
  if (decoder.IsTruncated()) {
    AddResult(*result, L"truncation_error", encoding.name.c_str(), kResultEncoding);
  }
}

void ReportWrite(const TextEncoder& encoder, std::uint64_t length, std::wstring* result) {
  const TextEncoding& encoding = encoder.Encoding();
  const auto add = [result](const wchar_t* name) { AddResult(*result, name, nullptr, 0); };
  if (encoding.form != TextForm::kUtf16) {
    AddResult(*result, L"converted_from", kTextName, kResultEncoding);
  }
  if (encoding.hasMark) add(L"bom");
  AddResult(*result, L"write", encoding.name.c_str(), kResultEncoding | kResultLength,
            ToEntryNumber(length));
  if (encoding.isBigEndian) add(L"endian_swap");
  if (encoder.HasLost()) add(L"conversion_loss");
}

void ReportFileError(const wchar_t* what, const std::wstring& file, const std::wstring& reason,
                     std::wstring* result) {
  const std::wstring message = what + file + L": " + reason;
  AddResult(*result, L"file_error", message.c_str(), kResultMessage);
}

std::wstring WhyNotWritten(const TextEncoder& encoder, std::wstring_view text, int docFlags) {
  const TextEncoding& encoding = encoder.Encoding();
  if (!encoding.unsupported.empty()) {
    return L"the text declares the encoding " + encoding.unsupported +
           L", which this system does not support";
  }
  if (!encoder.HasLost() || (docFlags & CMarkup::DOC_LOSSY) != 0) return {};
  const std::size_t offset = encoder.FirstLost();
  if (offset >= text.size()) {
    return Format(L"%ls lacks the character at offset %zu of the written text",
                  encoding.name.c_str(), offset);
  }
  const TextPosition at = LineIndex(text).Find(static_cast<std::int64_t>(offset));
  return Format(L"%ls lacks the character at line %d, column %d", encoding.name.c_str(), at.line,
                at.column);
}

int FlagsOfFile(const TextEncoding& encoding, int docFlags) {
  docFlags &= ~(CMarkup::DOC_UTF16LEFILE | CMarkup::DOC_UTF16BEFILE | CMarkup::DOC_UTF8MARK);
  if (encoding.form == TextForm::kUtf16) {
    docFlags |= encoding.isBigEndian ? CMarkup::DOC_UTF16BEFILE : CMarkup::DOC_UTF16LEFILE;
  }
  if (encoding.form == TextForm::kUtf8 && encoding.hasMark) docFlags |= CMarkup::DOC_UTF8MARK;
  return docFlags;
}

std::wstring DecodeFile(std::string_view bytes, std::wstring* result, int* docFlags) {
  TextDecoder decoder(DetectEncoding(bytes, true));
  const TextEncoding& encoding = decoder.Encoding();
  std::wstring text;
  decoder.Decode(bytes.substr(encoding.Mark().size()), true, &text);
  if (result != nullptr) ReportRead(decoder, bytes.size(), result);
  if (docFlags != nullptr) *docFlags = FlagsOfFile(encoding, *docFlags);
  return text;
}

std::string EncodeFile(const std::wstring& doc, int docFlags, std::wstring* result,
                       std::wstring* obstacle) {
  TextEncoder encoder(EncodingFor(doc, docFlags));
  std::string bytes(encoder.Encoding().Mark());
  encoder.Encode(doc, true, &bytes);
  if (result != nullptr) ReportWrite(encoder, bytes.size(), result);
  *obstacle = WhyNotWritten(encoder, doc, docFlags);
  return bytes;
}

bool ReadTextFile(const wchar_t* file, std::wstring& text, std::wstring* result, int* docFlags) {
  std::wstring findings;
  std::string bytes;
  std::wstring reason;
  const bool isRead = ReadBytes(file, &bytes, &reason);
  if (isRead) {
    text = DecodeFile(bytes, &findings, docFlags);
  } else {
    ReportFileError(L"cannot read ", file, reason, &findings);
  }
  if (result != nullptr) *result = std::move(findings);
  return isRead;
}

bool WriteTextFile(const wchar_t* file, const std::wstring& text, std::wstring* result,
                   const int* docFlags) {
  std::wstring findings;
  std::wstring reason;
  const std::string bytes =
      EncodeFile(text, docFlags != nullptr ? *docFlags : 0, &findings, &reason);
  NewFile written;
  if (reason.empty() && !(written.Open(file) && written.Write(bytes) && written.Commit())) {
    reason = FileErrorText();
  }
  if (!reason.empty()) {
    findings.clear();
    ReportFileError(L"cannot write ", file, reason, &findings);
  }
  if (result != nullptr) *result = std::move(findings);
  return reason.empty();
}

}  // namespace orv
