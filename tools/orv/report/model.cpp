#include <iterator>

#include "platform/letter_case.h"
#include "tools/orv/config/check.h"
#include "tools/orv/config/check_rules.h"
#include "tools/orv/config/record.h"
#include "tools/orv/report/html.h"
#include "tools/orv/report/sections.h"

namespace orv::tool {
namespace {

/// The section whose families are separate tables.
constexpr wchar_t kFamilies[] = L"optionFamilies";

/// Splits a name into words: "General settings" from "generalSettings".
std::wstring WordsOf(const std::wstring& name) {
  std::wstring words;
  for (const wchar_t letter : name) {
    const bool isCapital = letter >= L'A' && letter <= L'Z';
    if (isCapital && !words.empty()) words += L' ';
    words +=
        words.empty() ? UpperCase(std::wstring(1, letter)) : LowerCase(std::wstring(1, letter));
  }
  return words;
}

/// The caption of a value's table: its section, or its family of options.
std::wstring CaptionOf(const ConfigValue& value) {
  std::wstring caption = WordsOf(value.section);
  if (value.section != kFamilies) return caption;
  return caption + L": " + value.item.substr(0, value.item.find(L' '));
}

/// The values of all sections, one table for each.
void WriteValues(const std::vector<ConfigValue>& values, HtmlWriter* html) {
  html->Begin("div", {{"class", L"columns"}});
  for (auto value = values.begin(); value != values.end();) {
    const std::wstring caption = CaptionOf(*value);
    HtmlTable table(html, caption, {L"Name", L"Value"});
    for (; value != values.end() && CaptionOf(*value) == caption; ++value) {
      const bool isOption = value->section == kFamilies;
      if (!value->key.empty()) {
        const bool isNamed = isOption || value->item.empty();
        table.Row({{isNamed ? value->key : value->item + L" " + value->key},
                   {value->text, value->text.empty() ? L"empty" : L""}});
      } else if (isOption) {
        // The family itself is the caption.
        if (value->item.find(L' ') != value->item.npos) table.Row({{value->item}, {}}, L"item");
      } else if (std::next(value) == values.end() || std::next(value)->item != value->item) {
        table.Row({{value->item}, {L"offered"}});
      }
    }
  }
  html->End();
}

void WriteFindings(const std::vector<ReportFinding>& findings, HtmlWriter* html) {
  HtmlTable table(html, L"Findings of orv config check",
                  {L"Line", L"Rule", L"Finding", L"What to write"});
  for (const ReportFinding& finding : findings) {
    table.Row({{std::to_wstring(finding.line)},
               {std::wstring(finding.rule->name)},
               {finding.text},
               {finding.proposal}},
              NameOf(finding.rule->severity));
  }
}

}  // namespace

void WriteModelSection(const ReportModel& model, HtmlWriter* html) {
  if (model.config == nullptr) {
    html->Element("p", L"The configuration does not load: " + model.problem, {{"class", L"bad"}});
  } else if (model.findings.empty()) {
    html->Element("p", model.path + L" loads, and orv config check has no findings.");
  }
  if (!model.findings.empty()) WriteFindings(model.findings, html);
  if (model.config == nullptr) return;
  html->Begin("details");
  html->Element("summary", L"All values of the file");
  WriteValues(model.values, html);
  html->End();
}

}  // namespace orv::tool
