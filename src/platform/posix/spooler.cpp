#include "orv/platform/spooler.h"

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <unordered_map>

#include "orv/platform/registry.h"

namespace orv {
namespace {

constexpr wchar_t kPrintersKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Printers";
constexpr wchar_t kNameValue[] = L"Name";
constexpr wchar_t kDriverValue[] = L"Printer Driver";

/// The open printers. Handles are numbers that are never reused, so closed and invalid handles are
/// detected.
struct OpenPrinters {
  std::mutex lock;
  std::unordered_map<std::uintptr_t, std::wstring> names;
  std::uintptr_t nextHandle = 0x1000;
};

OpenPrinters& ThePrinters() {
  static auto* const printers = new OpenPrinters;
  return *printers;
}

/// The path of a printer's key: a backslash, which would separate keys, becomes a comma.
std::wstring KeyOf(std::wstring name) {
  std::replace(name.begin(), name.end(), L'\\', L',');
  return std::wstring(kPrintersKey) + L'\\' + name;
}

bool ReadFacts(const RegistryKey& key, PrinterFacts* facts) {
  RegistryValue name;
  RegistryValue driver;
  if (GetRegistryValue(key.get(), kNameValue, &name) != ERROR_SUCCESS) return false;
  GetRegistryValue(key.get(), kDriverValue, &driver);
  *facts = {name.Text(), driver.Text()};
  return true;
}

LONG OpenPrinterKey(const std::wstring& name, RegistryKey* key) {
  if (name.empty()) return ERROR_INVALID_PRINTER_NAME;
  const LONG result = key->Open(HKEY_LOCAL_MACHINE, KeyOf(name), RegistryAccess::kRead);
  return result == ERROR_FILE_NOT_FOUND ? ERROR_INVALID_PRINTER_NAME : result;
}

}  // namespace

HANDLE OpenPrinterHandle(const wchar_t* name) {
  RegistryKey key;
  const LONG result = OpenPrinterKey(name != nullptr ? name : L"", &key);
  if (result != ERROR_SUCCESS) {
    SetLastError(static_cast<DWORD>(result));
    return nullptr;
  }
  OpenPrinters& printers = ThePrinters();
  const std::lock_guard guard(printers.lock);
  const std::uintptr_t handle = printers.nextHandle++;
  printers.names.emplace(handle, name);
  return reinterpret_cast<HANDLE>(handle);
}

void ClosePrinterHandle(HANDLE printer) {
  OpenPrinters& printers = ThePrinters();
  const std::lock_guard guard(printers.lock);
  printers.names.erase(reinterpret_cast<std::uintptr_t>(printer));
}

bool GetPrinterFacts(HANDLE printer, PrinterFacts* facts) {
  *facts = {};
  std::wstring name;
  {
    OpenPrinters& printers = ThePrinters();
    const std::lock_guard guard(printers.lock);
    const auto found = printers.names.find(reinterpret_cast<std::uintptr_t>(printer));
    if (found == printers.names.end()) {
      SetLastError(ERROR_INVALID_HANDLE);
      return false;
    }
    name = found->second;
  }
  RegistryKey key;
  const LONG result = OpenPrinterKey(name, &key);
  if (result != ERROR_SUCCESS) {
    SetLastError(static_cast<DWORD>(result));
    return false;
  }
  ReadFacts(key, facts);
  return true;
}

LONG AddSpoolerPrinter(const std::wstring& name, const std::wstring& driver) {
  RegistryKey key;
  const LONG opened = OpenPrinterKey(name, &key);
  if (opened == ERROR_SUCCESS) return ERROR_PRINTER_ALREADY_EXISTS;
  if (name.empty()) return opened;
  LONG result = key.Create(HKEY_LOCAL_MACHINE, KeyOf(name));
  if (result != ERROR_SUCCESS) return result;
  result = SetRegistryValue(key.get(), kNameValue, RegistryValue::FromText(name));
  if (result != ERROR_SUCCESS) return result;
  return SetRegistryValue(key.get(), kDriverValue, RegistryValue::FromText(driver));
}

LONG RemoveSpoolerPrinter(const std::wstring& name) {
  RegistryKey key;
  const LONG opened = OpenPrinterKey(name, &key);
  if (opened != ERROR_SUCCESS) return opened;
  return DeleteRegistryTree(HKEY_LOCAL_MACHINE, KeyOf(name));
}

LONG ListSpoolerPrinters(std::vector<PrinterFacts>* printers) {
  printers->clear();
  RegistryKey root;
  LONG result = root.Open(HKEY_LOCAL_MACHINE, kPrintersKey, RegistryAccess::kRead);
  if (result == ERROR_FILE_NOT_FOUND) return ERROR_SUCCESS;  // no printer was ever added
  if (result != ERROR_SUCCESS) return result;
  std::vector<std::wstring> names;
  result = ListRegistryKeys(root.get(), &names);
  for (const std::wstring& name : names) {
    RegistryKey key;
    PrinterFacts facts;
    if (key.Open(root.get(), name, RegistryAccess::kRead) == ERROR_SUCCESS &&
        ReadFacts(key, &facts)) {
      printers->push_back(facts);
    }
  }
  return result;
}

}  // namespace orv
