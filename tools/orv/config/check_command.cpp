#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>
#include <utility>

#include "base/utf8.h"
#include "orv/text/format.h"
#include "orv/xml/line_index.h"
#include "platform/files.h"
#include "tools/orv/common/commands.h"
#include "tools/orv/common/input.h"
#include "tools/orv/common/lengths.h"
#include "tools/orv/common/line_diff.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/outcome.h"
#include "tools/orv/common/output.h"
#include "tools/orv/config/check.h"
#include "tools/orv/config/check_rules.h"
#include "tools/orv/config/edit.h"
#include "tools/orv/config/text.h"

/// `orv config check`.

namespace orv::tool {
namespace {

struct CheckOptions {
  std::vector<std::string> files;
  std::vector<std::string> ignored;
  std::string explained;
  bool isStrict = false;
  bool isFixed = false;
  bool asJson = false;
  bool asMarkdown = false;
};

/// Ends the command because the user named a rule that cannot be ignored or explained.
[[noreturn]] void FailOnRule(const std::wstring& fault, const std::wstring& name) {
  const std::wstring_view nearest = NearestRule(name);
  Fail(kUsage, fault +
                   (nearest.empty() || nearest == name
                        ? std::wstring()
                        : L"; did you mean " + std::wstring(nearest) + L"?") +
                   L" (orv config check --explain lists all rules)");
}

void Explain(const CheckOptions& options) {
  const std::wstring name = ToWide(options.explained);
  const bool isAll = name == L"all";
  const CheckRule* const rule = FindCheckRule(name);
  if (rule == nullptr && !isAll && name != L"list") {
    FailOnRule(L"unknown rule '" + name + L"'", name);
  }
  if (options.asJson) return Print(RulesAsJson(rule));
  if (options.asMarkdown) return Print(RulesAsMarkdown());
  if (rule != nullptr) return Print(RuleAsText(*rule));
  if (!isAll) return Print(RulesAsText());
  std::string text;
  for (const CheckRule& each : kCheckRules) text += (text.empty() ? "" : "\n") + RuleAsText(each);
  Print(text);
}

/// Prints the findings of one file after another.
class FindingPrinter {
 public:
  explicit FindingPrinter(bool asJson) : asJson_(asJson) { json_.BeginArray(); }

  void Print(const std::wstring& file, const LineIndex& lines,
             const std::vector<Finding>& findings) {
    std::string shown;
    for (const Finding& finding : findings) {
      const TextPosition at = lines.Find(finding.offset);
      if (asJson_) {
        AddToJson(file, at, finding);
      } else {
        const Severity severity = finding.rule->severity;
        const TextColour colour =
            severity == Severity::kError ? TextColour::kRed : TextColour::kYellow;
        const std::wstring label =
            Painted(NameOf(severity), colour) + L'[' + std::wstring(finding.rule->name) + L']';
        shown += FindingLine(file, at, label, finding.text, finding.allowed, finding.proposal);
      }
    }
    tool::Print(shown);
  }

  void Finish() {
    json_.EndArray();
    if (asJson_) tool::Print(json_.Text());
  }

 private:
  void AddToJson(const std::wstring& file, const TextPosition& at, const Finding& finding) {
    json_.BeginObject();
    json_.Member("file", file);
    json_.Member("line", at.line);
    json_.Member("column", at.column);
    json_.Member("severity", NameOf(finding.rule->severity));
    json_.Member("rule", finding.rule->name);
    json_.Member("text", finding.text);
    json_.Member("allowed", finding.allowed);
    json_.Member("write", finding.proposal);
    json_.EndObject();
  }

