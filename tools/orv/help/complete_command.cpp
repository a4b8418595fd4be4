#include <algorithm>
#include <span>
#include <utility>

#include "base/utf8.h"
#include "config/property_tables.h"
#include "devmode/record_fields.h"
#include "orv/devmode/stock_items.h"
#include "orv/platform/registry.h"
#include "orv/platform/spooler.h"
#include "orv/platform/types.h"
#include "tools/orv/common/command_line.h"
#include "tools/orv/common/commands.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/output.h"
#include "tools/orv/config/check.h"
#include "tools/orv/config/check_rules.h"
#include "tools/orv/config/keys.h"
#include "tools/orv/registry/reg_file.h"
#include "tools/orv/stock/items.h"

/// `orv complete`: the interface for shell completion. The shell passes the words of the command
/// line, starting with the program's name and ending with the incomplete word. The command prints
/// one candidate per line: the word, a tab and its meaning. No output means a file name or a new
/// name.

namespace orv::tool {
namespace {

struct Candidate {
  std::string word;
  std::string meaning;
};
using Candidates = std::vector<Candidate>;

/// The words before the incomplete one, as the command has them.
struct Context {
  const CLI::App* command = nullptr;
  std::vector<std::string> arguments;                       ///< without a name
  std::vector<std::pair<std::string, std::string>> values;  ///< of options, by their long name
  std::string word;                                         ///< the incomplete one

