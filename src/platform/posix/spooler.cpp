#include "orv/platform/spooler.h"

#include <algorithm>
#include <cstdint>
#include <unordered_map>
#include <utility>

#include "orv/platform/lock.h"
#include "orv/platform/registry.h"
#include "platform/letter_case.h"
#include "platform/registry_cache.h"

namespace orv {
namespace {

constexpr wchar_t kPrintersKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Printers";
constexpr wchar_t kNameValue[] = L"Name";
constexpr wchar_t kDriverValue[] = L"Printer Driver";

struct OpenPrinter {
  std::wstring name;
  PrinterFacts facts = {};    ///< as last read
  std::uint64_t version = 0;  ///< of the machine hive then
};

/// The open printers. Handles are numbers that are never reused, so closed and invalid handles are
/// detected.
struct OpenPrinters {
  Lock lock;
  std::unordered_map<std::uintptr_t, OpenPrinter> printers;
  std::uintptr_t nextHandle = 0x1000;
};

OpenPrinters& ThePrinters() {
  static auto* const printers = new OpenPrinters;
  return *printers;
}

/// The name of a printer's key: a backslash, which would separate keys, becomes a comma.
std::wstring KeyName(std::wstring name) {
  std::replace(name.begin(), name.end(), L'\\', L',');
  return name;
}

std::wstring KeyOf(const std::wstring& name) {
  return std::wstring(kPrintersKey) + L'\\' + KeyName(name);
}

/// Takes a printer's facts from the values of its key. Returns false if they do not name it.
bool TakeFacts(const std::vector<NamedRegistryValue>& values, PrinterFacts* facts) {
  const auto find = [&values](const wchar_t* name) {
    return std::ranges::find_if(values, [name](const NamedRegistryValue& named) {
      return EqualIgnoringCase(named.name, name);
    });
  };
  const auto name = find(kNameValue);
  if (name == values.end()) return false;
  const auto driver = find(kDriverValue);
  *facts = {name->value.Text(), driver != values.end() ? driver->value.Text() : L""};
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
  const LockGuard guard(printers.lock);
  const std::uintptr_t handle = printers.nextHandle++;
  printers.printers.emplace(handle, OpenPrinter{name});
  return reinterpret_cast<HANDLE>(handle);
}

void ClosePrinterHandle(HANDLE printer) {
  OpenPrinters& printers = ThePrinters();
  const LockGuard guard(printers.lock);
  printers.printers.erase(reinterpret_cast<std::uintptr_t>(printer));
}

bool GetPrinterFacts(HANDLE printer, PrinterFacts* facts) {
  const std::uint64_t version = RegistryVersion(HKEY_LOCAL_MACHINE);
  OpenPrinters& printers = ThePrinters();
  const auto handle = reinterpret_cast<std::uintptr_t>(printer);
  std::wstring name;
  {
    const LockGuard guard(printers.lock);
    const auto found = printers.printers.find(handle);
    if (found == printers.printers.end()) {
      *facts = {};
      SetLastError(ERROR_INVALID_HANDLE);
      return false;
    }
    if (version != 0 && found->second.version == version) {
      *facts = found->second.facts;
      return true;
    }
    name = found->second.name;
  }
  *facts = {};
  RegistryKey key;
  std::vector<NamedRegistryValue> values;
  LONG result = OpenPrinterKey(name, &key);
  if (result == ERROR_SUCCESS) result = ListRegistryValues(key.get(), &values);
  if (result != ERROR_SUCCESS) {
    SetLastError(static_cast<DWORD>(result));
    return false;
  }
  TakeFacts(values, facts);
  if (RegistryVersion(HKEY_LOCAL_MACHINE) == version) {
    const LockGuard guard(printers.lock);
    const auto found = printers.printers.find(handle);
    if (found != printers.printers.end()) found->second = {name, *facts, version};
  }
  return true;
}

LONG AddSpoolerPrinter(const std::wstring& name, const std::wstring& driver) {
  RegistryKey key;
  const LONG opened = OpenPrinterKey(name, &key);
  if (opened == ERROR_SUCCESS) return ERROR_PRINTER_ALREADY_EXISTS;
  if (name.empty()) return opened;
  const LONG result = key.Create(HKEY_LOCAL_MACHINE, kPrintersKey);
  if (result != ERROR_SUCCESS) return result;
  const RegistrySubKey printer{KeyName(name),
                               {{kNameValue, RegistryValue::FromText(name)},
                                {kDriverValue, RegistryValue::FromText(driver)}}};
  return WriteRegistryKeys(key.get(), {&printer, 1});
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
  std::vector<RegistrySubKey> subKeys;
  result = ReadRegistryKeys(root.get(), &subKeys);
  for (const RegistrySubKey& subKey : subKeys) {
    PrinterFacts facts;
    if (TakeFacts(subKey.values, &facts)) printers->push_back(std::move(facts));
  }
  return result;
}

}  // namespace orv
