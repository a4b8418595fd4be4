#include "tools/orv/common/mistakes.h"

#include <algorithm>
#include <cctype>

#include "base/utf8.h"
#include "tools/orv/common/option_help.h"
#include "tools/orv/common/output.h"
#include "tools/orv/common/spelling.h"

namespace orv::tool {
namespace {

/// "; did you mean WORD?" of the nearest candidate, if any.
std::wstring Suggestion(const std::string& word, const std::vector<std::wstring>& candidates) {
  const std::vector<std::wstring_view> views(candidates.begin(), candidates.end());
  return DidYouMean(ToWide(word), views);
}

std::vector<std::wstring> CommandNames(const CLI::App* group) {
  std::vector<std::wstring> names;
  for (const CLI::App* command : group->get_subcommands([](const CLI::App*) { return true; })) {
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
    if (word.starts_with("-") || command->get_subcommands(nullptr).empty()) continue;
    CLI::App* const next = FindCommand(command, word);
    if (next == nullptr) {
      mistake.text = UnknownCommand(command, word);
      return mistake;
    }
    command = next;
    mistake.command += L" " + ToWide(word);
  }
  return mistake;
}

/// That an option lacks its value, or has too many; nothing when the message names no option.
std::wstring WrongCount(const CLI::App* program, const std::string& message) {
  const CLI::App* command = program;
  while (!command->get_subcommands().empty()) command = command->get_subcommands().back();
  const std::string name = message.substr(0, message.find(':'));
  const CLI::Option* const option = command->get_option_no_throw(name);
  if (option == nullptr) return {};
  return ToWide(name + " " + ValueName(option)) + (message.ends_with(" missing")
                                                       ? L": the value is missing"
                                                       : L": there is a value already");
}

/// What the parser says, in the words of the help where it has others. A message that is not known
/// stays as it is.
std::wstring Reworded(const CLI::App* program, const CLI::ParseError& error) {
  constexpr struct {
    CLI::ExitCodes error;
    std::string_view theirs;
    std::string_view ours;
  } kWords[] = {{CLI::ExitCodes::RequiredError, "A subcommand is required", "a command is missing"},
                {CLI::ExitCodes::RequiresError, " requires ", " goes only with "},
                {CLI::ExitCodes::ExcludesError, " excludes ", " does not go with "},
                {CLI::ExitCodes::ConversionError, "Could not convert: ", "not a number: "}};
  const auto code = static_cast<CLI::ExitCodes>(error.get_exit_code());
  if (code == CLI::ExitCodes::ExtrasError) {
    // The parser's message has them last one first.
    return L"there is no place for " + ToWide(CLI::detail::join(program->remaining(true), " "));
  }
  std::string message = error.what();
  if (code == CLI::ExitCodes::ArgumentMismatch) {
    const std::wstring text = WrongCount(program, message);
    if (!text.empty()) return text;
  }
  for (const auto& [known, theirs, ours] : kWords) {
    const std::size_t at = code == known ? message.find(theirs) : message.npos;
    if (at != message.npos) message.replace(at, theirs.size(), ours);
  }
  return ToWide(message);
}

}  // namespace

CLI::App* FindCommand(CLI::App* group, const std::string& name) {
  const std::vector<CLI::App*> commands = group->get_subcommands(nullptr);
  const auto found = std::ranges::find(commands, name, &CLI::App::get_name);
  return found != commands.end() ? *found : nullptr;
}

std::wstring UnknownCommand(const CLI::App* group, const std::string& name) {
  return L"there is no command " + ToWide(name) + Suggestion(name, CommandNames(group));
}

std::wstring DescribeMistake(CLI::App* program, const std::vector<std::string>& arguments,
                             const CLI::ParseError& error) {
  const Mistake mistake = FindMistake(program, arguments);
  const bool isValue = error.get_exit_code() == static_cast<int>(CLI::ExitCodes::ValidationError);
  const std::wstring text =
      isValue || mistake.text.empty() ? Reworded(program, error) : mistake.text;
  return text + L" (" + mistake.command + L" --help says more)";
}

}  // namespace orv::tool
