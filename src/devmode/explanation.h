#pragma once

#include <optional>
#include <string>
#include <vector>

#include "devmode/field_text.h"
#include "devmode/merge.h"
#include "devmode/record_fields.h"
#include "orv/config/config.h"
#include "orv/config/configs_cache.h"
#include "orv/devmode/oemdev.h"
#include "orv/devmode/stock_items.h"
#include "orv/logging/logger.h"
#include "orv/platform/types.h"

/// The steps of a merge, and what decided each field of the record.

namespace orv {

/// A merge with its steps. A validation alone is one without a choice and public records.
struct Merged {
  tagOEMDEV defaults;
  tagOEMDEV in;
  tagOEMDEV applied;  ///< `in` with the stock item, before the validation
  tagOEMDEV out;
  DEVMODEW publicIn;
  DEVMODEW publicOut;
  StockList items;  ///< the printer's, as the merge has read them
  std::optional<StockChoice> choice;
  /// What the record's own item would have been, if the paper size selects another one.
  std::optional<StockChoice> remembered;
  Corrections corrections;
  const Config* config;  ///< the printer's
};

/// Merges `in` and `publicIn` of `*merged`, and changes `publicOut`. Writes all log lines, and
/// fills in the rest but the defaults. Without a cache, which may be null, the result owns the
/// configuration.
DevmodeResult RunMerge(HANDLE printer, const std::wstring& printerName, ConfigsCache* cache,
                       CLoggerClient* client, Merged* merged);

/// Validates a record, as a merge does, and returns the steps. Logs nothing.
Merged ValidateWithSteps(const Config& config, const tagOEMDEV& in);

/// The public record of an application that asks only for a record's own size.
DEVMODEW PublicRecordOf(const tagOEMDEV& record);

/// The stock item that a record remembers, with its number.
std::wstring RememberedText(const StockChoice& remembered);

/// Whether a correction leaves the value as it is.
bool ChangesNothing(const Correction& correction);

/// Whether the item or the size that a merge applies sets a field.
bool IsApplied(const Merged& merged, const RecordField& field);

/// The rule that decided the value of a field after a merge.
std::wstring DecisionText(const Merged& merged, const RecordField& field, LengthFormat format);

/// The fields that an explanation has: all but the legacy layout.
std::vector<const RecordField*> ExplainedFields();

/// Every field as JSON: what goes in, the default, the stock item's value, what is allowed, the
/// result and what decided it.
std::string ExplanationAsJson(const Merged& merged);

}  // namespace orv
