#include <algorithm>
#include <array>
#include <string_view>

#include "devmode/explanation.h"
#include "devmode/field_text.h"
#include "devmode/record_fields.h"
#include "devmode/rule_text.h"
#include "orv/devmode/oemdev.h"
#include "orv/devmode/stock_items.h"
#include "orv/platform/types.h"
#include "orv/text/format.h"
#include "tools/orv/common/lengths.h"
#include "tools/orv/devmode/record_merge.h"
#include "tools/orv/report/html.h"
#include "tools/orv/report/sections.h"

namespace orv::tool {
namespace {

/// Why a field has its value, the most important reason first.
enum Group { kCorrected, kFromStock, kOther, kDefault, kGroupCount };

Group GroupOf(const Merged& merged, const RecordField& field) {
  if (std::ranges::any_of(merged.corrections, [&](const Correction& correction) {
        return correction.check->field == &field;
      })) {
    return kCorrected;
  }
  if (!IsZeroGuid(merged.choice->item.guid) && IsApplied(merged, field)) return kFromStock;
  const bool isDefault =
      !field.hasDefault || FieldText(merged.out, field) == FieldText(merged.defaults, field);
  return isDefault ? kDefault : kOther;
}

std::wstring CaptionOf(Group group, const Merged& merged) {
  switch (group) {
    case kCorrected:
      return L"Corrected";
    case kFromStock:
      return L"From the stock item \"" + merged.choice->item.DisplayName + L"\"";
    case kOther:
      return L"Different from the default";
    default:
      return L"Default";
  }
}

/// The unit of a field, if its text does not contain it.
std::wstring UnitNote(const RecordField& field) {
  return IsLength(field) ? L"" : Widen(field.unit);
}

HtmlCell NameCell(const RecordField& field) { return {Widen(field.name), Widen(field.meaning)}; }

void WriteMerged(const Merged& merged, HtmlWriter* html) {
  std::array<std::vector<const RecordField*>, kGroupCount> groups;
  for (const RecordField* const field : ExplainedFields()) {
    groups[GroupOf(merged, *field)].push_back(field);
  }
  for (int group = 0; group < kGroupCount; ++group) {
    if (groups[group].empty()) continue;
    HtmlTable table(
        html,
        CaptionOf(static_cast<Group>(group), merged) + Format(L" (%zu)", groups[group].size()),
        {L"Field", L"Value", L"Default", L"Allowed", L"Decided by"});
    for (const RecordField* const at : groups[group]) {
      const RecordField& field = *at;
      const std::wstring given = FieldText(merged.in, field, LengthText);
      HtmlCell value = {FieldText(merged.out, field, LengthText), UnitNote(field)};
      if (value.text != given) value.note += (value.note.empty() ? L"" : L"; ") + (L"was " + given);
      HtmlCell byDefault = {L"untouched"};
      if (field.hasDefault) {
        byDefault = {FieldText(merged.defaults, field, LengthText),
                     field.byDefault.text != nullptr ? DefaultText(field) : L"fixed"};
      }
      table.Row({NameCell(field),
                 value,
                 byDefault,
                 {AllowedText(*merged.config, field, LengthText)},
                 {DecisionText(merged, field, LengthText)}},
                group == kCorrected ? L"bad" : L"");
    }
  }
}

void WriteGiven(const tagOEMDEV& record, HtmlWriter* html) {
  HtmlTable table(html, L"As it was given", {L"Field", L"Value"});
  for (const RecordField* const field : ExplainedFields()) {
    table.Row({NameCell(*field), {FieldText(record, *field, LengthText), UnitNote(*field)}});
  }
}

}  // namespace

std::wstring ReportRecord::Summary() const {
  if (!merged) return given ? path + L"; not explained" : L"none";
  return (given ? path : L"the printer's defaults") +
         Format(L"; corrections: %zu", merged->corrections.size());
}

void WriteRecordSection(const ReportRecord& record, HtmlWriter* html) {
  if (record.merged) {
    html->Element(
        "p", L"What " +
                 (record.given ? record.path + L" becomes" : L"the printer's defaults become") +
                 Format(L" when a document of the public paper size %d is printed; an "
                        L"application may ask for another size.",
                        int{record.merged->publicIn.dmPaperSize}));
    for (const std::wstring& text :
         {UnknownPaperSize(*record.merged), OtherStockItem(*record.merged)}) {
      if (!text.empty()) html->Element("p", L"Warning: " + text + L".", {{"class", L"bad"}});
    }
    WriteMerged(*record.merged, html);
  } else if (record.given) {
    html->Element("p", L"The values cannot be explained: " + record.problem, {{"class", L"bad"}});
    WriteGiven(*record.given, html);
  } else {
    html->Element("p", L"No record: " + record.problem, {{"class", L"bad"}});
  }
}

}  // namespace orv::tool
