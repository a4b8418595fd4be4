#include "tools/orv/devmode/explanation_text.h"

#include <algorithm>
#include <sstream>
#include <utility>
#include <vector>

#include "base/utf8.h"
#include "devmode/field_text.h"
#include "devmode/record_fields.h"
#include "devmode/rule_text.h"
#include "orv/devmode/oemdev.h"
#include "orv/text/format.h"
#include "tools/orv/common/lengths.h"
#include "tools/orv/common/output.h"
#include "tools/orv/devmode/record_text.h"

namespace orv::tool {
namespace {

/// The columns after the field's name, and how the list calls them.
struct Column {
  const wchar_t* title;
  const wchar_t* name;
};
constexpr Column kColumns[] = {
    {L"INCOMING", L"incoming "}, {L"DEFAULT", L"default "}, {L"STOCK", L"stock "},
    {L"ALLOWED", L"allowed "},   {L"RESULT", L""},          {L"DECIDED BY", L""}};
constexpr std::size_t kResult = 4;
constexpr std::size_t kDecision = 5;

/// The cells of a field: its name, then the columns.
std::vector<std::wstring> RowOf(const Merged& merged, const RecordField& field) {
  const auto text = [&field](const tagOEMDEV& record) {
    return Short(FieldText(record, field, LengthText));
  };
  return {Widen(field.name),
          text(merged.in),
          field.hasDefault ? text(merged.defaults) : L"untouched",
          IsApplied(merged, field) ? text(merged.applied) : L"",
          AllowedText(*merged.config, field, LengthText),
          text(merged.out),
          DecisionText(merged, field, LengthText)};
}

bool IsChanged(const Merged& merged, const RecordField& field) {
  const auto bytes = [&field](const tagOEMDEV& record) {
    return RecordBytes(record, field.offset, field.width);
  };
  // A stock item's value that is corrected to the incoming one is changed, too.
  return bytes(merged.in) != bytes(merged.out) || bytes(merged.applied) != bytes(merged.out) ||
         (field.hasDefault && bytes(merged.out) != bytes(merged.defaults));
}

std::string AsTable(const std::vector<std::vector<std::wstring>>& rows) {
  std::vector<std::wstring> titles = {L"FIELD"};
  for (const Column& column : kColumns) titles.emplace_back(column.title);
  Table table(std::move(titles));
  for (const std::vector<std::wstring>& row : rows) table.Add(row);
  return table.TakeText(std::string::npos);
}

bool Fits(const std::string& text, std::size_t width) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (Utf8ToWide(line).size() > width) return false;
  }
  return true;
}

/// Each field with its result, then what leads to it.
std::string AsList(const std::vector<std::vector<std::wstring>>& rows, std::size_t width) {
  constexpr std::wstring_view kIndent = L"    ";
  const std::size_t inner = std::max(width, 2 * kIndent.size()) - kIndent.size();
  std::wstring text;
  for (const std::vector<std::wstring>& row : rows) {
    text += Wrapped(Utf8ToWide(Printable(row[0] + L" = " + row[kResult + 1])), {}, width);
    std::wstring causes;
    for (std::size_t i = 0; i < kResult; ++i) {
      if (row[i + 1].empty()) continue;
      causes += (causes.empty() ? L"" : L", ") + (kColumns[i].name + row[i + 1]);
    }
    text += Wrapped(Utf8ToWide(Printable(causes)), kIndent, inner);
    text += Wrapped(Utf8ToWide(Printable(row[kDecision + 1])), kIndent, inner);
  }
  return WideToUtf8(text);
}

}  // namespace

std::string ExplanationAsText(const Merged& merged, ExplainedPart part, std::size_t width) {
  const std::vector<const RecordField*> fields = ExplainedFields();
  std::vector<std::vector<std::wstring>> rows;
  for (const RecordField* const field : fields) {
    if (part == ExplainedPart::kAll || IsChanged(merged, *field)) {
      rows.push_back(RowOf(merged, *field));
    }
  }
  std::string text;
  if (!rows.empty()) {
    text = AsTable(rows);
    if (!Fits(text, width)) text = AsList(rows, width);
  }
  if (part == ExplainedPart::kAll) return text;
  if (rows.empty()) {
    return WideToUtf8(Format(L"all %zu fields have the printer's defaults\n", fields.size()));
  }
  const std::wstring summary =
      Format(L"%zu of %zu fields %ls from the printer's defaults; --all shows all", rows.size(),
             fields.size(), rows.size() == 1 ? L"is changed or differs" : L"are changed or differ");
  return text + '\n' + WideToUtf8(Wrapped(summary, {}, width));
}

}  // namespace orv::tool
