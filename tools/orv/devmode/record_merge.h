#pragma once

#include <string>

#include "devmode/explanation.h"
#include "orv/config/config.h"
#include "orv/devmode/oemdev.h"
#include "tools/orv/common/library_use.h"

/// Merges for a printer, and the messages about them.

namespace orv::tool {

/// Gets a printer's defaults and returns its configuration, which the library's cache holds; null,
/// with the reason in `*problem`, after a failure.
const Config* DefaultRecord(LibraryUse* library, const OpenPrinter& printer,
                            const std::wstring& name, tagOEMDEV* record, std::wstring* problem);

/// Merges the record and the public record of `merged` and fills in the rest but the defaults;
/// false, with the reason in `*problem`, after a failure. Ends the command if the stock items
/// cannot be read.
bool MergeRecord(LibraryUse* library, const OpenPrinter& printer, const std::wstring& name,
                 Merged* merged, std::wstring* problem);

/// The message that no stock item has the paper size that the application asks for; empty if one
/// has it, or if the size is not one of stock items.
std::wstring UnknownPaperSize(const Merged& merged);

/// The message that the paper size selects another stock item than the one whose GUID the record
/// remembers; empty if it does not.
std::wstring OtherStockItem(const Merged& merged);

}  // namespace orv::tool
