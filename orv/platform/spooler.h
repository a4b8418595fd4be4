#pragma once

#include <string>

#include "orv/platform/types.h"

/// Printers as the print spooler knows them. On Linux a printer is a key below
/// `HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Control\Print\Printers` with the values "Name" and
/// "Printer Driver".

namespace orv {

/// Opens a printer by its name; null when there is none. Close it with `ClosePrinterHandle`.
HANDLE OpenPrinterHandle(const wchar_t* name);
void ClosePrinterHandle(HANDLE printer);

/// What the spooler says of a printer at information level 2.
struct PrinterFacts {
  std::wstring printerName;
  std::wstring driverName;
};

/// Asks the spooler for a printer's facts. False when the spooler does not answer for the handle;
/// a fact that the spooler leaves out stays empty.
bool GetPrinterFacts(HANDLE printer, PrinterFacts* facts);

}  // namespace orv
