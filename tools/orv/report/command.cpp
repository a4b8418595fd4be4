#include <algorithm>
#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <string_view>

#include "devmode/explanation.h"
#include "orv/config/config.h"
#include "orv/config/config_loader.h"
#include "orv/devmode/oemdev.h"
#include "orv/devmode/stock_items.h"
#include "orv/platform/registry.h"
#include "orv/platform/spooler.h"
#include "orv/platform/types.h"
#include "orv/text/format.h"
#include "orv/xml/line_index.h"
#include "platform/clock.h"
#include "platform/error_text.h"
#include "platform/files.h"
#include "platform/letter_case.h"
#include "tools/orv/common/commands.h"
#include "tools/orv/common/input.h"
#include "tools/orv/common/lengths.h"
#include "tools/orv/common/library_use.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/outcome.h"
#include "tools/orv/common/output.h"
#include "tools/orv/config/check.h"
#include "tools/orv/config/record.h"
#include "tools/orv/config/text.h"
#include "tools/orv/devmode/record_input.h"
#include "tools/orv/devmode/record_merge.h"
#include "tools/orv/log/file.h"
#include "tools/orv/log/summary.h"
#include "tools/orv/page/file.h"
#include "tools/orv/page/halftone.h"
#include "tools/orv/page/options.h"
#include "tools/orv/report/html.h"
#include "tools/orv/report/redact.h"
#include "tools/orv/report/sections.h"

/// `orv report`: writes everything known about a printer as one HTML file.

