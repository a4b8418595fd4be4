#include "tools/orv/common/outcome.h"

#include <utility>
#include <vector>

#include "tools/orv/common/input.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/output.h"

namespace orv::tool {
namespace {

struct Result {
  const char* member;
  std::variant<std::wstring, std::int64_t> value;
  std::wstring line;
};

/// Of the one command that a process runs.
struct Outcome {
  bool asJson = false;
  std::vector<std::wstring> files;
  std::vector<Result> results;
};
Outcome outcome;

std::string OutcomeAsJson(const std::string& command) {
  JsonWriter json;
  json.BeginObject();
  json.Member("command", ToWide(command));
  json.Key("files");
  json.BeginArray();
  for (const std::wstring& file : outcome.files) json.Value(file);
  json.EndArray();
  for (const Result& result : outcome.results) {
    std::visit([&](const auto& value) { json.Member(result.member, value); }, result.value);
  }
  json.EndObject();
  return json.Text();
}

}  // namespace

void SaveFile(const std::wstring& path, std::string bytes) {
  if (!WriteFile(path, std::move(bytes))) Fail(kUnreadable, L"cannot write " + PathName(path));
  NoteFile(path);
}

void NoteFile(const std::wstring& path) { outcome.files.push_back(path); }

void NoteResult(const char* member, std::variant<std::wstring, std::int64_t> value,
                const std::wstring& line) {
  outcome.results.push_back({member, std::move(value), line});
}

void AddOutcomeFlags(CLI::App* program) {
  for (CLI::App* command : program->get_subcommands(nullptr)) {
    if (command->get_group().empty()) continue;  // hidden
    if (!command->get_subcommands(nullptr).empty()) {
      AddOutcomeFlags(command);
    } else if (command->get_option_no_throw("--json") == nullptr) {
      AddJsonFlag(command, &outcome.asJson, "Print what was done as JSON");
    }
  }
}

void PrintOutcome(const CLI::App* program) {
  std::string command;
  for (auto parsed = program->get_subcommands(); !parsed.empty();
       parsed = parsed.front()->get_subcommands()) {
    command += (command.empty() ? "" : " ") + parsed.front()->get_name();
  }
  if (outcome.asJson) return Print(OutcomeAsJson(command));
  for (const Result& result : outcome.results) Print(result.line + L"\n");
}

}  // namespace orv::tool
