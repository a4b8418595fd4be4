#include "tools/orv/common/library_use.h"

#include <algorithm>
#include <vector>

#include "config/config_loader.h"
#include "orv/platform/spooler.h"
#include "orv/settings/settings.h"
#include "platform/error_text.h"
#include "platform/files.h"
#include "platform/letter_case.h"
#include "platform/modules.h"
#include "tools/orv/common/config_folders.h"
#include "tools/orv/common/output.h"
#include "tools/orv/common/spelling.h"

namespace orv::tool {
namespace {

/// Whether the spooler lists a printer of this name.
bool IsListed(const std::wstring& name) {
  std::vector<PrinterFacts> printers;
  ListSpoolerPrinters(&printers);
  return std::any_of(printers.begin(), printers.end(), [&name](const PrinterFacts& printer) {
    return EqualIgnoringCase(printer.printerName, name);
  });
}

}  // namespace

LibraryUse::LibraryUse(const std::wstring& configFolder) : folders_(ConfigFolders(configFolder)) {
  GetModulePath(nullptr, &client_.m_stModulePath);
  client_.m_stModuleName = FileNameOf(client_.m_stModulePath);
  client_.m_stModuleFolder = folders_.front();
  CLogger::StartLogging(&client_);
  cache_ = ConfigsCache::GetInstance();
}

LibraryUse::~LibraryUse() {
  ConfigsCache::ReleaseInstance();
  CLogger::StopLogging(&client_);
}

std::wstring LibraryUse::FindConfigFile(HANDLE printer) {
  PrinterFacts facts;
  GetPrinterFacts(printer, &facts);
  const std::wstring file = ConfigFileName(facts.driverName);
  const std::wstring found = FolderWith(file, folders_);
  client_.m_stModuleFolder = found.empty() ? folders_.front() : found;
  std::wstring path = client_.m_stModuleFolder + kPathSeparator + file;
  const std::wstring detail =
      L"configuration file: " + (found.empty() ? file + L" is not in " + AnyOf(folders_) : path);
  if (detail != shownDetail_) PrintDetail(detail);
  shownDetail_ = detail;
  return path;
}

std::wstring FailingStore(std::initializer_list<HKEY> hives, LONG error) {
  for (const HKEY hive : hives) {
    RegistryKey key;
    if (error != ERROR_FILE_NOT_FOUND &&
        key.Open(hive, kSettingsKey, RegistryAccess::kRead) == error) {
      return L" in " + RegistryStoreName(hive);
    }
  }
  return {};
}

std::wstring StorePart(HKEY hive) {
  const std::wstring name = RegistryStoreName(hive);
  return name.starts_with(L"HKEY_") ? std::wstring() : L" in " + name;
}

std::wstring AdministratorHint(HKEY hive, LONG error, const std::wstring& instead) {
  if (hive != HKEY_LOCAL_MACHINE || error != ERROR_ACCESS_DENIED) return {};
  return L"; only the administrator may write it, but " + instead;
}

void FailToReadItems(const RegistryFailure& failure) {
  Fail(kUnreadable,
       L"cannot read the stock items from " + failure.store + L": " + DescribeError(failure.error));
}

std::wstring DidYouMeanPrinter(const std::wstring& name) {
  std::vector<PrinterFacts> printers;
  ListSpoolerPrinters(&printers);
  std::vector<std::wstring_view> names;
  for (const PrinterFacts& printer : printers) names.push_back(printer.printerName);
  return DidYouMean(name, names);
}

OpenPrinter::OpenPrinter(const std::wstring& name) : handle_(OpenPrinterHandle(name.c_str())) {
  if (handle_ != nullptr) return;
  auto error = static_cast<LONG>(GetLastError());
  const bool isListed = IsListed(name);
  if (isListed) {
    // A spooler that is just starting can refuse a printer that it lists.
    handle_ = OpenPrinterHandle(name.c_str());
    if (handle_ != nullptr) return;
    error = static_cast<LONG>(GetLastError());
  }
  if (isListed || error != ERROR_INVALID_PRINTER_NAME) {
    Fail(kUnreadable, L"cannot open the printer \"" + name + L"\"" +
                          FailingStore({HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}, error) + L": " +
                          DescribeError(error));
  }
  Fail(kFindings, L"there is no printer \"" + name + L"\"" + DidYouMeanPrinter(name));
}

OpenPrinter::~OpenPrinter() { ClosePrinterHandle(handle_); }

}  // namespace orv::tool
