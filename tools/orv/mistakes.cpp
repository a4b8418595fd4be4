#include "tools/orv/mistakes.h"

#include <algorithm>
#include <cctype>
#include <utility>

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
    const bool isLong = word.starts_with("--") && word.size() > 2;
    const bool isShort =
        word.size() > 1 && word[0] == '-' && std::isalpha(static_cast<unsigned char>(word[1])) != 0;
    if (isLong || isShort) {
      // A short option's value may stand right behind it.
      if (command->get_option_no_throw(isLong ? word : word.substr(0, 2)) != nullptr) continue;
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

/// What the parser says, in the words of the help where it has others.
std::wstring Reworded(const std::string& message) {
  constexpr std::pair<std::string_view, std::string_view> kWords[] = {
      {"A subcommand is required", "a command is missing"},
      {"The following argument was not expected: ", "there is no place for "},
      {"The following arguments were not expected: ", "there is no place for "},
      {"Could not convert: ", "not a number: "}};
  for (const auto& [theirs, ours] : kWords) {
    if (message.starts_with(theirs)) {
      return ToWide(std::string(ours) + message.substr(theirs.size()));
    }
  }
  return ToWide(message);
}

}  // namespace

std::wstring DescribeMistake(CLI::App* program, const std::vector<std::string>& arguments,
                             const CLI::ParseError& error) {
  const Mistake mistake = FindMistake(program, arguments);
  const bool isValue = error.get_name() == "ValidationError";
  const std::string message = error.what();
  const std::wstring text =
      isValue || mistake.text.empty() ? Reworded(message) + ValueSuggestion(message) : mistake.text;
  return text + L" (" + mistake.command + L" --help says more)";
}

}  // namespace orv::tool
