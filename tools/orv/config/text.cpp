#include "tools/orv/config/text.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <string_view>
#include <utility>

#include "crypto/protected_text.h"
#include "orv/config/config_parser.h"
#include "orv/crypto/crypto_helper.h"
#include "orv/platform/types.h"
#include "orv/text/format.h"
#include "orv/xml/markup.h"
#include "platform/files.h"
#include "tools/orv/common/input.h"
#include "tools/orv/common/output.h"

namespace orv::tool {
namespace {

/// Why the bytes of a protected file cannot be decrypted, and what to do.
std::wstring DecryptionFault(std::string_view bytes) {
  constexpr std::size_t kVersionAt = kProtectedMarker.size();
  constexpr std::size_t kHeader = kVersionAt + 1 + 16;
  constexpr std::size_t kBlock = 16;
  std::wstring fault = L" cannot be decrypted: ";
  const int version = bytes.size() > kVersionAt ? static_cast<unsigned char>(bytes[kVersionAt]) : 1;
  if (version != 1) {
    return fault + Format(L"its layout has version %d, and only version 1 is known", version);
  }
  const bool isWhole = bytes.size() > kHeader && (bytes.size() - kHeader) % kBlock == 0;
  return fault + (isWhole ? L"its content is damaged; " : L"its end is missing; ") +
         L"copy the file again";
}

}  // namespace

bool ReadConfigText(const std::wstring& path, std::wstring* text, std::wstring* problem) {
  const std::wstring name = InputName(path);
  std::string start;
  if (!ReadFile(path, &start, 0, 1)) {
    *problem = CannotRead(path);
    return false;
  }
  const InputFile file(path);
  TextFailure failure;
  try {
    *text = LoadProtectedText(file.path(), nullptr, &failure);
  } catch (const std::filesystem::filesystem_error& error) {  // the size of the file
    failure.reason = FileErrorText(error.code());
  }
  if (!text->empty()) return true;
  if (failure.reason == kDamagedFile) {
    std::string bytes;
    ReadFile(file.path(), &bytes);
    *problem = name + DecryptionFault(bytes);
    return false;
  }
  // Reasons with a message of their own.
  const std::pair<std::wstring_view, const wchar_t*> known[] = {
      {kTooLargeFile, L" is too large: configuration files have at most 10,000,000 bytes"},
      {kEmptyContent, L" is protected, but has no content"},
      {kEmptyFile, start.empty() ? L" is empty" : L" cannot be read as text"},
  };
  const auto* const at = std::ranges::find(known, failure.reason,
                                           &std::pair<std::wstring_view, const wchar_t*>::first);
  *problem = at != std::end(known)   ? name + at->second
             : failure.isOutOfMemory ? L"not enough memory for " + name
                                     : L"cannot read " + name + L": " + failure.reason;
  return false;
}

std::wstring TooLargeToLoad(const std::wstring& name) {
  return name +
         L" would be larger than 10,000,000 bytes, and would not load; remove comments or blanks";
}

std::wstring LoadConfigText(const std::wstring& path) {
  std::wstring text;
  std::wstring problem;
  if (!ReadConfigText(path, &text, &problem)) Fail(kUnreadable, problem);
  return text;
}

bool IsProtectedFile(const std::wstring& path) {
  std::string start;
  if (!ReadFile(path, &start, 0, kProtectedMarker.size())) Fail(kUnreadable, CannotRead(path));
  return start == kProtectedMarker;
}

std::string Converted(ConvertFunction* convert, const std::string& bytes,
                      const std::wstring& name) {
  std::optional<std::string> converted = convert(bytes);
  if (!converted) {
    Fail(kUnreadable,
         name + (convert == &ProtectBytes ? L" cannot be encrypted; it may be too large"
                                          : DecryptionFault(bytes)));
  }
  if (convert == &ProtectBytes && converted->size() > kMaxLoadedSize) {
    Fail(kFindings, TooLargeToLoad(L"the protected form of " + name));
  }
  return *std::move(converted);
}

bool ParseConfig(const std::wstring& path, const std::wstring& text, Config* config,
                 std::wstring* problem) {
  CMarkup xml;
  const CString error =
      xml.SetDoc(text) ? CConfigParser::Parse(xml, *config, nullptr) : CString(xml.GetError());
  *problem = path + L": " + error;
  return error.empty();
}

Config LoadConfig(const std::wstring& path) {
  Config config;
  std::wstring problem;
  if (!ParseConfig(path, LoadConfigText(path), &config, &problem)) {
    Fail(kFindings, problem + L" (see orv config check)");
  }
  return config;
}

}  // namespace orv::tool