  bool asJson_;
  JsonWriter json_;
};

/// The first free name for a copy of a file: FILE.bak, FILE.bak2, ...
std::wstring BackupName(const std::wstring& path) {
  std::wstring name = path + L".bak";
  std::error_code error;
  for (int i = 2; std::filesystem::exists(ToPath(name), error); ++i) {
    name = path + L".bak" + std::to_wstring(i);
  }
  return name;
}

/// A diff for the terminal: control characters of the file are shown as escapes.
std::string ShownDiff(std::wstring_view diff) {
  std::wstring shown;
  for (std::size_t i = 0; i < diff.size(); ++i) {
    const bool isLayout = diff[i] == L'\n' || diff[i] == L'\t' || diff.substr(i, 2) == L"\r\n";
    shown += isLayout ? std::wstring(1, diff[i]) : Utf8ToWide(Printable(diff.substr(i, 1)));
  }
  return WideToUtf8(shown);
}

/// Follows the proposals for a file, keeps its old content, and prints what has changed. Returns
/// the new text in `*text`.
std::optional<EditProblem> FixFile(const std::wstring& path, const FindingsOf& findingsOf,
                                   std::wstring* text) {
  std::optional<EditGuard> guard(path);
  EditedConfig file;
  if (auto problem = OpenForEdit(path, &file)) return problem;
  if (auto problem = FollowProposals(&file, findingsOf)) return problem;
  const std::wstring before = std::exchange(*text, file.text);
  if (path == kStandardStream) {
    SaveEdited(file);  // standard output has the text, so the changes are not printed
  } else if (file.text != before) {
    const std::wstring backup = BackupName(path);
    std::error_code error;
    // With the permissions of the file.
    if (!std::filesystem::copy_file(ToPath(path), ToPath(backup), error)) {
      return EditProblem{kUnreadable, L"cannot write " + backup + L", so " + path +
                                          L" was not changed: " + FileErrorText(error)};
    }
    SaveEdited(file);
    guard.reset();
    Print(ShownDiff(UnifiedDiff(before, file.text, backup, path)));
  }
  return {};
}

void Check(const CheckOptions& options) {
  std::vector<std::wstring> ignored;
  for (const std::string& name : options.ignored) {
    ignored.push_back(ToWide(name));
    const std::wstring fault = AllowanceFault(ignored.back());
    if (!fault.empty()) FailOnRule(fault, ignored.back());
  }
  if (options.files.empty()) Fail(kUsage, L"FILE is required (see orv config check --help)");
  FindingPrinter printer(options.asJson);
  int exitCode = kDone;
  for (const std::string& file : options.files) {
    const std::wstring path = ToWide(file);
    const FindingsOf findingsOf = [&](const std::wstring& text) {
      std::vector<Finding> findings =
          CheckConfig(text, IsStream(path) ? std::wstring() : FileNameOf(path));
      std::erase_if(findings, [&](const Finding& finding) {
        return std::find(ignored.begin(), ignored.end(), finding.rule->name) != ignored.end();
      });
      return findings;
    };
    std::wstring text;
    std::wstring problem;
    if (!ReadConfigText(path, &text, &problem)) {
      PrintMessage(problem);
      exitCode = kUnreadable;
      continue;
    }
    if (options.isFixed) {
      if (const auto fault = FixFile(path, findingsOf, &text)) {
        PrintMessage(fault->text);
        exitCode = std::max<int>(exitCode, fault->exitCode);
      }
    }
    const std::vector<Finding> findings = findingsOf(text);
    for (const Finding& finding : findings) {
      if (finding.rule->severity == Severity::kError || options.isStrict) {
        exitCode = std::max<int>(exitCode, kFindings);
      }
    }
    printer.Print(path, LineIndex(text), findings);
  }
  printer.Finish();
  if (exitCode != kDone) Finish(exitCode);
}

}  // namespace

void AddConfigCheckCommand(CLI::App* group) {
  auto options = std::make_shared<CheckOptions>();
  CLI::App* command =
      group->add_subcommand("check", "Find everything wrong in configuration files");
  AddInputFile(command, "FILE", &options->files, "Configuration files, plain or protected");
  CLI::Option* const explain = command
                                   ->add_option("--explain", options->explained,
                                                "Explain a rule, or list all; \"all\" explains all")
                                   ->expected(0, 1)
                                   ->type_name("RULE")
                                   ->default_str("list");
  command->add_option("--ignore", options->ignored, "Leave out the warnings of a rule")
      ->allow_extra_args(false)
      ->type_name("RULE");
  command->add_flag("--strict", options->isStrict, "Warnings count for the exit code");
  CLI::Option* const fix = command->add_flag("--fix", options->isFixed,
                                             "Apply each proposal that has no alternative, sign "
                                             "the file, and keep the old one as FILE.bak");
  AddInchFlag(command);
  AddJsonFlag(command, &options->asJson)->excludes(fix);
  command->add_flag("--markdown", options->asMarkdown, "Explain in Markdown")
      ->needs(explain)
      ->excludes(command->get_option("--json"));
  command->footer(
      "An error keeps the file from loading; a warning does not. Exits with 1 when there is an\n"
      "error, with 3 when a file could not be read.\n"
      "--fix prints what it changes as a diff, then the findings that are left.\n"
      "JSON: an array of objects with file, line, column, severity, rule, text, allowed, write.\n"
      "Examples:\n"
      "  orv config check orv_conf_lx300.xml\n"
      "  orv config check --strict --ignore not-signed --json orv_conf_*.xml\n"
      "  orv config check --fix orv_conf_lx300.xml\n"
      "  orv config check --explain range-step");
  command->callback([options, explain] {
    if (explain->count() > 0) return Explain(*options);
    Check(*options);
  });
}

}  // namespace orv::tool