namespace orv::tool {
namespace {

constexpr wchar_t kCreator[] = L"creator";

struct ReportOptions {
  std::string printer;
  std::string output;
  std::string recordFile;
  RecordOptions record;
  std::optional<SHORT> paperSize;
  std::optional<std::string> logFile;
  std::optional<std::string> date;
  ReportPageOptions page;
  bool isRedacted = false;
};

ReportLog FindLog(const ReportOptions& options) {
  ReportLog log;
  log.path = options.logFile ? ToWide(*options.logFile) : DayLogPath(options.date);
  if (!options.logFile && IsMissing(log.path)) return log;
  log.isThere = true;
  if (ReadLog(log.path, [&](const LogEntry& entry) { log.Add(entry); })) return log;
  ReportLog unread;
  unread.path = log.path;
  unread.isThere = true;
  unread.problem = CannotRead(log.path);
  if (options.logFile) Fail(kUnreadable, unread.problem);
  return unread;
}

/// Why the text of a configuration file cannot be read.
LoadFault ReadFaultOf(const std::wstring& path) {
  std::error_code error;
  const auto type = std::filesystem::status(ToPath(path), error).type();
  if (type == std::filesystem::file_type::not_found) return LoadFault::kMissing;
  // The type is not known if the user may not look into the folder.
  const bool isOtherKind =
      type != std::filesystem::file_type::regular && type != std::filesystem::file_type::none;
  if (isOtherKind) return LoadFault::kNotAFile;
  std::string start;
  return ReadFile(path, &start, 0, 1) ? LoadFault::kDamaged : LoadFault::kUnreadable;
}

ReportModel FindModel(LibraryUse* library, const OpenPrinter& printer) {
  ReportModel model;
  model.path = library->FindConfigFile(printer.get());
  const LoadResult loaded = LoadPrinterConfig(printer.get(), library->cache(), library->client());
  model.config = loaded.config;
  if (model.config != nullptr) model.values = ConfigValues(*model.config);
  std::wstring text;
  if (!ReadConfigText(model.path, &text, &model.problem)) {
    model.fault = ReadFaultOf(model.path);
    return model;
  }
  const LineIndex lines(text);
  for (const Finding& finding : CheckConfig(text, FileNameOf(model.path))) {
    model.findings.push_back(
        {finding.rule, lines.Find(finding.offset).line, finding.text, finding.proposal});
  }
  if (model.config == nullptr) {
    model.problem = model.path + L": " + loaded.detail;
    model.fault = loaded.failure == LoadFailure::kMalformed     ? LoadFault::kNotWellFormed
                  : loaded.failure == LoadFailure::kOutOfMemory ? LoadFault::kNoMemory
                                                                : LoadFault::kContent;
  }
  return model;
}

ReportRecord FindRecord(LibraryUse* library, const OpenPrinter& printer, const std::wstring& name,
                        const ReportOptions& options) {
  ReportRecord record;
  record.path = ToWide(options.recordFile);
  if (!record.path.empty()) record.given = ReadRecord(options.recordFile, options.record);
  Merged merged{};
  if (!DefaultRecord(library, printer, name, &merged.defaults, &record.problem)) return record;
  merged.in = record.given.value_or(merged.defaults);
  merged.publicIn = PublicRecordOf(merged.in);
  merged.publicIn.dmPaperSize = options.paperSize.value_or(merged.publicIn.dmPaperSize);
  if (MergeRecord(library, printer, name, &merged, &record.problem)) record.merged = merged;
  return record;
}

/// An entry of the overview, with a link to its section.
void WriteOverviewItem(std::wstring_view title, const wchar_t* section, std::wstring_view text,
                       HtmlWriter* html) {
  html->Begin("div");
  html->Begin("dt");
  if (section != nullptr) {
    html->Element("a", title, {{"href", section}});
  } else {
    html->Text(title);
  }
  html->End();
  html->Element("dd", text);
  html->End();
}

void WriteOverview(const ReportFacts& facts, HtmlWriter* html) {
  const Config* const config = facts.model.config;
  html->Begin("dl");
  WriteOverviewItem(L"Driver", nullptr, facts.driver, html);
  WriteOverviewItem(L"Configuration file", nullptr, facts.model.path, html);
  WriteOverviewItem(L"Model", L"#model",
                    config == nullptr                        ? L"the configuration does not load"
                    : config->device.model.modelName.empty() ? L"without a name"
                                                             : config->device.model.modelName,
                    html);
  if (facts.page) WriteOverviewItem(L"Page", L"#page", facts.page->path, html);
  WriteOverviewItem(L"Record", L"#record", facts.record.Summary(), html);
  WriteOverviewItem(L"Stock items", L"#stock", std::to_wstring(facts.stockItems.size()), html);
  WriteOverviewItem(L"Log", L"#log", facts.log.Summary(), html);
  html->End();
}

/// Writes a section with a heading; `id` is its anchor.
template <typename Write>
void WriteSection(const wchar_t* id, std::wstring_view title, HtmlWriter* html,
                  const Write& write) {
  html->Begin("section", {{"aria-labelledby", id}, {"class", id}});
  html->Element("h2", title, {{"id", id}});
  write();
  html->Begin("p", {{"class", L"top"}});
  html->Element("a", L"Back to the top", {{"href", L"#top"}});
  html->End();
  html->End();
}

std::string ReportText(const ReportFacts& facts) {
  const LocalTime now = GetLocalTimeNow();
  HtmlWriter html;
  html.Raw("<!DOCTYPE html>\n");
  html.Begin("html", {{"lang", L"en"}});
  html.Begin("head");
  html.Empty("meta", {{"charset", L"utf-8"}});
  // Forbids loading or running anything, whatever the content of the page.
  html.Empty("meta",
             {{"http-equiv", L"Content-Security-Policy"},
              {"content", L"default-src 'none'; img-src data:; style-src 'unsafe-inline'"}});
  html.Empty("meta", {{"name", L"viewport"}, {"content", L"width=device-width, initial-scale=1"}});
  html.Element("title", L"Report of " + facts.printer);
  html.Begin("style");
  html.Raw(kReportStyle);
  html.End();
  html.End();
  html.Begin("body");
  html.Begin("header", {{"id", L"top"}});
  html.Element("h1", facts.printer);
  html.Element("p", Format(L"Report of %04d-%02d-%02d %02d:%02d", now.year, now.month, now.day,
                           now.hour, now.minute));
  html.End();
  html.Begin("main");
  WriteVerdict(facts, &html);
  WriteOverview(facts, &html);
  if (facts.page) {
    WriteSection(L"page", L"The page", &html, [&] { WritePageSection(*facts.page, &html); });
  }
  WriteSection(L"record", L"The record", &html, [&] { WriteRecordSection(facts.record, &html); });
  WriteSection(L"stock", L"Stock items", &html, [&] {
    const std::optional<Merged>& merged = facts.record.merged;
    WriteStockSection(facts.stockItems, merged ? merged->out.StockItemGuid : GUID{}, &html);
  });
  WriteSection(L"model", L"The configuration", &html,
               [&] { WriteModelSection(facts.model, &html); });
  WriteSection(L"log", L"The log", &html, [&] { WriteLogSection(facts.log, &html); });
  html.End();
  html.Element(
      "footer",
      L"Made by orv report. orv devmode explain, orv stock list, orv config check and show, "
      L"and orv log summary and show print the same facts.");
  html.End();
  html.End();
  return html.text();
}

/// Calls `use` for the paths and the texts of the log, which may contain names.
void ForEachText(ReportFacts* facts, const std::function<void(std::wstring*)>& use) {
  for (std::wstring* const text :
       {&facts->printer, &facts->model.path, &facts->model.problem, &facts->record.path,
        &facts->record.problem, &facts->log.path, &facts->log.problem}) {
    use(text);
  }
  if (facts->page) use(&facts->page->path);
  for (LogEntry& entry : facts->log.last) use(&entry.message);
  facts->log.summary.ChangeTexts(use);
}

/// Whether a finding is about the creator of the configuration, and proposes a name.
bool ProposesCreator(const ReportFinding& finding) {
  // The proposals of these contain no value.
  constexpr std::wstring_view kRulesWithoutValues[] = {L"missing-property", L"unknown-property",
                                                       L"element-in-value"};
  return finding.proposal != kNothing &&
         std::ranges::find(kRulesWithoutValues, finding.rule->name) ==
             std::end(kRulesWithoutValues) &&
         LowerCase(finding.text + finding.proposal).find(kCreator) != std::wstring::npos;
}

/// Replaces the names of users, computers and documents.
void Redact(ReportFacts* facts) {
  constexpr wchar_t kRemoved[] = L"(removed)";
  Redactor redactor;
  // A user has chosen the names of these files, whatever their endings.
  redactor.AddFile(facts->record.path);
  if (facts->page) redactor.AddFile(facts->page->path);
  ForEachText(facts, [&](std::wstring* text) { redactor.Learn(*text); });
  ForEachText(facts, [&](std::wstring* text) { *text = redactor.Redacted(*text); });
  for (ConfigValue& value : facts->model.values) {
    if (value.section == L"fileInfo" && value.key == kCreator) value.text = kRemoved;
  }
  // What to write instead of a faulty one can be the name as it is meant.
  for (ReportFinding& finding : facts->model.findings) {
    if (ProposesCreator(finding)) finding.proposal = kRemoved;
  }
}

void MakeReport(ReportOptions* options) {
  const std::wstring output = ToWide(options->output);
  RefuseInputs({ToWide(options->page.page.input), ToWide(options->recordFile),
                ToWide(options->logFile.value_or(""))},
               output);
  ReportFacts facts;
  facts.printer = ToWide(options->printer);
  const OpenPrinter printer(facts.printer);
  PrinterFacts spooler;
  if (!GetPrinterFacts(printer.get(), &spooler)) {
    Fail(kUnreadable, L"the spooler does not describe the printer \"" + facts.printer + L"\": " +
                          DescribeError(static_cast<LONG>(GetLastError())));
  }
  facts.driver = spooler.driverName;
  // Before this program writes to the log itself.
  facts.log = FindLog(*options);

  LibraryUse library(ToWide(options->record.configFolder));
  facts.model = FindModel(&library, printer);
  facts.record = FindRecord(&library, printer, facts.printer, *options);
  if (!options->page.page.input.empty()) {
    facts.page = MakePage(&options->page, facts.model.config, facts.record.merged);
  }
  const StockList list = facts.record.merged
                             ? facts.record.merged->items
                             : LoadStockItems(printer.get(), facts.printer.c_str(), nullptr);
  if (list.failure) FailToReadItems(*list.failure);
  facts.stockItems.assign(list.items.begin(), list.items.end());
  RefuseInputs({facts.model.path, facts.log.path}, output);  // those that no option names
  if (options->isRedacted) Redact(&facts);
  SaveFile(output, ReportText(facts));
}

}  // namespace

void AddReportCommand(CLI::App* program) {
  auto options = std::make_shared<ReportOptions>();
  CLI::App* command =
      program->add_subcommand("report", "Write everything known about a printer as one HTML page");
  AddPrinterArgument(command, &options->printer);
  AddOutputFile(command, "-o,--output", &options->output, "The HTML file to write")->required();
  AddInputFile(command, "--record", &options->recordFile,
               "The private record to explain, as bytes or text")
      ->default_str("the printer's defaults");
  command
      ->add_option("--paper-size", options->paperSize,
                   "The paper size that an application asks for; 257 is the first stock item")
      ->check(InRange(1, INT16_MAX))
      ->default_str("the record's own size");
  AddRecordOptions(command, &options->record);
  CLI::Option* log = AddInputFile(command, "--log", &options->logFile, "Show this log file");
  command->add_option("--date", options->date, "Show the log of this day, as 2024-03-05")
      ->type_name("DATE")
      ->default_str("today")
      ->excludes(log);
  AddInchFlag(command);
  command->add_flag("--redact", options->isRedacted,
                    "Replace the names of users, computers and documents, each by one word");
  ReportPageOptions& page = options->page;
  CLI::Option* input = AddInputFile(command, "--page", &page.page.input,
                                    "Show the planes of this page, a PNG image");
  AddColourOption(command, &page.colour, "The page's second print colour")
      ->default_str("black alone");
  AddToleranceOption(command, &page.tolerance);
  AddDitherOptions(command, &page.dither);
  AddDpiOption(command, &page.page.dpi)->default_str("the printer's, or that of the image, or 203");
  for (const char* name : {"--colour", "--tolerance", "--method", "--threshold", "--gamma",
                           "--dot-gain", "--min-dots", "--dpi"}) {
    command->get_option(name)->needs(input);
  }
  command->footer(
      "The report begins with what is wrong and what to do. It needs no network and no scripts.\n"
      "Missing data is explained in its place.\n"
      "Examples:\n"
      "  orv report \"Label 1\" -o label1.html\n"
      "  orv report \"Label 1\" --record label1.dev --page label.png --colour E02020 -o "
      "label1.html");
  command->callback([options] { MakeReport(options.get()); });
}

}  // namespace orv::tool
