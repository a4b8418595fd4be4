#include "orv/platform/spooler.h"

#include <windows.h>

#include <winspool.h>

#include <algorithm>
#include <memory>

namespace orv {
namespace {

struct GlobalDeleter {
  void operator()(void* block) const { GlobalFree(block); }
};
/// A zero-filled block for the spooler's results.
using GlobalBlock = std::unique_ptr<void, GlobalDeleter>;

std::wstring TextOf(const wchar_t* text) { return text != nullptr ? text : L""; }

/// Opens a printer; returns null with the thread's last error.
HANDLE Open(const wchar_t* name, ACCESS_MASK rights) {
  if (name == nullptr || *name == L'\0') {  // some systems open the spooler itself
    SetLastError(ERROR_INVALID_PRINTER_NAME);
    return nullptr;
  }
  HANDLE printer = nullptr;
  PRINTER_DEFAULTSW access{nullptr, nullptr, rights};
  if (!OpenPrinterW(const_cast<wchar_t*>(name), &printer, &access)) return nullptr;
  return printer;
}

}  // namespace

HANDLE OpenPrinterHandle(const wchar_t* name) { return Open(name, PRINTER_ACCESS_USE); }

void ClosePrinterHandle(HANDLE printer) {
  if (printer != nullptr && printer != INVALID_HANDLE_VALUE) ClosePrinter(printer);
}

bool GetPrinterFacts(HANDLE printer, PrinterFacts* facts) {
  *facts = {};
  DWORD size = 0;
  SetLastError(ERROR_SUCCESS);
  if (!GetPrinterW(printer, 2, nullptr, 0, &size) && GetLastError() != ERROR_INSUFFICIENT_BUFFER) {
    return false;
  }
  if (size == 0) {
    SetLastError(ERROR_INVALID_DATA);
    return false;
  }
  const GlobalBlock block(GlobalAlloc(GPTR, size));
  if (block == nullptr || !GetPrinterW(printer, 2, static_cast<BYTE*>(block.get()), size, &size)) {
    return false;
  }
  const auto& info = *static_cast<const PRINTER_INFO_2W*>(block.get());
  facts->printerName = TextOf(info.pPrinterName);
  facts->driverName = TextOf(info.pDriverName);
  return true;
}

LONG AddSpoolerPrinter(const std::wstring& name, const std::wstring& driver, PrinterOwner owner) {
  if (owner == PrinterOwner::kUser) return ERROR_NOT_SUPPORTED;
  if (name.empty()) return ERROR_INVALID_PRINTER_NAME;
  // Some spoolers accept a duplicate name.
  if (const HANDLE existing = OpenPrinterHandle(name.c_str())) {
    ClosePrinter(existing);
    return ERROR_PRINTER_ALREADY_EXISTS;
  }
  // The port that prints to a file exists in every spooler.
  std::wstring printerName = name;
  std::wstring driverName = driver;
  std::wstring port = L"FILE:";
  std::wstring processor = L"winprint";
  std::wstring dataType = L"RAW";
  PRINTER_INFO_2W info{};
  info.pPrinterName = printerName.data();
  info.pDriverName = driverName.data();
  info.pPortName = port.data();
  info.pPrintProcessor = processor.data();
  info.pDatatype = dataType.data();
  const HANDLE printer = AddPrinterW(nullptr, 2, reinterpret_cast<BYTE*>(&info));
  if (printer == nullptr) return static_cast<LONG>(GetLastError());
  ClosePrinter(printer);
  return ERROR_SUCCESS;
}

LONG RemoveSpoolerPrinter(const std::wstring& name) {
  const HANDLE printer = Open(name.c_str(), PRINTER_ALL_ACCESS);
  if (printer == nullptr) return static_cast<LONG>(GetLastError());
  const LONG result = DeletePrinter(printer) ? ERROR_SUCCESS : static_cast<LONG>(GetLastError());
  ClosePrinter(printer);
  return result;
}

LONG ListSpoolerPrinters(std::vector<PrinterFacts>* printers) {
  printers->clear();
  std::vector<BYTE> buffer;
  DWORD size = 0;
  DWORD count = 0;
  while (!EnumPrintersW(PRINTER_ENUM_LOCAL, nullptr, 2, buffer.data(),
                        static_cast<DWORD>(buffer.size()), &size, &count)) {
    const DWORD error = GetLastError();
    if (error != ERROR_INSUFFICIENT_BUFFER) return static_cast<LONG>(error);
    buffer.resize(size);
  }
  const auto* info = reinterpret_cast<const PRINTER_INFO_2W*>(buffer.data());
  for (DWORD i = 0; i < count; ++i) {
    printers->push_back({TextOf(info[i].pPrinterName), TextOf(info[i].pDriverName)});
  }
  std::sort(printers->begin(), printers->end(), [](const PrinterFacts& a, const PrinterFacts& b) {
    return CompareStringOrdinal(a.printerName.c_str(), -1, b.printerName.c_str(), -1, TRUE) ==
           CSTR_LESS_THAN;
  });
  return ERROR_SUCCESS;
}

}  // namespace orv
