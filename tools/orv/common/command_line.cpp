#include "tools/orv/common/command_line.h"

#include <algorithm>
#include <cctype>
#include <memory>

#include "base/utf8.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/output.h"
#include "tools/orv/common/spelling.h"

namespace orv::tool {
namespace {

// --- Help ---

constexpr std::size_t kFirstColumn = 30;
constexpr std::size_t kWidth = 100;

/// "--page, --colour" for a set of options.
template <typename Options>
std::string NamesOf(const Options& options) {
  std::string names;
  for (const CLI::Option* option : options) {
    names += (names.empty() ? "" : ", ") + option->get_name();
  }
  return names;
}

/// An entry of a list: a name, and its meaning wrapped into the second column.
std::string ListEntry(const std::string& name, const std::string& meaning) {
  std::string first = "  " + name;
  const std::string indent(kFirstColumn, ' ');
  std::string lines =
      WideToUtf8(Wrapped(Utf8ToWide(meaning), Utf8ToWide(indent), kWidth - kFirstColumn));
  if (lines.empty()) return first + "\n";
  if (first.size() + 2 > kFirstColumn) return first + "\n" + lines;
  return lines.replace(0, first.size(), first);
}

/// The short and the long name of an option. Other names are for compatibility.
std::string OptionName(const CLI::Option* option) {
  std::string name;
  for (const std::string& letter : option->get_snames()) name += "-" + letter + ",";
  return name + "--" + option->get_lnames().front();
}

class HelpFormat : public CLI::Formatter {
 public:
  HelpFormat() {
    label("OPTIONS", "options");
    label("Positionals", "Arguments");
    label("SUBCOMMAND", "COMMAND");
  }

  std::string make_description(const CLI::App* command) const override {
    return command->get_description() + "\n\n";
  }

  /// An option that is also accepted as an argument is shown as an option only.
  std::string make_usage(const CLI::App* command, std::string name) const override {
    std::string usage = get_label("Usage") + ": " + name + " [" + get_label("OPTIONS") + "]";
    for (const CLI::Option* option : command->get_options()) {
      if (IsArgument(option)) usage += " " + make_option_usage(option);
    }
    return usage + (command->get_subcommands(nullptr).empty() ? "\n" : " COMMAND\n");
  }

  std::string make_positionals(const CLI::App* command) const override {
    const std::vector<const CLI::Option*> arguments = command->get_options(IsArgument);
    return arguments.empty() ? "" : make_group(get_label("Positionals"), true, arguments);
  }

  std::string make_help(const CLI::App* command, std::string name,
                        CLI::AppFormatMode mode) const override {
    std::string text = make_description(command) + make_usage(command, std::move(name)) +
                       make_positionals(command);
    for (const std::string& group : command->get_groups()) {
      const auto options = command->get_options([&group](const CLI::Option* option) {
        return option->get_group() == group && option->nonpositional();
      });
      if (!options.empty()) text += make_group(group, false, options);
    }
    return text + make_subcommands(command, mode) + "\n" + make_footer(command);
  }

  std::string make_option(const CLI::Option* option, bool isPositional) const override {
    std::string name = isPositional ? option->get_name(true) : OptionName(option);
    if (!isPositional && option->get_items_expected_max() > 0) name += " " + ValueName(option);
    return ListEntry(name, Explanation(option));
  }

  std::string make_subcommands(const CLI::App* group, CLI::AppFormatMode) const override {
    std::string list;
    for (const CLI::App* command : group->get_subcommands(nullptr)) {
      if (command->get_group().empty()) continue;  // hidden
      list += ListEntry(command->get_name(), command->get_description());
    }
    return list.empty() ? list : "\nCommands:\n" + list;
  }
};

// --- Messages ---

/// "; did you mean WORD?" for the nearest candidate, if any.
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
    if (option->nonpositional()) names.push_back(L"--" + ToWide(option->get_lnames().front()));
  }
  return names;
}

bool IsShortOption(const std::string& word) {
  return word.size() > 1 && word[0] == '-' &&
         std::isalpha(static_cast<unsigned char>(word[1])) != 0;
}

bool IsOption(const std::string& word) {
  return (word.starts_with("--") && word.size() > 2) || IsShortOption(word);
}

/// Reads the arguments once more, up to the first command or option that is unknown.
struct ArgumentWalk {
  ArgumentWalk(CLI::App* program, const std::vector<std::string>& arguments)
      : command(program), path(ToWide(program->get_name())) {
    for (const std::string& argument : arguments) {
      const std::string word = argument.substr(0, argument.find('='));
      if (IsOption(word)) {
        if (!EnterOption(word, argument.size() > word.size())) return;
      } else {
        waiting = nullptr;
        if (!word.starts_with('-') && !EnterCommand(word)) return;
      }
    }
  }

