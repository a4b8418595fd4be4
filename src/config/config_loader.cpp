#include "config/config_loader.h"

#include <filesystem>
#include <utility>

#include "base/product.h"
#include "base/utf8.h"
#include "config/section_readers.h"
#include "crypto/protected_text.h"
#include "crypto/sha256.h"
#include "orv/config/config.h"
#include "orv/config/config_parser.h"
#include "orv/platform/spooler.h"
#include "orv/platform/types.h"
#include "orv/xml/markup.h"
#include "platform/error_text.h"
#include "platform/files.h"
#include "platform/letter_case.h"
#include "platform/reused_objects.h"

namespace orv {
namespace {

/// Precedes the text when its digest is computed.
constexpr wchar_t kDigestSalt[] = L"7e4a91c2-3b5d-4f08-9a6e-21d4c8b07f53";

/// Kept for compatibility: longer names of drivers and files are cut.
constexpr std::size_t kMaxName = 1022;

/// The file's text, empty when it cannot be read. `LoadProtectedText` throws for a file without a
/// size: a folder, a pipe, a device, or a file that was just deleted. Here it counts as unreadable.
CString LoadText(const std::wstring& path, CLoggerClient* client, TextFailure* failure) {
  try {
    return LoadProtectedText(path, client, failure);
  } catch (const std::filesystem::filesystem_error& error) {
    const bool isOtherKind =
        error.code() == std::errc::is_a_directory || error.code() == std::errc::not_supported;
    failure->reason = isOtherKind ? L"not a regular file" : FileErrorText(error.code());
    return {};
  }
}

LoadResult Fail(LoadFailure failure, const std::wstring& path, CString detail,
                LoadObserver* observer) {
  observer->OnFailure(failure, path, detail);
  LoadResult result;
  result.failure = failure;
  result.detail = std::move(detail);
  return result;
}

/// A file without a digest is accepted, and a wrong digest is only reported.
void CheckDigest(const std::wstring& path, const CString& text, const CString& stated,
                 LoadObserver* observer) {
  if (stated.empty()) return;
  const CString computed = ConfigDigest(text, stated);
  if (computed != stated) observer->OnDigestMismatch(path, stated, computed);
}

void ReplaceEach(std::wstring* text, std::wstring_view from, std::wstring_view to) {
  for (std::size_t at = 0; (at = text->find(from, at)) != text->npos; at += to.size()) {
    text->replace(at, from.size(), to);
  }
}

/// Where the configuration of a driver's printers is.
struct PrinterPath {
  std::wstring folder;
  std::wstring driverName;
  std::wstring path;
};

/// The printer of an earlier load. Loading it again from the cache needs little more than the
/// look-up.
struct LastPrinter {
  PrinterFacts facts;
  PrinterPath path;
};

}  // namespace

CString ConfigDigest(const CString& text, const CString& digest) {
  // Encoded part by part, so that no second copy of the whole text is needed.
  std::string bytes = WideToUtf8(kDigestSalt);
  bytes.reserve(bytes.size() + text.size());
  const std::wstring_view whole = text;
  std::size_t at = 0;
  if (!digest.empty()) {
    for (std::size_t found; (found = whole.find(digest, at)) != whole.npos;) {
      AppendUtf8(whole.substr(at, found - at), &bytes);
      AppendUtf8(kDigestPlaceholder, &bytes);
      at = found + digest.size();
    }
  }
  AppendUtf8(whole.substr(at), &bytes);
  return Sha256HexOf(bytes);
}

LoadResult LoadConfigFile(const std::wstring& path, ConfigsCache* cache, CLoggerClient* client,
                          LoadObserver* observer) {
  LoadResult result;
  if (cache != nullptr && (result.config = cache->GetConfig(path)) != nullptr) return result;

  TextFailure unread;
  CString text = LoadText(path, client, &unread);
  if (text.empty()) {
    return Fail(unread.isOutOfMemory ? LoadFailure::kOutOfMemory : LoadFailure::kUnreadable, path,
                std::move(unread.reason), observer);
  }
  observer->OnTextRead();

  CMarkup xml;
  if (!xml.SetDoc(std::move(text))) {
    return Fail(LoadFailure::kMalformed, path, xml.GetError(), observer);
  }
  observer->OnDocumentParsed();

  auto loaded = std::make_unique<Config>();
  CString error = ReadDocument(xml, *loaded, client);
  if (!error.empty()) return Fail(LoadFailure::kInvalid, path, std::move(error), observer);
  observer->OnRecordRead();

  CheckDigest(path, xml.GetDoc(), loaded->fileInfo.sha256, observer);

  // If another thread has loaded the same file in the meantime, its record is returned.
  Config* const existing = cache != nullptr ? cache->SetConfig(path, loaded.get()) : nullptr;
  result.config = existing != nullptr ? existing : loaded.get();
  if (cache == nullptr) {
    result.owned = std::move(loaded);
  } else if (existing == nullptr) {
    static_cast<void>(loaded.release());  // the cache owns it now
  }
  return result;
}

bool IsPrinterHandle(HANDLE printer) {
  return printer != nullptr && printer != INVALID_HANDLE_VALUE;
}

std::wstring ConfigFileName(std::wstring_view driverName) {
  // In this order: the maker's prefix goes while its hyphen is still there.
  constexpr struct {
    std::wstring_view from;
    std::wstring_view to;
  } kReplacements[] = {{L"orv-", L""}, {L"/", L""},  {L" ", L""},
                       {L"-", L""},    {L"+", L"p"}, {L".", L""}};
  std::wstring name = LowerCase(std::wstring(driverName.substr(0, kMaxName)));
  for (const auto& [from, to] : kReplacements) ReplaceEach(&name, from, to);
  name.insert(0, L"conf_");
  name.insert(0, kFamilyPrefix);
  name += L".xml";
  return name;
}

LoadResult LoadPrinterConfig(HANDLE printer, ConfigsCache* cache, CLoggerClient* client,
                             LoadObserver* observer) {
  if (!IsPrinterHandle(printer)) return Fail(LoadFailure::kInvalidPrinter, {}, {}, observer);
  static ReusedObjects<LastPrinter> printers;
  const ReusedObjects<LastPrinter>::Use used(&printers);
  auto& [facts, last] = *used;
  std::wstring problem;
  if (!GetPrinterFacts(printer, &facts)) {
    const DWORD error = GetLastError();
    observer->OnUndescribedPrinter(error);
    problem = UndescribedPrinterText(error);
  }
  static const std::wstring kNoFolder;
  const std::wstring& folder = client != nullptr ? client->m_stModuleFolder : kNoFolder;
  if (last.folder != folder || last.driverName != facts.driverName) {
    // Without a folder the path stays empty, and the load fails.
    PrinterPath made{folder, facts.driverName, {}};
    if (!folder.empty()) {
      made.path = folder + kPathSeparator + ConfigFileName(facts.driverName).substr(0, kMaxName);
    }
    last = std::move(made);
  }
  LoadResult result = LoadConfigFile(last.path, cache, client, observer);
  result.path = last.path;
  // Without a printer or a folder, a missing file is not the cause.
  if (problem.empty() && folder.empty()) problem = L"the folder of the file is not known";
  if (result.failure == LoadFailure::kUnreadable && !problem.empty()) {
    result.detail = std::move(problem);
  }
  return result;
}

std::wstring UndescribedPrinterText(DWORD error) {
  return L"the spooler does not describe the printer: " + DescribeError(static_cast<long>(error));
}

}  // namespace orv
