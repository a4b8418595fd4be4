#include "tools/orv/devmode/record_merge.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "config/config_loader.h"
#include "devmode/merge.h"
#include "devmode/merge_log.h"
#include "orv/logging/logger.h"
#include "orv/text/format.h"
#include "platform/files.h"
#include "tools/orv/devmode/record_rules.h"

namespace orv::tool {
namespace {

/// Why the library refuses a record.
std::wstring RefusalText(const tagOEMDEV* in, Conversion conversion) {
  switch (conversion) {
    case Conversion::kOtherSignature:
      return Format(L"a merge refuses the record: its signature is %u, not %u", in->dwSignature,
                    tagOEMDEV::kSignature);
    case Conversion::kUnknownVersion:
    case Conversion::kUnhandledVersion:
      return Format(L"a merge refuses the record: its version is %u, not %u", in->dwVersion,
                    tagOEMDEV::kVersion);
    default:
      return L"a merge refuses the record; `orv log show` says why";
  }
}

/// Carries out one request of the driver, log lines included. `applied` may be null.
DevmodeResult Request(LibraryUse* library, const std::wstring& printerName, DWORD mode,
                      OEMDMPARAM* param, tagOEMDEV* applied, std::wstring* problem) {
  DevmodeResult result = RunLoggedRequest({param->hPrinter, printerName.c_str(), mode, param,
                                           library->cache(), library->client(), applied});
  if (result.failure == DevmodeFailure::kConfigNotLoaded) {
    *problem = L"the printer's configuration " + FileNameOf(result.load.path) +
               L" does not load from " + library->client()->m_stModuleFolder +
               L" (--config-dir names another folder)";
  } else if (result.failure != DevmodeFailure::kNone) {
    *problem = RefusalText(static_cast<const tagOEMDEV*>(param->pOEMDMIn), result.conversion);
  }
  return result;
}

const wchar_t* ChoiceText(StockChoice::Reason reason) {
  switch (reason) {
    case StockChoice::kPaperSize:
      return L"stock item of the paper size";
    case StockChoice::kSelected:
      return L"the record's stock item";
    case StockChoice::kRecordSize:
      return L"sizes at hand, no stock item found";
    case StockChoice::kUnreadable:
      return L"sizes at hand, the stock items cannot be read";
    case StockChoice::kApplicationSize:
      return L"the application's size";
  }
  return L"";
}

/// What a merge would choose if the application's paper size were not that of a stock item.
StockChoice ItemOfGuid(const StockList& items, tagOEMDEV record) {
  record.AllowCustomPageSize = 0;
  return ChooseStockItem(items, PublicRecordOf(record), record);
}

/// The stock item that a record remembers, with its number.
std::wstring RememberedText(const StockChoice& remembered) {
  if (remembered.reason != StockChoice::kSelected) return L"an item that no longer exists";
  return L"\"" + remembered.item.DisplayName + L"\", which is " +
         std::to_wstring(remembered.paperSize);
}

}  // namespace

DEVMODEW PublicRecordOf(const tagOEMDEV& record) {
  constexpr int kUserPaperSize = 256;
  DEVMODEW result{};
  result.dmSpecVersion = 0x0401;
  result.dmSize = sizeof(DEVMODEW);
  result.dmDriverExtra = sizeof(tagOEMDEV);
  result.dmOrientation = 1;
  result.dmCopies = 1;
  result.dmPaperSize = kUserPaperSize;
  result.dmPaperWidth = static_cast<SHORT>(record.PaperWidth / kThousandthsPerTenth);
  result.dmPaperLength = static_cast<SHORT>(record.PaperHeight / kThousandthsPerTenth);
  return result;
}

const Config* DefaultRecord(LibraryUse* library, const OpenPrinter& printer,
                            const std::wstring& name, tagOEMDEV* record, std::wstring* problem) {
  OEMDMPARAM param{};
  param.cbSize = sizeof(param);
  param.hPrinter = printer.get();
  param.pOEMDMOut = record;
  const DevmodeResult result = Request(library, name, OEMDM_DEFAULT, &param, nullptr, problem);
  return result.failure == DevmodeFailure::kNone ? result.load.config : nullptr;
}

bool MergeRecord(LibraryUse* library, const OpenPrinter& printer, const std::wstring& name,
                 Merged* merged, std::wstring* problem) {
  merged->publicOut = merged->publicIn;
  // The driver passes a record with its own signature to fill.
  merged->out.dwSignature = tagOEMDEV::kSignature;
  OEMDMPARAM param{};
  param.cbSize = sizeof(param);
  param.hPrinter = printer.get();
  param.pPublicDMIn = &merged->publicIn;
  param.pPublicDMOut = &merged->publicOut;
  param.pOEMDMIn = &merged->in;
  param.pOEMDMOut = &merged->out;
  DevmodeResult result = Request(library, name, OEMDM_MERGE, &param, &merged->applied, problem);
  if (result.failure != DevmodeFailure::kNone) return false;
  merged->choice = std::move(*result.choice);
  merged->corrections = result.corrections;
  merged->config = result.load.config;
  merged->items = std::move(result.items);
  if (merged->items.failure) FailToReadItems(*merged->items.failure);
  if (merged->choice.reason == StockChoice::kPaperSize && !IsZeroGuid(merged->in.StockItemGuid) &&
      FormatGuid(merged->in.StockItemGuid) != FormatGuid(merged->choice.item.guid)) {
    merged->remembered = ItemOfGuid(merged->items, merged->in);
  }
  return true;
}

bool ChangesNothing(const Correction& correction) {
  return correction.check->field->kind != FieldKind::kText && correction.before == correction.after;
}

std::wstring UnknownPaperSize(const Merged& merged) {
  const int paperSize = merged.publicIn.dmPaperSize;
  if (paperSize < kFirstStockPaperSize || merged.choice.reason == StockChoice::kPaperSize)
    return {};
  return Format(L"the paper size %d is not known: no stock item has this number", paperSize);
}

std::wstring OtherStockItem(const Merged& merged) {
  if (!merged.remembered) return {};
  return Format(L"the paper size %d is the stock item \"%ls\", but the record remembers %ls (",
                merged.choice.paperSize, merged.choice.item.DisplayName.c_str(),
                RememberedText(*merged.remembered).c_str()) +
         FormatGuid(merged.in.StockItemGuid) + L"); the paper size decides";
}

bool IsApplied(const StockChoice& choice, const RecordField& field) {
  if (field.offset == offsetof(tagOEMDEV, PaperWidth) ||
      field.offset == offsetof(tagOEMDEV, PaperHeight)) {
    return true;
  }
  if (IsZeroGuid(choice.item.guid)) return false;
  return field.kind == FieldKind::kGuid ||
         std::ranges::find(StockValues(), int{field.offset}, &StockValue::recordOffset) !=
             StockValues().end();
}

std::wstring DecisionText(const Merged& merged, const RecordField& field, LengthForm form) {
  const Config& config = *merged.config;
  std::wstring text;
  for (const Correction& correction : merged.corrections) {
    if (correction.check->field != &field) continue;
    text += (text.empty() ? L"" : L"; then ") + ReasonText(config, correction, form);
    if (ChangesNothing(correction)) text += L", unchanged";
  }
  if (!text.empty()) return text;
  if (IsApplied(merged.choice, field)) {
    text = ChoiceText(merged.choice.reason);
    if (merged.remembered && field.kind == FieldKind::kGuid) {
      text += L"; the record remembers " + RememberedText(*merged.remembered);
    }
    return text;
  }
  if (field.offset < offsetof(tagOEMDEV, EpLayout)) return L"the header is stamped";
  if (field.rule.kind == FieldRule::kAny) return L"carried, never checked";
  return field.rule.offered.In(config) == 0 ? L"carried, not offered" : L"carried, allowed";
}

}  // namespace orv::tool
