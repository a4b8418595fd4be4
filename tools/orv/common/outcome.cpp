#include "tools/orv/common/outcome.h"

#include <utility>
#include <vector>

#include "orv/platform/registry.h"
#include "tools/orv/common/input.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/output.h"

namespace orv::tool {
namespace {

struct Result {
  const char* member;
  std::variant<std::wstring, std::int64_t, std::function<void(JsonWriter*)>> value;
  std::wstring line;  ///< empty for JSON only
};

void WriteMember(const char* member, const std::wstring& text, JsonWriter* json) {
  json->Member(member, text);
}
void WriteMember(const char* member, std::int64_t number, JsonWriter* json) {
  json->Member(member, number);
}
void WriteMember(const char* member, const std::function<void(JsonWriter*)>& write,
                 JsonWriter* json) {
  json->Key(member);
  write(json);
}

/// Of the one command that a process runs.
struct Outcome {
  bool asJson = false;
  std::vector<std::wstring> files;
  std::vector<Result> results;
  int exitCode = kDone;
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
    std::visit([&](const auto& value) { WriteMember(result.member, value, &json); }, result.value);
  }
  json.EndObject();
  return json.Text();
}

}  // namespace

void SaveFile(const std::wstring& path, std::string bytes, Written written) {
  if (written == Written::kResult) RequireReplaceable(path);
  if (written == Written::kChangedFile && path != kStandardStream && IsStream(path)) {
    Fail(kUnreadable, L"cannot change " + path +
                          L": it is a pipe (with - the result is written to standard output)");
  }
  if (!WriteFile(path, std::move(bytes))) Fail(kUnreadable, CannotWrite(path));
  NoteFile(path);
}

EditGuard::EditGuard(const std::wstring& path) : lock_(path == kStandardStream ? L"" : path) {
  RequireFree(path);
}

EditGuard::EditGuard(HKEY hive) : lock_(hive) { RequireFree(RegistryStoreName(hive)); }

void EditGuard::RequireFree(const std::wstring& name) const {
  if (!lock_.IsBusy()) return;
  Fail(kUnreadable, L"cannot change " + name + L": another command is changing it; try again");
}

void NoteFile(const std::wstring& path) {
  outcome.files.push_back(path);
  if (path != kStandardStream) PrintDetail(L"wrote " + PathName(path));
}

void NoteResult(const char* member, std::variant<std::wstring, std::int64_t> value,
                const std::wstring& line) {
  Result& result = outcome.results.emplace_back();
  result.member = member;
  std::visit([&](auto& given) { result.value = std::move(given); }, value);
  result.line = line;
}

void NoteJson(const char* member, std::function<void(JsonWriter*)> write) {
  outcome.results.push_back({member, std::move(write), {}});
}

void NoteFindings() { outcome.exitCode = kFindings; }

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

int PrintOutcome(const CLI::App* program) {
  std::string command;
  for (auto parsed = program->get_subcommands(); !parsed.empty();
       parsed = parsed.front()->get_subcommands()) {
    command += (command.empty() ? "" : " ") + parsed.front()->get_name();
  }
  if (outcome.asJson) {
    Print(OutcomeAsJson(command));
    return outcome.exitCode;
  }
  for (const Result& result : outcome.results) {
    if (!result.line.empty()) Print(result.line + L"\n");
  }
  return outcome.exitCode;
}

}  // namespace orv::tool
