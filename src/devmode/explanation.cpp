#include "devmode/explanation.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "base/json.h"
#include "devmode/merge_log.h"
#include "devmode/rule_text.h"
#include "orv/config/config_loader.h"
#include "orv/platform/registry.h"

namespace orv {
namespace {

/// What chose the sizes of a merge.
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

/// Tenths of a millimetre; 0, which leaves the record's own length, if they exceed the public
/// record's 16 bits.
SHORT PublicLength(std::uint32_t thousandths) {
  const std::uint32_t tenths = thousandths / kThousandthsPerTenth;
  return tenths <= INT16_MAX ? static_cast<SHORT>(tenths) : SHORT{0};
}

}  // namespace

std::wstring RememberedText(const StockChoice& remembered) {
  if (remembered.reason != StockChoice::kSelected) return L"an item that no longer exists";
  return L"\"" + remembered.item.DisplayName + L"\", which is " +
         std::to_wstring(remembered.paperSize);
}

DEVMODEW PublicRecordOf(const tagOEMDEV& record) {
  constexpr int kUserPaperSize = 256;
  DEVMODEW result{};
  result.dmSpecVersion = 0x0401;
  result.dmSize = sizeof(DEVMODEW);
  result.dmDriverExtra = sizeof(tagOEMDEV);
  result.dmOrientation = 1;
  result.dmCopies = 1;
  result.dmPaperSize = kUserPaperSize;
  result.dmPaperWidth = PublicLength(record.PaperWidth);
  result.dmPaperLength = PublicLength(record.PaperHeight);
  return result;
}

DevmodeResult RunMerge(HANDLE printer, const std::wstring& printerName, ConfigsCache* cache,
                       CLoggerClient* client, Merged* merged) {
  // The driver passes a record with its own signature to fill.
  merged->out.dwSignature = tagOEMDEV::kSignature;
  OEMDMPARAM param{};
  param.pPublicDMIn = &merged->publicIn;
  param.pPublicDMOut = &merged->publicOut;
  param.pOEMDMIn = &merged->in;
  param.pOEMDMOut = &merged->out;
  DevmodeResult result = RunLoggedRequest(
      {printer, printerName.c_str(), OEMDM_MERGE, &param, cache, client, &merged->applied});
  if (result.failure != DevmodeFailure::kNone) return result;
  merged->choice = result.choice;
  merged->corrections = result.corrections;
  merged->config = result.load.config;
  merged->items = result.items;
  if (merged->choice->reason == StockChoice::kPaperSize && !IsZeroGuid(merged->in.StockItemGuid) &&
      FormatGuid(merged->in.StockItemGuid) != FormatGuid(merged->choice->item.guid)) {
    merged->remembered = ItemOfGuid(merged->items, merged->in);
  }
  return result;
}

Merged ValidateWithSteps(const Config& config, const tagOEMDEV& in) {
  Merged merged{};
  FillDefaults(config, &merged.defaults);
  merged.in = in;
  merged.applied = in;
  merged.out = in;
  merged.config = &config;
  merged.corrections = CorrectRecord(&config, &merged.out);
  return merged;
}

bool ChangesNothing(const Correction& correction) {
  return correction.check->field->kind != FieldKind::kText && correction.before == correction.after;
}

bool IsApplied(const Merged& merged, const RecordField& field) {
  if (!merged.choice) return false;
  if (field.offset == offsetof(tagOEMDEV, PaperWidth) ||
      field.offset == offsetof(tagOEMDEV, PaperHeight)) {
    return true;
  }
  if (IsZeroGuid(merged.choice->item.guid)) return false;
  return field.kind == FieldKind::kGuid ||
         std::ranges::find(StockValues(), int{field.offset}, &StockValue::recordOffset) !=
             StockValues().end();
}

std::wstring DecisionText(const Merged& merged, const RecordField& field, LengthFormat format) {
  const Config& config = *merged.config;
  std::wstring text;
  for (const Correction& correction : merged.corrections) {
    if (correction.check->field != &field) continue;
    text += (text.empty() ? L"" : L"; then ") + ReasonText(config, correction, format);
    if (ChangesNothing(correction)) text += L", unchanged";
  }
  if (!text.empty()) return text;
  if (IsApplied(merged, field)) {
    text = ChoiceText(merged.choice->reason);
    if (merged.remembered && field.kind == FieldKind::kGuid) {
      text += L"; the record remembers " + RememberedText(*merged.remembered);
    }
    return text;
  }
  if (field.offset < offsetof(tagOEMDEV, EpLayout)) return L"the header is stamped";
  if (field.rule.kind == FieldRule::kAny) return L"carried, never checked";
  return field.rule.offered.In(config) == 0 ? L"carried, not offered" : L"carried, allowed";
}

std::vector<const RecordField*> ExplainedFields() {
  std::vector<const RecordField*> fields;
  for (const RecordField& field : RecordFields()) {
    if (field.offset != offsetof(tagOEMDEV, EpLayout)) fields.push_back(&field);
  }
  return fields;
}

std::string ExplanationAsJson(const Merged& merged) {
  JsonWriter json;
  json.BeginArray();
  for (const RecordField* const field : ExplainedFields()) {
    const auto member = [&](std::string_view name, bool isThere, const tagOEMDEV& record) {
      if (isThere) return FieldMember(&json, name, record, *field);
      json.Key(name);
      json.Null();
    };
    json.BeginObject();
    json.Member("field", Widen(field->name));
    member("incoming", true, merged.in);
    member("default", field->hasDefault, merged.defaults);
    member("stock", IsApplied(merged, *field), merged.applied);
    json.Member("allowed", AllowedText(*merged.config, *field, nullptr));
    member("result", true, merged.out);
    json.Member("decidedBy", DecisionText(merged, *field, nullptr));
    json.EndObject();
  }
  json.EndArray();
  return json.Text();
}

}  // namespace orv