  std::string ValueOf(std::string_view option) const {
    std::string value;
    for (const auto& [name, given] : values) {
      if (name == option) value = given;
    }
    return value;
  }
};

Candidates Printers(const Context&) {
  std::vector<PrinterFacts> printers;
  ListSpoolerPrinters(&printers);
  Candidates candidates;
  for (const PrinterFacts& printer : printers) {
    candidates.push_back({WideToUtf8(printer.printerName), Printable(printer.driverName)});
  }
  return candidates;
}

Candidates Rules(const Context&) {
  Candidates candidates;
  for (const CheckRule& rule : kCheckRules) {
    candidates.push_back({WideToUtf8(rule.name), WideToUtf8(rule.summary)});
  }
  return candidates;
}

/// The rules whose findings can be left out.
Candidates IgnorableRules(const Context&) {
  Candidates candidates;
  for (const CheckRule& rule : kCheckRules) {
    if (!AllowanceFault(rule.name).empty()) continue;
    candidates.push_back({WideToUtf8(rule.name), WideToUtf8(rule.summary)});
  }
  return candidates;
}

Candidates Families(const Context&) {
  Candidates candidates;
  ForEachFamily([&](auto family) {
    std::string name = WideToUtf8(family.name);
    if (std::ranges::find(candidates, name, &Candidate::word) == candidates.end()) {
      candidates.push_back({std::move(name), "family " + std::to_string(family.id)});
    }
  });
  return candidates;
}

/// The items of the printer that the words name, or else the common ones.
Candidates Items(const Context& context) {
  StockOwner owner;
  owner.printer = context.ValueOf("printer");
  owner.isCommon = owner.printer.empty();
  Candidates candidates;
  for (const StockItem& item : ItemsAt(ItemsPath(owner))) {
    candidates.push_back({WideToUtf8(item.DisplayName), WideToUtf8(FormatGuid(item.guid))});
  }
  return candidates;
}

/// The keys below the key that the incomplete word names, up to its last backslash.
Candidates RegistryKeys(const Context& context) {
  const std::wstring word = ToWide(context.word);
  const std::size_t end = word.rfind(L'\\');
  if (end == word.npos) return {{"HKCU\\", "the user's settings"}, {"HKLM\\", "the machine's"}};
  HKEY root = nullptr;
  std::wstring path;
  RegistryKey key;
  std::vector<std::wstring> names;
  if (!ParseKeyPath(word.substr(0, end), &root, &path) ||
      key.Open(root, path, RegistryAccess::kRead) != ERROR_SUCCESS ||
      ListRegistryKeys(key.get(), &names) != ERROR_SUCCESS) {
    return {};
  }
  Candidates candidates;
  for (const std::wstring& name : names) {
    candidates.push_back({WideToUtf8(word.substr(0, end + 1) + name), ""});
  }
  return candidates;
}

/// The names of the values of the key before the incomplete word.
Candidates RegistryNames(const Context& context) {
  HKEY root = nullptr;
  std::wstring path;
  RegistryKey key;
  std::vector<NamedRegistryValue> values;
  if (!ParseKeyPath(ToWide(context.arguments.front()), &root, &path) ||
      key.Open(root, path, RegistryAccess::kRead) != ERROR_SUCCESS ||
      ListRegistryValues(key.get(), &values) != ERROR_SUCCESS) {
    return {};
  }
  Candidates candidates;
  for (const NamedRegistryValue& value : values) candidates.push_back({WideToUtf8(value.name), ""});
  return candidates;
}

Candidates ConfigKeys(const Context&) {
  Candidates candidates;
  for (const ConfigKey& key : AllConfigKeys()) {
    candidates.push_back(
        {WideToUtf8(key.key), key.meaning != nullptr ? WideToUtf8(key.meaning) : std::string()});
  }
  return candidates;
}

Candidates Fields(const Context&) {
  Candidates candidates;
  for (const RecordField& field : RecordFields()) {
    candidates.push_back({field.name, field.meaning});
  }
  return candidates;
}

Candidates Values(const Context&) {
  Candidates candidates;
  for (const StockValue& value : StockValues()) candidates.push_back({WideToUtf8(value.name), ""});
  return candidates;
}

/// Where the words for a value come from, by the command's group and the name of the value in its
/// help. Before "=VALUE" or "=NUMBER" the words are followed by an equals sign.
struct Source {
  std::string_view group;   ///< empty for any
  std::string_view option;  ///< its long name; empty for any
  std::string_view value;
  Candidates (*find)(const Context& context);
};
constexpr Source kSources[] = {
    {"", "", "PRINTER", Printers},
    {"config", "ignore", "RULE", IgnorableRules},
    {"config", "", "RULE", Rules},
    {"config", "", "KIND", Families},
    {"config", "", "KEY", ConfigKeys},
    {"config", "", "KEY=VALUE", ConfigKeys},
    {"stock", "", "ITEM", Items},
    {"stock", "", "NAME=NUMBER", Values},
    {"devmode", "", "FIELD=VALUE", Fields},
    {"registry", "", "KEY", RegistryKeys},
    {"registry", "", "NAME", RegistryNames},
};

const CLI::Option* FindPositional(const CLI::App* command, std::size_t index) {
  const CLI::Option* last = nullptr;
  for (const CLI::Option* option : command->get_options()) {
    if (!option->get_positional()) continue;
    last = option;
    if (index-- == 0) return option;
  }
  return last != nullptr && last->get_expected_max() > 1 ? last : nullptr;
}

/// The name of an option's value in help texts, without brackets.
std::string PlainValueName(const CLI::Option* option) {
  std::string name = IsArgument(option) ? option->get_name(true) : ValueName(option);
  std::erase_if(name, [](char letter) { return letter == '[' || letter == ']'; });
  return name;
}

/// The words for one value of an option or argument.
Candidates WordsFor(const CLI::Option* option, const Context& context) {
  const std::string name = PlainValueName(option);
  const CLI::App* const parent = context.command->get_parent();  // none for the program itself
  const std::string group = parent != nullptr ? parent->get_name() : "";
  for (const Source& source : kSources) {
    const bool isOption = source.option.empty() || option->check_lname(std::string(source.option));
    if (source.value != name || !isOption || (!source.group.empty() && source.group != group)) {
      continue;
    }
    Candidates candidates = source.find(context);
    if (name.find('=') != name.npos) {
      for (Candidate& candidate : candidates) candidate.word += '=';
    }
    return candidates;
  }
  Candidates candidates;
  for (const std::string& word : AllowedWords(option)) candidates.push_back({word, ""});
  return candidates;
}

/// The values of an option or argument; in a list with commas, for the last value.
Candidates ValuesOf(const CLI::Option* option, const Context& context) {
  const std::size_t comma =
      option->get_delimiter() == ',' ? context.word.rfind(',') : std::string::npos;
  const std::string before = comma == std::string::npos ? "" : context.word.substr(0, comma + 1);
  Candidates candidates;
  try {
    candidates = WordsFor(option, context);
  } catch (const CLI::RuntimeError&) {
    // What the words before name cannot be read; running the command says why.
  }
  for (Candidate& candidate : candidates) candidate.word.insert(0, before);
  return candidates;
}

Candidates OptionsOf(const CLI::App* command) {
  Candidates candidates;
  for (const CLI::Option* option : command->get_options()) {
    if (option->get_lnames().empty()) continue;
    candidates.push_back({"--" + option->get_lnames().front(), option->get_description()});
  }
  return candidates;
}

Candidates CommandsOf(const CLI::App* group) {
  Candidates candidates;
  for (const CLI::App* command : group->get_subcommands(nullptr)) {
    if (command->get_group().empty()) continue;  // hidden
    candidates.push_back({command->get_name(), command->get_description()});
  }
  return candidates;
}

/// Candidates for the last word after `orv help`: the commands below the words before it.
Candidates CompleteHelp(CLI::App* program, std::span<const std::string> words) {
  CLI::App* group = program;
  for (const std::string& word : words.first(words.size() - 1)) {
    group = FindCommand(group, word);
    if (group == nullptr) return {};
  }
  return CommandsOf(group);
}

/// Reads the words before the incomplete one. Returns the option whose value comes next, if any.
const CLI::Option* ReadWords(CLI::App* program, std::span<const std::string> words,
                             Context* context) {
  CLI::App* command = program;
  const CLI::Option* waiting = nullptr;  // for a value
  const auto take = [&](std::string value) {
    context->values.emplace_back(waiting->get_lnames().front(), std::move(value));
    // Only lists take more values.
    const bool isList = waiting->get_items_expected_max() > 1 && waiting->get_allow_extra_args();
    if (!isList) waiting = nullptr;
  };
  for (const std::string& word : words) {
    if (word.starts_with('-') && word.size() > 1) {
      // A value can follow in the same word: --name=value, -nvalue.
      const bool isLong = word.starts_with("--");
      const std::size_t end = isLong ? word.find('=') : 2;
      const CLI::Option* const option = command->get_option_no_throw(word.substr(0, end));
      waiting = option != nullptr && option->get_items_expected_max() > 0 ? option : nullptr;
      if (waiting != nullptr && end < word.size()) take(word.substr(isLong ? end + 1 : end));
    } else if (waiting != nullptr) {
      take(word);
    } else if (CLI::App* const next = FindCommand(command, word)) {
      command = next;
    } else {
      context->arguments.push_back(word);
    }
  }
  context->command = command;
  return waiting;
}

/// Candidates for the last word.
Candidates Complete(CLI::App* program, std::span<const std::string> words) {
  if (words.size() > 1 && words.front() == "help") return CompleteHelp(program, words.subspan(1));
  Context context;
  const CLI::Option* const waiting = ReadWords(program, words.first(words.size() - 1), &context);
  context.word = words.back();
  if (context.word.starts_with('-') && context.word.size() > 1) {
    const std::size_t equals = context.word.find('=');
    if (equals == context.word.npos) return OptionsOf(context.command);
    const std::string name = context.word.substr(0, equals);
    const CLI::Option* const option = context.command->get_option_no_throw(name);
    if (option == nullptr) return {};
    context.word.erase(0, equals + 1);
    Candidates candidates = ValuesOf(option, context);
    for (Candidate& candidate : candidates) candidate.word.insert(0, name + "=");
    return candidates;
  }
  if (waiting != nullptr) return ValuesOf(waiting, context);
  if (context.word == "-") return OptionsOf(context.command);
  const std::size_t count = context.arguments.size();
  const CLI::Option* const positional = FindPositional(context.command, count);
  if (positional != nullptr) return ValuesOf(positional, context);
  return count == 0 ? CommandsOf(context.command) : Candidates();
}

/// Whether the shell can read a word from its line: a tab and a line end would divide a name that
/// has them.
bool IsOneWord(const std::string& word) { return Printable(Utf8ToWide(word)) == word; }

}  // namespace

void AddCompleteCommand(CLI::App* program) {
  CLI::App* command = program->add_subcommand("complete");
  command->group("");  // for shells, not for people
  command->set_help_flag();
  command->prefix_command();
  command->callback([program, command] {
    const std::vector<std::string> words = RemainingArguments(command);
    if (words.size() < 2) return;
    std::string lines;
    for (Candidate& candidate : Complete(program, std::span(words).subspan(1))) {
      if (!candidate.word.starts_with(words.back()) || !IsOneWord(candidate.word)) continue;
      std::ranges::replace(candidate.meaning, '\n', ' ');
      lines += candidate.word + '\t' + candidate.meaning + '\n';
    }
    Print(lines);
  });
}

}  // namespace orv::tool
