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
enum Group { kCorrected, kFromStock, kOther, kUnchanged, kGroupCount };

Group GroupOf(const Merged& merged, const RecordField& field) {
  if (std::ranges::any_of(merged.corrections, [&](const Correction& correction) {
        return correction.check->field == &field && !ChangesNothing(correction);
      })) {
    return kCorrected;
  }
  const bool isDefault =
      !field.hasDefault || FieldText(merged.out, field) == FieldText(merged.defaults, field);
  if (isDefault) return kUnchanged;
  return !IsZeroGuid(merged.choice->item.guid) && IsApplied(merged, field) ? kFromStock : kOther;
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
      return L"Unchanged, as by default";
  }
}

/// The unit of a field, if its text does not contain it.
std::wstring UnitNote(const RecordField& field) {
  return IsLength(field) ? L"" : Widen(field.unit);
}

/// The name of a number, which the field's meaning lists as "KIND: 0 NAME, 1 NAME"; "off" or "on"
/// for a switch, and empty if the number has no name.
std::wstring NumberName(const RecordField& field, const std::wstring& number) {
  const std::wstring meaning = Widen(field.meaning);
  std::size_t at = meaning.find(L": ");
  if (at == meaning.npos) {
    const bool isSwitch = field.rule.kind == FieldRule::kRange && field.rule.min.text == nullptr &&
                          field.rule.max.text == nullptr && field.rule.max.constant == 1;
    return !isSwitch ? L"" : number == L"0" ? L"off" : number == L"1" ? L"on" : L"";
  }
  std::wstring_view list = std::wstring_view(meaning).substr(at + 2);
  while (!list.empty()) {
    const std::wstring_view entry = list.substr(0, list.find(L", "));
    if (entry.starts_with(number + L' ')) return std::wstring(entry.substr(number.size() + 1));
    list.remove_prefix(std::min(entry.size() + 2, list.size()));
  }
  return {};
}

/// A field's value, with the name of a number: "2, gap".
std::wstring ValueText(const tagOEMDEV& record, const RecordField& field) {
  std::wstring text = FieldText(record, field, LengthText);
  if (field.kind != FieldKind::kUnsigned || IsLength(field)) return text;
  const std::wstring name = NumberName(field, text);
  return name.empty() ? text : text + L", " + name;
}

HtmlCell NameCell(const RecordField& field) { return {Widen(field.name), Widen(field.meaning)}; }

void WriteGroup(const Merged& merged, const std::vector<const RecordField*>& fields,
                const std::wstring& caption, const wchar_t* kind, HtmlWriter* html) {
  HtmlTable table(html, caption, {L"Field", L"Value", L"Default", L"Allowed", L"Decided by"});
  for (const RecordField* const at : fields) {
    const RecordField& field = *at;
    const std::wstring given = ValueText(merged.in, field);
    HtmlCell value = {ValueText(merged.out, field), UnitNote(field)};
    if (value.text != given) value.note += (value.note.empty() ? L"" : L"; ") + (L"was " + given);
    HtmlCell byDefault = {L"untouched"};
    if (field.hasDefault) {
      byDefault = {ValueText(merged.defaults, field),
                   field.byDefault.text != nullptr ? DefaultText(field) : L"fixed"};
    }
    table.Row({NameCell(field),
               value,
               byDefault,
               {AllowedText(*merged.config, field, LengthText)},
               {DecisionText(merged, field, LengthText)}},
              kind);
  }
}

void WriteMerged(const Merged& merged, HtmlWriter* html) {
  std::array<std::vector<const RecordField*>, kGroupCount> groups;
  for (const RecordField* const field : ExplainedFields()) {
    groups[GroupOf(merged, *field)].push_back(field);
  }
  if (groups[kCorrected].empty()) html->Element("p", L"No value was corrected.");
  for (std::size_t group = 0; group < kGroupCount; ++group) {
    if (groups[group].empty()) continue;
    const std::wstring caption =
        CaptionOf(static_cast<Group>(group), merged) + Format(L" (%zu)", groups[group].size());
    if (group == kUnchanged) {
      html->Begin("details");
      html->Element("summary", caption);
    }
    WriteGroup(merged, groups[group], caption, group == kCorrected ? L"bad" : L"", html);
    if (group == kUnchanged) html->End();
  }
}

void WriteGiven(const tagOEMDEV& record, HtmlWriter* html) {
  html->Begin("details");
  html->Element("summary", L"The values as they were given");
  {
    HtmlTable table(html, L"As it was given", {L"Field", L"Value"});
    for (const RecordField* const field : ExplainedFields()) {
      table.Row({NameCell(*field), {ValueText(record, *field), UnitNote(*field)}});
    }
  }
  html->End();
}

}  // namespace

std::wstring ReportRecord::Summary() const {
  if (!merged) return given ? path + L"; not explained" : L"none";
  const auto corrections = static_cast<std::size_t>(std::ranges::count_if(
      merged->corrections, [](const Correction& c) { return !ChangesNothing(c); }));
  return (given ? path : L"the printer's defaults") + Format(L"; corrections: %zu", corrections);
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
