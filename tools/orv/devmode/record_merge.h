#pragma once

#include <optional>
#include <string>

#include "devmode/record_fields.h"
#include "orv/config/config.h"
#include "orv/devmode/oemdev.h"
#include "orv/devmode/stock_items.h"
#include "orv/platform/types.h"
#include "tools/orv/common/library_use.h"
#include "tools/orv/devmode/record_text.h"

/// The steps of a merge, and what decided each field of the record.

namespace orv::tool {

/// Public records state sizes in tenths of a millimetre, private ones in thousandths.
inline constexpr int kThousandthsPerTenth = 100;

/// A merge with its steps.
struct Merged {
  tagOEMDEV defaults;
  tagOEMDEV in;
  tagOEMDEV applied;  ///< with the stock item, before the validation
  tagOEMDEV out;
  DEVMODEW publicIn;
  DEVMODEW publicOut;
  StockList items;  ///< the printer's, as the merge has read them
  StockChoice choice;
  /// What the record's own item would have been, if the paper size selects another one.
  std::optional<StockChoice> remembered;
  Corrections corrections;
  const Config* config;  ///< the printer's, in the library's cache
};

/// The public record of an application that asks only for a record's own size.
DEVMODEW PublicRecordOf(const tagOEMDEV& record);

/// Gets a printer's defaults and returns its configuration, which the library's cache holds; null,
/// with the reason in `*problem`, after a failure.
const Config* DefaultRecord(LibraryUse* library, const OpenPrinter& printer,
                            const std::wstring& name, tagOEMDEV* record, std::wstring* problem);

/// Merges the record and the public record of `merged` and fills in the rest but the defaults;
/// false, with the reason in `*problem`, after a failure. Ends the command if the stock items
/// cannot be read.
bool MergeRecord(LibraryUse* library, const OpenPrinter& printer, const std::wstring& name,
                 Merged* merged, std::wstring* problem);

/// Whether a correction leaves the value as it is.
bool ChangesNothing(const Correction& correction);

/// The message that no stock item has the paper size that the application asks for; empty if one
/// has it, or if the size is not one of stock items.
std::wstring UnknownPaperSize(const Merged& merged);

/// The message that the paper size selects another stock item than the one whose GUID the record
/// remembers; empty if it does not.
std::wstring OtherStockItem(const Merged& merged);

/// Whether a merge that applies an item, or only a size, sets a field.
bool IsApplied(const StockChoice& choice, const RecordField& field);

/// The rule that decided the value of a field after a merge.
std::wstring DecisionText(const Merged& merged, const RecordField& field, LengthForm form);

}  // namespace orv::tool
