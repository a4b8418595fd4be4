#include "tools/orv/common/library_use.h"

#include <algorithm>
#include <vector>

#include "orv/platform/spooler.h"
#include "platform/files.h"
#include "platform/letter_case.h"
#include "platform/modules.h"
#include "tools/orv/common/output.h"
#include "tools/orv/common/spelling.h"

namespace orv::tool {
namespace {

/// The store that the system's printers are in, if it is the store that fails with an error.
std::wstring FailingStore(LONG error) {
  RegistryKey key;
  const bool fails = key.Open(HKEY_LOCAL_MACHINE, L"SYSTEM", RegistryAccess::kRead) == error;
  return fails && error != ERROR_FILE_NOT_FOUND ? L" in " + RegistryStoreName(HKEY_LOCAL_MACHINE)
                                                : std::wstring();
}

/// Whether the spooler lists a printer of this name.
bool IsListed(const std::wstring& name) {
  std::vector<PrinterFacts> printers;
  ListSpoolerPrinters(&printers);
  return std::any_of(printers.begin(), printers.end(), [&name](const PrinterFacts& printer) {
    return EqualIgnoringCase(printer.printerName, name);
  });
}

}  // namespace

LibraryUse::LibraryUse(const std::wstring& configFolder) {
  GetModulePath(nullptr, &client_.m_stModulePath);
  client_.m_stModuleName = FileNameOf(client_.m_stModulePath);
  client_.m_stModuleFolder =
      configFolder.empty() ? FromPath(ToPath(client_.m_stModulePath).parent_path()) : configFolder;
  CLogger::StartLogging(&client_);
  cache_ = ConfigsCache::GetInstance();
}

LibraryUse::~LibraryUse() {
  ConfigsCache::ReleaseInstance();
  CLogger::StopLogging(&client_);
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
    Fail(kUnreadable, L"cannot open the printer \"" + name + L"\"" + FailingStore(error) + L": " +
                          DescribeError(error));
  }
  Fail(kFindings, L"there is no printer \"" + name + L"\"" + DidYouMeanPrinter(name));
}

OpenPrinter::~OpenPrinter() { ClosePrinterHandle(handle_); }

}  // namespace orv::tool
