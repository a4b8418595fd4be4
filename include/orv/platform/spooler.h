#pragma once

#include <memory>
#include <string>
#include <vector>

#include "orv/platform/export.h"
#include "orv/platform/types.h"

/// Printers of the print spooler. On Linux a printer is a key below
/// `SYSTEM\CurrentControlSet\Control\Print\Printers` of either hive with the values "Name" and
/// "Printer Driver"; the user's printers hide the machine's of the same name. All functions may be
/// called from any thread. Example:
///
///     const orv::OwnedPrinterHandle printer(orv::OpenPrinterHandle(L"Label 1"));
///     orv::PrinterFacts facts;
///     if (printer && orv::GetPrinterFacts(printer.get(), &facts)) Use(facts.driverName);

namespace orv {

/// Opens a printer by name; returns null with the thread's last error: `ERROR_INVALID_PRINTER_NAME`
/// if no printer has it, another one if the spooler cannot be asked. Close it with
/// `ClosePrinterHandle`.
ORV_EXPORT HANDLE OpenPrinterHandle(const wchar_t* name);

/// Closes a handle from `OpenPrinterHandle`; null is ignored.
ORV_EXPORT void ClosePrinterHandle(HANDLE printer);

/// Closes the handle of an `OwnedPrinterHandle`.
struct PrinterHandleCloser {
  using pointer = HANDLE;                                                 ///< what the owner keeps
  void operator()(HANDLE printer) const { ClosePrinterHandle(printer); }  ///< closes it
};

/// Owns a handle from `OpenPrinterHandle`.
using OwnedPrinterHandle = std::unique_ptr<HANDLE, PrinterHandleCloser>;

/// Whose printer it is: that of all users of the machine, or of the current user alone.
enum class PrinterOwner { kMachine, kUser };

/// Printer information of the spooler's level 2.
struct PrinterFacts {
  std::wstring printerName;                     ///< the name that users see
  std::wstring driverName;                      ///< determines the configuration file
  PrinterOwner owner = PrinterOwner::kMachine;  ///< always so on Windows

  /// Compares all members.
  bool operator==(const PrinterFacts&) const = default;
};

/// Reads a printer's information from the spooler; text that the spooler omits stays empty. Returns
/// false with the thread's last error if the handle is invalid or the spooler cannot be asked.
ORV_EXPORT bool GetPrinterFacts(HANDLE printer, PrinterFacts* facts);

/// Adds a printer to the spooler. The driver must be installed there (on Linux any name is a
/// driver). Returns a system error code: `ERROR_SUCCESS`, `ERROR_INVALID_PRINTER_NAME`,
/// `ERROR_PRINTER_ALREADY_EXISTS`, `ERROR_ACCESS_DENIED` for a printer of the machine unless the
/// administrator adds it, or the spooler's own; on Windows `ERROR_NOT_SUPPORTED` for a printer of
/// the user.
ORV_EXPORT LONG AddSpoolerPrinter(const std::wstring& name, const std::wstring& driver,
                                  PrinterOwner owner = PrinterOwner::kMachine);

/// Removes the printer that `OpenPrinterHandle` opens from the spooler; returns
/// `ERROR_INVALID_PRINTER_NAME` if it is missing.
ORV_EXPORT LONG RemoveSpoolerPrinter(const std::wstring& name);

/// Lists all local printers in name order.
ORV_EXPORT LONG ListSpoolerPrinters(std::vector<PrinterFacts>* printers);

}  // namespace orv
