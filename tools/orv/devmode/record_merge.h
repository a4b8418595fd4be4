#pragma once

#include <string>
#include <vector>

#include "devmode/record_fields.h"
#include "orv/devmode/oemdev.h"
#include "orv/devmode/stock_items.h"
#include "tools/orv/common/library_use.h"
#include "tools/orv/devmode/record_text.h"

/// A record's way through a merge step by step, and what decided each of its fields.

namespace orv::tool {

/// One way of a record through a merge.
struct Merged {
  tagOEMDEV defaults;
  tagOEMDEV in;
  tagOEMDEV applied;  ///< with the stock item, before the validation
  tagOEMDEV out;
  DEVMODEW publicIn;
  DEVMODEW publicOut;
  StockChoice choice;
  std::vector<Correction> corrections;
  const Config* config;  ///< the printer's, in the library's cache
};

/// The public record of an application that asks for nothing but a record's own size.
DEVMODEW PublicRecordOf(const tagOEMDEV& record);

/// A printer's defaults; false, with the reason in `*problem`, when the library has none.
bool DefaultRecord(LibraryUse* library, const OpenPrinter& printer, const std::wstring& name,
                   tagOEMDEV* record, std::wstring* problem);

/// Merges the record and the public record of `merged`, which keeps its defaults and gets the rest;
/// false, with the reason in `*problem`, when the library refuses.
bool MergeRecord(LibraryUse* library, const OpenPrinter& printer, const std::wstring& name,
                 Merged* merged, std::wstring* problem);

/// That no stock item has the paper size that the application asks for; empty when one has, or when
/// the size is no stock item's.
std::wstring UnknownPaperSize(const Merged& merged);

/// Whether what a merge applies, an item or only a size, sets a field.
bool IsApplied(const StockChoice& choice, const RecordField& field);

/// Which rule decided what a field holds after a merge.
std::wstring DecisionText(const Merged& merged, const RecordField& field, LengthForm form);

}  // namespace orv::tool
