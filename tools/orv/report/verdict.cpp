#include <algorithm>

#include "devmode/explanation.h"
#include "devmode/field_text.h"
#include "devmode/record_fields.h"
#include "orv/text/format.h"
#include "platform/files.h"
#include "tools/orv/common/lengths.h"
#include "tools/orv/common/output.h"
#include "tools/orv/config/check.h"
#include "tools/orv/config/check_rules.h"
#include "tools/orv/devmode/record_merge.h"
#include "tools/orv/log/messages.h"
#include "tools/orv/log/summary.h"
#include "tools/orv/report/html.h"
#include "tools/orv/report/sections.h"

namespace orv::tool {
namespace {

using Faults = std::vector<ReportFault>;

/// The findings, corrections or messages that the verdict names; the sections have all.
constexpr std::size_t kMaxNamed = 5;

/// What to do about a configuration that does not load: a sentence, and a command for the file.
struct LoadAdvice {
  LoadFault fault;
  const wchar_t* sentence;
  const wchar_t* command;
};
constexpr LoadAdvice kLoadAdvice[] = {
    {LoadFault::kMissing,
     L"Install the driver's file under this name in this folder, or name another folder by "
     L"--config-dir.",
     L""},
    {LoadFault::kNotAFile, L"Move it away, and install the driver's file under this name.", L""},
    {LoadFault::kUnreadable, L"Ask its owner or the administrator for read access.", L""},
    {LoadFault::kDamaged, L"Install the driver's file again.", L""},
    {LoadFault::kNotWellFormed,
     L"Correct the XML in a text editor, or install the driver's file again. Then check it: ",
     L"orv config check "},
    {LoadFault::kContent,
     L"Correct the errors. This makes the corrections that have no alternative: ",
     L"orv config check --fix "},
    {LoadFault::kNoMemory, L"End other programs, and try again.", L""},
};

void AddUnloadedConfig(const ReportModel& model, Faults* faults) {
  const auto* const known = std::ranges::find(kLoadAdvice, model.fault, &LoadAdvice::fault);
  std::wstring advice = known->sentence;
  if (*known->command != 0) advice += known->command + Quoted(model.path);
  faults->push_back(
      {Severity::kError,
       L"The configuration file does not load, so the printer cannot print: " + model.problem,
       advice, L"#model"});
}

/// One fault for each rule, with the first of its findings. Warnings about a file that does not
/// load are left out.
void AddFindings(const ReportModel& model, Faults* faults) {
  std::vector<const ReportFinding*> first;
  for (const ReportFinding& finding : model.findings) {
    if (model.config == nullptr && finding.rule->severity != Severity::kError) continue;
    if (std::ranges::none_of(first,
                             [&](const ReportFinding* f) { return f->rule == finding.rule; }))
      first.push_back(&finding);
  }
  for (std::size_t i = 0; i < std::min(first.size(), kMaxNamed); ++i) {
    const ReportFinding& finding = *first[i];
    const auto count = static_cast<std::size_t>(
        std::ranges::count(model.findings, finding.rule, &ReportFinding::rule));
    std::wstring what =
        Format(L"%ls, line %d: ", FileNameOf(model.path).c_str(), finding.line) + finding.text;
    if (count > 1) what += Format(L" (%zu such findings)", count);
    const bool isCommand = finding.proposal.starts_with(L"orv ");
    std::wstring advice = finding.proposal == kNothing
                              ? L"Remove it"
                              : (isCommand ? L"Run " : L"Write ") + finding.proposal;
    advice += L" (orv config check --explain " + std::wstring(finding.rule->name) +
              L" gives the reason).";
    faults->push_back({finding.rule->severity, what, advice, L"#model"});
  }
  if (first.size() > kMaxNamed) {
    faults->push_back(
        {Severity::kWarning,
         L"The configuration file has findings of " +
             CountText(static_cast<std::int64_t>(first.size() - kMaxNamed), L"other rule") + L".",
         L"orv config check " + Quoted(model.path) + L" lists all.", L"#model"});
  }
}

std::wstring CorrectionText(const Correction& correction) {
  const RecordField& field = *correction.check->field;
  std::wstring text = Widen(correction.check->name);
  if (field.kind == FieldKind::kText) return text;
  const auto number = [&](std::uint32_t bits) {
    const bool isSigned = field.kind == FieldKind::kSigned;
    return NumberText(field, isSigned ? static_cast<std::int32_t>(bits) : std::int64_t{bits},
                      LengthText);
  };
  return text + L" from " + number(correction.before) + L" to " + number(correction.after);
}

/// Adds the corrected values that a stock item sets, or all others.
void AddCorrections(const Merged& merged, bool ofItem, Faults* faults) {
  const StockChoice::Reason reason = merged.choice->reason;
  const bool hasItem = reason == StockChoice::kPaperSize || reason == StockChoice::kSelected;
  std::wstring names;
  std::size_t count = 0;
  for (const Correction& correction : merged.corrections) {
    if (ChangesNothing(correction)) continue;
    if ((hasItem && IsApplied(merged, *correction.check->field)) != ofItem) continue;
    if (count++ < kMaxNamed) names += (names.empty() ? L"" : L", ") + CorrectionText(correction);
  }
  if (count == 0) return;
  faults->push_back({Severity::kWarning,
                     (ofItem ? L"The stock item " + Quoted(merged.choice->item.DisplayName)
                             : std::wstring(L"The record")) +
                         L" has values that the printer does not allow, so they are printed "
                         L"differently: " +
                         names +
                         (count > kMaxNamed ? Format(L" and %zu more.", count - kMaxNamed) : L"."),
                     std::wstring(ofItem ? L"Set allowed values in the item (orv stock edit)"
                                         : L"Set allowed values in the printing preferences and "
                                           L"save them") +
                         L"; the section names the rules.",
                     L"#record"});
}

void AddRecordFaults(const ReportRecord& record, Faults* faults) {
  if (!record.merged) {
    faults->push_back({Severity::kError,
                       L"The record is refused, so its document is not printed: " + record.problem,
                       L"Open the printing preferences, save them, and select the printer again in "
                       L"the document.",
                       L"#record"});
    return;
  }
  for (const std::wstring& text :
       {UnknownPaperSize(*record.merged), OtherStockItem(*record.merged)}) {
    if (text.empty()) continue;
    faults->push_back({Severity::kWarning, L"The label is probably another one: " + text + L".",
                       L"Select the paper again in the document; orv stock list shows the numbers.",
                       L"#stock"});
  }
  AddCorrections(*record.merged, false, faults);
  AddCorrections(*record.merged, true, faults);
}

/// A message of the log with its number and what it means.
std::wstring LogText(const LogSummary& summary, const LogGroup& group) {
  std::wstring text = L"The log has: " + group.Text() + L" (" +
                      CountText(static_cast<std::int64_t>(group.count), L"time") + L", last at " +
                      summary.TimeText(group.last) + L").";
  if (group.parts.message != nullptr) text.append(L" ").append(group.parts.message->meaning);
  return text;
}

void AddLogFaults(const ReportLog& log, Faults* faults) {
  if (!log.problem.empty()) {
    faults->push_back({Severity::kWarning, L"The log was not examined: " + log.problem,
                       L"Ask its owner or the administrator for read access, or name a copy of it "
                       L"by --log.",
                       L"#log"});
  }
  std::size_t count = 0;
  const auto add = [&](const LogGroup& group, Severity severity, const wchar_t* advice) {
    if (++count <= kMaxNamed)
      faults->push_back({severity, LogText(log.summary, group), advice, L"#log"});
  };
  for (const LogGroup* const group : log.summary.Causes()) {
    if (!group->IsProblem()) continue;
    add(*group, group->level == L"error" ? Severity::kError : Severity::kWarning,
        group->parts.message->advice);
  }
  for (const LogGroup* const group : log.summary.Groups()) {
    if (group->parts.message != nullptr || group->level != L"error") continue;
    add(*group, Severity::kWarning,
        L"Another module of the driver wrote it; its documentation explains it.");
  }
  if (count > kMaxNamed) {
    faults->push_back({Severity::kWarning,
                       L"The log has " +
                           CountText(static_cast<std::int64_t>(count - kMaxNamed), L"other kind") +
                           L" of errors and warnings.",
                       L"The section lists all.", L"#log"});
  }
}

std::wstring ExaminedLogText(const ReportLog& log) {
  if (!log.isThere) return L" There is no log.";
  std::uint64_t others = 0;
  for (const LogGroup* const group : log.summary.Groups()) {
    if (group->parts.message == nullptr && group->level == L"warning") others += group->count;
  }
  std::wstring text = L" The log has no errors and no warnings that need an action";
  if (others > 0) {
    text += L"; " + CountText(static_cast<std::int64_t>(others), L"warning") +
            L" of other modules " + (others == 1 ? L"is" : L"are") + L" not examined";
  }
  return text + L".";
}

/// What was examined, for a printer without faults.
std::wstring ExaminedText(const ReportFacts& facts) {
  std::wstring text =
      L"The configuration file loads and has no findings, and " +
      std::wstring(facts.record.given ? L"the record" : L"the printer's default record") +
      L" needs no corrections.";
  text += facts.page ? L" The page fits the printer and the label."
                     : L" No page was compared (--page).";
  return text + ExaminedLogText(facts.log);
}

}  // namespace

std::vector<ReportFault> FaultsOf(const ReportFacts& facts) {
  Faults faults;
  const bool isLoaded = facts.model.config != nullptr;
  if (!isLoaded) {
    AddUnloadedConfig(facts.model, &faults);
    AddFindings(facts.model, &faults);
  }
  // Without a configuration there is no merge, for the same reason.
  if (isLoaded) AddRecordFaults(facts.record, &faults);
  if (facts.page) {
    for (const ReportComparison& comparison : facts.page->comparisons) {
      if (comparison.fault) faults.push_back(*comparison.fault);
    }
  }
  if (isLoaded) AddFindings(facts.model, &faults);
  AddLogFaults(facts.log, &faults);
  std::ranges::stable_sort(faults, {}, &ReportFault::severity);
  return faults;
}

void WriteVerdict(const ReportFacts& facts, HtmlWriter* html) {
  const Faults faults = FaultsOf(facts);
  if (faults.empty()) {
    html->Begin("div", {{"class", L"verdict good"}});
    html->Element("p", L"No problem was found.", {{"class", L"result"}});
    html->Element("p", ExaminedText(facts));
    html->End();
    return;
  }
  const auto errors = static_cast<std::size_t>(
      std::ranges::count(faults, Severity::kError, &ReportFault::severity));
  html->Begin("div", {{"class", errors > 0 ? L"verdict error" : L"verdict warning"}});
  const std::size_t warnings = faults.size() - errors;
  std::wstring result = errors > 0 ? CountText(static_cast<std::int64_t>(errors), L"error") : L"";
  if (errors > 0 && warnings > 0) result += L", ";
  if (warnings > 0) result += CountText(static_cast<std::int64_t>(warnings), L"warning");
  html->Element("p", result, {{"class", L"result"}});
  html->Begin("ol");
  for (const ReportFault& fault : faults) {
    html->Begin("li", {{"class", NameOf(fault.severity)}});
    html->Element("strong", fault.severity == Severity::kError ? L"Error: " : L"Warning: ");
    html->Text(fault.what + L" ");
    html->Element("a", L"Show", {{"href", fault.section}});
    html->Element("p", fault.advice);
    html->End();
  }
  html->End();
  html->End();
}

}  // namespace orv::tool