  CLI::App* command;
  std::wstring path;                     ///< the command's name with the names of its groups
  std::wstring unknown;                  ///< the message for an unknown command or option
  const CLI::Option* waiting = nullptr;  ///< an option without its value

 private:
  bool EnterOption(const std::string& word, bool hasValue) {
    if (waiting != nullptr) return false;
    // A short option's value may follow without a blank.
    const bool isShort = IsShortOption(word);
    const CLI::Option* const option =
        command->get_option_no_throw(isShort ? word.substr(0, 2) : word);
    if (option == nullptr) {
      unknown = L"unknown option " + ToWide(word) + Suggestion(word, OptionNames(command));
      return false;
    }
    hasValue = hasValue || (isShort && word.size() > 2);
    if (!hasValue && option->get_items_expected_min() > 0) waiting = option;
    return true;
  }

  bool EnterCommand(const std::string& word) {
    if (command->get_subcommands(nullptr).empty()) return true;
    CLI::App* const next = FindCommand(command, word);
    if (next == nullptr) {
      unknown = UnknownCommand(command, word);
      return false;
    }
    command = next;
    path += L" " + ToWide(word);
    return true;
  }
};

std::wstring NameAndValue(const CLI::Option* option) {
  return ToWide(option->get_name() + " " + ValueName(option));
}

/// The message for an option without its value, or with a value too many.
std::wstring DescribeCount(const ArgumentWalk& walk, const CLI::ParseError& error) {
  for (const CLI::Option* option : walk.command->get_options()) {
    const auto max = static_cast<std::size_t>(option->get_items_expected_max());
    if (max > 0 && option->count() > max) {
      return NameAndValue(option) + L": given more than once";
    }
  }
  if (walk.waiting != nullptr) return NameAndValue(walk.waiting) + L": the value is missing";
  return ToWide(error.what());
}

/// The message for options that were given without others they need, or with others they exclude.
std::wstring DescribeCombination(const CLI::App* command, const CLI::ParseError& error) {
  for (const CLI::Option* option : command->get_options()) {
    if (option->count() == 0) continue;
    for (const CLI::Option* other : option->get_needs()) {
      if (other->count() == 0) {
        return ToWide(option->get_name() + " requires " + other->get_name());
      }
    }
    for (const CLI::Option* other : option->get_excludes()) {
      if (other->count() > 0) {
        return ToWide(option->get_name() + " cannot be used with " + other->get_name());
      }
    }
  }
  return ToWide(error.what());
}

/// The message for an error that is not an unknown command or option. An error that is not known
/// here keeps the parser's message.
std::wstring DescribeParseError(const CLI::App* program, const ArgumentWalk& walk,
                                const CLI::ParseError& error) {
  if (dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr) {
    return UnexpectedArguments(RemainingArguments(program));
  }
  if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) {
    return DescribeCount(walk, error);
  }
  if (dynamic_cast<const CLI::RequiresError*>(&error) != nullptr ||
      dynamic_cast<const CLI::ExcludesError*>(&error) != nullptr) {
    return DescribeCombination(walk.command, error);
  }
  return ToWide(error.what());
}

// --- Values ---

/// The end of an argument that ends in a bracket, while the parser has it. No argument contains
/// this character.
constexpr char kMark = '\0';

std::string WithoutMark(const std::string& text) { return text.substr(0, text.find(kMark)); }

enum class Values { kAll, kNoFileNames };

/// Lets all options and arguments check or change their values with `validator`, before their own
/// validators.
void TransformValues(CLI::App* program, Values which, const CLI::Validator& validator) {
  for (CLI::App* command : program->get_subcommands(nullptr)) {
    TransformValues(command, which, validator);
  }
  for (CLI::Option* option : program->get_options()) {
    if (which == Values::kNoFileNames && TakesFileNames(option)) continue;
    option->transform(validator);
  }
}

}  // namespace

bool IsArgument(const CLI::Option* option) {
  return option->get_positional() && !option->nonpositional();
}

void SetHelpFormat(CLI::App* program) { program->formatter(std::make_shared<HelpFormat>()); }

std::string ValueName(const CLI::Option* option) {
  // The parser's type comes first, then a colon and the name that a check gives the value.
  std::string name = option->get_type_name();
  const std::size_t colon = name.find(':');
  const std::string check = colon == name.npos ? "" : name.substr(colon + 1);
  name.resize(std::min(colon, name.size()));
  const bool isNumber = name == "INT" || name == "UINT" || name == "FLOAT";
  if (isNumber) name = "N";
  if ((isNumber || name == "TEXT") && !check.empty()) name = check;
  return option->get_expected_min() == 0 ? "[" + name + "]" : name;
}

