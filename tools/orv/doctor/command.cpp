#include <algorithm>
#include <memory>

#include "base/utf8.h"
#include "tools/orv/common/commands.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/output.h"
#include "tools/orv/doctor/checks.h"

/// `orv doctor`.

namespace orv::tool {
namespace {

std::int64_t CountOf(const std::vector<CheckRow>& rows, Health health) {
  return std::ranges::count(rows, health, &CheckRow::health);
}

std::string AsJson(const std::wstring& printer, const std::vector<CheckRow>& rows) {
  JsonWriter json;
  json.BeginObject();
  json.Member("printer", printer);
  json.Member("errors", CountOf(rows, Health::kError));
  json.Member("warnings", CountOf(rows, Health::kWarning));
  json.Key("checks");
  json.BeginArray();
  for (const CheckRow& row : rows) {
    json.BeginObject();
    json.Member("status", NameOf(row.health));
    json.Member("check", row.check);
    json.Member("found", row.finding);
    json.Member("advice", row.advice);
    json.EndObject();
  }
  json.EndArray();
  json.EndObject();
  return json.Text();
}

/// A text with escapes instead of control characters.
std::wstring Shown(const std::wstring& text) { return Utf8ToWide(Printable(text)); }

/// A text in the last column, wrapped to the width of the output.
std::wstring InColumn(const std::wstring& text, std::size_t column) {
  constexpr std::size_t kNarrowest = 20;
  const std::size_t width = OutputWidth();
  const std::size_t room = std::max(width - std::min(width, column), kNarrowest);
  return Wrapped(Shown(text), std::wstring(column, L' '), room);
}

std::wstring AsText(const std::vector<CheckRow>& rows) {
  constexpr std::size_t kGap = 2;
  const std::size_t statusWidth = std::wstring_view(NameOf(Health::kWarning)).size() + kGap;
  std::size_t column = 0;
  for (const CheckRow& row : rows) column = std::max(column, Shown(row.check).size());
  column += statusWidth + kGap;
  std::wstring text;
  for (const CheckRow& row : rows) {
    const std::wstring status = NameOf(row.health);
    std::wstring finding = InColumn(row.finding, column);
    const std::wstring padding(statusWidth - status.size(), L' ');
    const std::wstring check = Shown(row.check);
    const std::wstring rest(column - statusWidth - check.size(), L' ');
    finding.replace(0, std::min(column, finding.size()), padding + check + rest);
    text += row.health == Health::kOk
                ? status
                : Painted(status,
                          row.health == Health::kError ? TextColour::kRed : TextColour::kYellow);
    text += finding;
    if (!row.advice.empty()) text += InColumn(L"-> " + row.advice, column);
  }
  return text;
}

}  // namespace

void AddDoctorCommand(CLI::App* program) {
  struct Options {
    std::string printer;
    std::string record;
    std::string configFolder;
    bool asJson = false;
  };
  auto options = std::make_shared<Options>();
  CLI::App* command = program->add_subcommand(
      "doctor", "Find what is wrong with the settings, the log, and a printer or all printers");
  command
      ->add_option("PRINTER", options->printer,
                   "Examine this printer in detail; without it, all printers briefly")
      ->check(NotEmpty("a name"));
  AddInputFile(command, "--record", &options->record, "Examine this private record, too");
  AddConfigFolder(command, &options->configFolder);
  AddJsonFlag(command, &options->asJson);
  command->footer(
      "One line for each check, with what to do after ->. Changes nothing, and repairs nothing.\n"
      "Exits with 1 when there is an error.\n"
      "Examples:\n"
      "  orv doctor\n"
      "  orv doctor \"Label 1\" --record label1.dev\n"
      "  orv doctor \"Label 1\" --config-dir examples --json");
  command->callback([options] {
    const std::wstring printer = ToWide(options->printer);
    const std::vector<CheckRow> rows =
        RunChecks({printer, ToWide(options->record), ToWide(options->configFolder)});
    options->asJson ? Print(AsJson(printer, rows)) : Print(AsText(rows));
    if (CountOf(rows, Health::kError) > 0) Finish(kFindings);
  });
}

}  // namespace orv::tool
