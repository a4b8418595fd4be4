#include "tools/orv/mistakes.h"

#include <algorithm>

#include "orv/text/utf8.h"
#include "tools/orv/output.h"
#include "tools/orv/spelling.h"

namespace orv::tool {
namespace {

/// "; did you mean WORD?" of the nearest candidate, if any.
std::wstring Suggestion(const std::string& word, const std::vector<std::wstring>& candidates) {
  const std::vector<std::wstring_view> views(candidates.begin(), candidates.end());
  return DidYouMean(ToWide(word), views);
}

std::vector<std::wstring> CommandNames(CLI::App* group) {
  std::vector<std::wstring> names;
  for (const CLI::App* command : group->get_subcommands(nullptr)) {
    if (!command->get_group().empty()) names.push_back(ToWide(command->get_name()));
  }
  return names;
}

std::vector<std::wstring> OptionNames(const CLI::App* command) {
  std::vector<std::wstring> names;
  for (const CLI::Option* option : command->get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back(L"--" + ToWide(name));
  }
  return names;
}

/// How far the arguments lead, and what is wrong with the first command or option that is not
/// known.
struct Mistake {
  std::wstring command = L"orv";
  std::wstring text;
};

Mistake FindMistake(CLI::App* program, const std::vector<std::string>& arguments) {
  Mistake mistake;
  CLI::App* command = program;
  for (const std::string& argument : arguments) {
    const std::string word = argument.substr(0, argument.find('='));
    if (word.starts_with("--") && word.size() > 2) {
      if (command->get_option_no_throw(word) != nullptr) continue;
      mistake.text = L"there is no option " + ToWide(word) + Suggestion(word, OptionNames(command));
      return mistake;
    }
    const std::vector<CLI::App*> commands = command->get_subcommands(nullptr);
    if (word.starts_with("-") || commands.empty()) continue;
    const auto next = std::ranges::find(commands, word, &CLI::App::get_name);
    if (next == commands.end()) {
      mistake.text =
          L"there is no command " + ToWide(word) + Suggestion(word, CommandNames(command));
      return mistake;
    }
    command = *next;
    mistake.command += L" " + ToWide(word);
  }
  return mistake;
}

/// The values that a message lists behind a wrong one: "--method: matrx4 not in {none,matrix4}".
std::wstring ValueSuggestion(const std::string& message) {
  const std::size_t list = message.find(" not in {");
  if (list == message.npos) return {};
  const std::size_t word = message.rfind(' ', list - 1) + 1;
  std::vector<std::wstring> values;
  const std::size_t end = message.find('}', list);
  for (std::size_t at = message.find('{', list) + 1; at < end;) {
    const std::size_t comma = std::min(message.find(',', at), end);
    values.push_back(ToWide(message.substr(at, comma - at)));
    at = comma + 1;
  }
  return Suggestion(message.substr(word, list - word), values);
}

}  // namespace

std::wstring DescribeMistake(CLI::App* program, const std::vector<std::string>& arguments,
                             const CLI::ParseError& error) {
  const Mistake mistake = FindMistake(program, arguments);
  const bool isValue = error.get_name() == "ValidationError";
  const std::string message = error.what();
  const std::wstring text =
      isValue || mistake.text.empty() ? ToWide(message) + ValueSuggestion(message) : mistake.text;
  return text + L" (" + mistake.command + L" --help says more)";
}

}  // namespace orv::tool