std::string Explanation(const CLI::Option* option) {
  std::vector<std::string> notes;
  if (!option->get_default_str().empty() && option->get_expected_min() > 0) {
    notes.push_back("default: " + option->get_default_str());
  }
  if (option->nonpositional()) {
    if (option->get_required()) notes.emplace_back("required");
    if (option->get_expected_max() > 1) {
      notes.emplace_back(option->get_delimiter() == ',' ? "several with commas between them"
                                                        : "may be repeated");
    }
  }
  if (!option->get_needs().empty()) {
    notes.push_back("only with " + NamesOf(option->get_needs()));
  }
  if (!option->get_excludes().empty()) {
    notes.push_back("not with " + NamesOf(option->get_excludes()));
  }
  std::string text = option->get_description();
  for (std::size_t i = 0; i < notes.size(); ++i) {
    text += (i == 0 ? " (" : "; ") + notes[i] + (i + 1 == notes.size() ? ")" : "");
  }
  return text;
}

CLI::App* FindCommand(CLI::App* group, const std::string& name) {
  const std::vector<CLI::App*> commands = group->get_subcommands(nullptr);
  const auto found = std::ranges::find(commands, name, &CLI::App::get_name);
  return found != commands.end() ? *found : nullptr;
}

std::wstring UnknownCommand(const CLI::App* group, const std::string& name) {
  return L"unknown command '" + ToWide(name) + L"'" + Suggestion(name, CommandNames(group));
}

std::wstring UnexpectedArguments(const std::vector<std::string>& arguments) {
  return (arguments.size() == 1 ? L"unexpected argument '" : L"unexpected arguments '") +
         ToWide(CLI::detail::join(arguments, "', '")) + L"'";
}

void RefuseInvalidText(CLI::App* program, const std::vector<std::string>& arguments) {
  const auto isText = [](const std::string& argument) {
    return WideToUtf8(Utf8ToWide(argument)) == argument;
  };
  if (std::ranges::all_of(arguments, isText)) return;
  TransformValues(program, Values::kNoFileNames,
                  CLI::Validator(
                      [isText](const std::string& text) {
                        return isText(text) ? std::string() : text + " is not UTF-8";
                      },
                      ""));
}

std::vector<std::string> ParserArguments(CLI::App* program,
                                         const std::vector<std::string>& arguments) {
  std::vector<std::string> marked(arguments.rbegin(), arguments.rend());
  bool isMarked = false;
  for (std::string& argument : marked) {
    if (!argument.ends_with(']')) continue;
    argument += kMark;
    isMarked = true;
  }
  if (isMarked) {
    TransformValues(program, Values::kAll,
                    CLI::Validator(
                        [](std::string& text) {
                          text = WithoutMark(text);
                          return std::string();
                        },
                        ""));
  }
  return marked;
}

std::vector<std::string> RemainingArguments(const CLI::App* program) {
  std::vector<std::string> arguments = program->remaining(true);
  std::ranges::transform(arguments, arguments.begin(), WithoutMark);
  return arguments;
}

bool NamesUnknownCommand(CLI::App* program, const std::vector<std::string>& arguments) {
  const ArgumentWalk walk(program, arguments);
  return !walk.unknown.empty() && !walk.command->get_subcommands(nullptr).empty();
}

std::string ShortHelp(CLI::App* program, const std::vector<std::string>& arguments,
                      const CLI::ParseError& error) {
  if (dynamic_cast<const CLI::RequiredError*>(&error) == nullptr) return {};
  const ArgumentWalk walk(program, arguments);
  const bool isGroup = !walk.command->get_subcommands(nullptr).empty();
  if (!isGroup || !walk.unknown.empty() || walk.waiting != nullptr) return {};
  const HelpFormat format;
  const std::string name = WideToUtf8(walk.path);
  return format.make_description(walk.command) + format.make_usage(walk.command, name) +
         format.make_subcommands(walk.command, CLI::AppFormatMode::Normal) + "\nSee " + name +
         " --help for examples, and " + name + " COMMAND --help for a command.\n";
}

std::wstring DescribeMistake(CLI::App* program, const std::vector<std::string>& arguments,
                             const CLI::ParseError& error) {
  const ArgumentWalk walk(program, arguments);
  const bool isValue = dynamic_cast<const CLI::ValidationError*>(&error) != nullptr;
  std::wstring text =
      isValue || walk.unknown.empty() ? DescribeParseError(program, walk, error) : walk.unknown;
  text.erase(text.find_last_not_of(L' ') + 1);  // before an empty value
  return text + L" (see " + walk.path + L" --help)";
}

}  // namespace orv::tool
