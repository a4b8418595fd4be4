#include "orv/platform/spooler.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "orv/platform/lock.h"
#include "orv/platform/registry.h"
#include "platform/letter_case.h"
#include "platform/registry_cache.h"

namespace orv {
namespace {

/// Below either hive.
constexpr wchar_t kPrintersKey[] = L"SYSTEM\\CurrentControlSet\\Control\\Print\\Printers";
constexpr wchar_t kNameValue[] = L"Name";
constexpr wchar_t kDriverValue[] = L"Printer Driver";

struct OpenPrinter {
  std::wstring name;
  PrinterOwner owner;
  PrinterFacts facts = {};    ///< as last read
  std::uint64_t version = 0;  ///< of the owner's hive then
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

HKEY HiveOf(PrinterOwner owner) {
  return owner == PrinterOwner::kUser ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE;
}

/// Takes a printer's facts from the values of its key. Returns false if they do not name it.
bool TakeFacts(const std::vector<NamedRegistryValue>& values, PrinterOwner owner,
               PrinterFacts* facts) {
  const auto find = [&values](const wchar_t* name) {
    return std::ranges::find_if(values, [name](const NamedRegistryValue& named) {
      return EqualIgnoringCase(named.name, name);
    });
  };
  const auto name = find(kNameValue);
  if (name == values.end()) return false;
  const auto driver = find(kDriverValue);
  *facts = {name->value.Text(), driver != values.end() ? driver->value.Text() : L"", owner};
  return true;
}

/// Opens the key of an owner's printer. A key without a name is not a printer, as in the list of
/// printers.
LONG OpenPrinterKey(const std::wstring& name, PrinterOwner owner, RegistryKey* key) {
  if (name.empty()) return ERROR_INVALID_PRINTER_NAME;
  LONG result = key->Open(HiveOf(owner), KeyOf(name), RegistryAccess::kRead);
  RegistryValue value;
  if (result == ERROR_SUCCESS) result = GetRegistryValue(key->get(), kNameValue, &value);
  // No printer has a name that is too long for a key.
  const bool isUnknown = result == ERROR_FILE_NOT_FOUND || result == ERROR_INVALID_PARAMETER;
  return isUnknown ? ERROR_INVALID_PRINTER_NAME : result;
}

/// Finds out whose printer a name is. If the user's hive cannot be read, that is not known.
LONG FindPrinter(const std::wstring& name, PrinterOwner* owner) {
  LONG result = ERROR_INVALID_PRINTER_NAME;
  for (const PrinterOwner candidate : {PrinterOwner::kUser, PrinterOwner::kMachine}) {
    RegistryKey key;
    *owner = candidate;
    result = OpenPrinterKey(name, candidate, &key);
    if (result != ERROR_INVALID_PRINTER_NAME) break;
  }
  return result;
}

/// Appends the printers of an owner.
LONG AppendPrinters(PrinterOwner owner, std::vector<PrinterFacts>* printers) {
  RegistryKey root;
  LONG result = root.Open(HiveOf(owner), kPrintersKey, RegistryAccess::kRead);
  if (result == ERROR_FILE_NOT_FOUND) return ERROR_SUCCESS;  // no printer was ever added
  if (result != ERROR_SUCCESS) return result;
  std::vector<RegistrySubKey> subKeys;
  result = ReadRegistryKeys(root.get(), &subKeys);
  for (const RegistrySubKey& subKey : subKeys) {
    PrinterFacts facts;
    if (TakeFacts(subKey.values, owner, &facts)) printers->push_back(std::move(facts));
  }
  return result;
}

/// The owner of an open printer; nothing if the handle is invalid.
std::optional<PrinterOwner> OwnerOf(std::uintptr_t handle) {
  OpenPrinters& printers = ThePrinters();
  const LockGuard guard(printers.lock);
  const auto found = printers.printers.find(handle);
  if (found == printers.printers.end()) return {};
  return found->second.owner;
}

}  // namespace

HANDLE OpenPrinterHandle(const wchar_t* name) {
  PrinterOwner owner = PrinterOwner::kMachine;
  const LONG result = FindPrinter(name != nullptr ? name : L"", &owner);
  if (result != ERROR_SUCCESS) {
    SetLastError(static_cast<DWORD>(result));
    return nullptr;
  }
  OpenPrinters& printers = ThePrinters();
  const LockGuard guard(printers.lock);
  const std::uintptr_t handle = printers.nextHandle++;
  printers.printers.emplace(handle, OpenPrinter{name, owner});
  return reinterpret_cast<HANDLE>(handle);
}

void ClosePrinterHandle(HANDLE printer) {
  OpenPrinters& printers = ThePrinters();
  const LockGuard guard(printers.lock);
  printers.printers.erase(reinterpret_cast<std::uintptr_t>(printer));
}

bool GetPrinterFacts(HANDLE printer, PrinterFacts* facts) {
  const auto handle = reinterpret_cast<std::uintptr_t>(printer);
  const std::optional<PrinterOwner> owner = OwnerOf(handle);
  if (!owner) {
    *facts = {};
    SetLastError(ERROR_INVALID_HANDLE);
    return false;
  }
  const std::uint64_t version = RegistryVersion(HiveOf(*owner));
  OpenPrinters& printers = ThePrinters();
  std::wstring name;
  {
    const LockGuard guard(printers.lock);
    const auto found = printers.printers.find(handle);
    if (found != printers.printers.end()) {
      if (version != 0 && found->second.version == version) {
        *facts = found->second.facts;
        return true;
      }
      name = found->second.name;
    }
  }
  *facts = {};
  RegistryKey key;
  std::vector<NamedRegistryValue> values;
  LONG result = OpenPrinterKey(name, *owner, &key);
  if (result == ERROR_SUCCESS) result = ListRegistryValues(key.get(), &values);
  if (result != ERROR_SUCCESS) {
    SetLastError(static_cast<DWORD>(result));
    return false;
  }
  TakeFacts(values, *owner, facts);
  if (RegistryVersion(HiveOf(*owner)) == version) {
    const LockGuard guard(printers.lock);
    const auto found = printers.printers.find(handle);
    if (found != printers.printers.end()) found->second = {name, *owner, *facts, version};
  }
  return true;
}

LONG AddSpoolerPrinter(const std::wstring& name, const std::wstring& driver, PrinterOwner owner) {
  RegistryKey key;
  const LONG opened = OpenPrinterKey(name, owner, &key);
  if (opened == ERROR_SUCCESS) return ERROR_PRINTER_ALREADY_EXISTS;
  if (name.empty()) return opened;
  const LONG result = key.Create(HiveOf(owner), kPrintersKey);
  if (result != ERROR_SUCCESS) return result;
  const RegistrySubKey printer{KeyName(name),
                               {{kNameValue, RegistryValue::FromText(name)},
                                {kDriverValue, RegistryValue::FromText(driver)}}};
  return WriteRegistryKeys(key.get(), {&printer, 1});
}

LONG RemoveSpoolerPrinter(const std::wstring& name) {
  PrinterOwner owner = PrinterOwner::kMachine;
  const LONG found = FindPrinter(name, &owner);
  return found == ERROR_SUCCESS ? DeleteRegistryTree(HiveOf(owner), KeyOf(name)) : found;
}

LONG ListSpoolerPrinters(std::vector<PrinterFacts>* printers) {
  printers->clear();
  LONG result = AppendPrinters(PrinterOwner::kUser, printers);
  const std::size_t own = printers->size();
  if (result == ERROR_SUCCESS) result = AppendPrinters(PrinterOwner::kMachine, printers);
  if (result != ERROR_SUCCESS) return result;
  const auto keyOf = [](const PrinterFacts& facts) {
    return UpperCase(KeyName(facts.printerName));
  };
  std::unordered_set<std::wstring> users;
  for (std::size_t i = 0; i < own; ++i) users.insert(keyOf((*printers)[i]));
  const auto hidden =
      std::remove_if(printers->begin() + static_cast<std::ptrdiff_t>(own), printers->end(),
                     [&](const PrinterFacts& facts) { return users.contains(keyOf(facts)); });
  printers->erase(hidden, printers->end());
  std::ranges::sort(*printers, {}, keyOf);
  return result;
}

}  // namespace orv
