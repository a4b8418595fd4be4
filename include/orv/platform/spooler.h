#pragma once

#include <string>
#include <vector>

#include "orv/platform/export.h"
#include "orv/platform/types.h"

/// Printers as the print spooler knows them. On Linux a printer is a key below
/// `HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Control\Print\Printers` with the values "Name" and
/// "Printer Driver".

namespace orv {

/// Opens a printer by its name; null when there is none. Close it with `ClosePrinterHandle`.
ORV_EXPORT HANDLE OpenPrinterHandle(const wchar_t* name);
/// Closes what `OpenPrinterHandle` gave; null is allowed.
ORV_EXPORT void ClosePrinterHandle(HANDLE printer);

/// What the spooler says of a printer at information level 2.
struct PrinterFacts {
  std::wstring printerName;  ///< what users call it
  std::wstring driverName;   ///< its driver's, which decides the configuration file
};

/// Asks the spooler for a printer's facts. False when the spooler does not answer for the handle;
/// a fact that the spooler leaves out stays empty.
ORV_EXPORT bool GetPrinterFacts(HANDLE printer, PrinterFacts* facts);

/// Adds a printer to the spooler. The driver must be installed there (on Linux any name is a
/// driver). Returns a system error code: `ERROR_SUCCESS`, `ERROR_INVALID_PRINTER_NAME`,
/// `ERROR_PRINTER_ALREADY_EXISTS` or what the spooler says.
ORV_EXPORT LONG AddSpoolerPrinter(const std::wstring& name, const std::wstring& driver);
/// Removes a printer from the spooler; `ERROR_INVALID_PRINTER_NAME` when there is none.
ORV_EXPORT LONG RemoveSpoolerPrinter(const std::wstring& name);
/// The facts of all local printers, in name order.
ORV_EXPORT LONG ListSpoolerPrinters(std::vector<PrinterFacts>* printers);

}  // namespace orv
