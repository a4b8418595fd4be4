#include <algorithm>
#include <cctype>
#include <span>

#include "base/utf8.h"
#include "orv/platform/spooler.h"
#include "tools/orv/common/commands.h"
#include "tools/orv/common/mistakes.h"
#include "tools/orv/common/option_help.h"
#include "tools/orv/common/output.h"

/// What the shells ask when somebody wants a word completed. They hand over the command line's
/// words, from the program's name on, the last one as far as it is written, and get what may stand
/// there, one a line, with a tab and its meaning behind it. No line: the name of a file, or
/// something new.

namespace orv::tool {
namespace {

struct Candidate {
  std::string word;
  std::string meaning;
};
using Candidates = std::vector<Candidate>;

CLI::Option* FindPositional(CLI::App* command, std::size_t index) {
  CLI::Option* last = nullptr;
  for (CLI::Option* option : command->get_options()) {
    if (!option->get_positional()) continue;
    last = option;
    if (index-- == 0) return option;
  }
  return last != nullptr && last->get_expected_max() > 1 ? last : nullptr;
}

Candidates Printers() {
  std::vector<PrinterFacts> printers;
  ListSpoolerPrinters(&printers);
  Candidates candidates;
  for (const PrinterFacts& printer : printers) {
    candidates.push_back({WideToUtf8(printer.printerName), Printable(printer.driverName)});
  }
  return candidates;
}

/// What an option or argument takes: printers, or the words of its description that its own check
/// lets pass, which are those that it lists. Numbers there are only bounds.
Candidates ValuesOf(CLI::Option* option) {
  if (option->check_name("PRINTER") || option->check_lname("printer")) return Printers();
  if (ValueName(option) == "N") return {};  // any number
  const CLI::Validator* check = nullptr;
  try {
    check = option->get_validator(0);
  } catch (const CLI::OptionNotFound&) {
    return {};
  }
  Candidates candidates;
  std::string word;
  for (const char letter : option->get_description() + ' ') {
    if (std::isalnum(static_cast<unsigned char>(letter)) != 0 || letter == '-' || letter == '_') {
      word += letter;
      continue;
    }
    const bool isName = !word.empty() && std::isalpha(static_cast<unsigned char>(word[0])) != 0;
    if (isName && (*check)(word).empty()) candidates.push_back({word, ""});
    word.clear();
  }
  return candidates;
}

Candidates OptionsOf(CLI::App* command) {
  Candidates candidates;
  for (const CLI::Option* option : command->get_options()) {
    if (option->get_lnames().empty()) continue;
    candidates.push_back({"--" + option->get_lnames().front(), option->get_description()});
  }
  return candidates;
}

Candidates CommandsOf(CLI::App* group) {
  Candidates candidates;
  for (const CLI::App* command : group->get_subcommands(nullptr)) {
    if (command->get_group().empty()) continue;  // hidden
    candidates.push_back({command->get_name(), command->get_description()});
  }
  return candidates;
}

/// What may stand in the place of the last word.
Candidates Complete(CLI::App* command, std::span<const std::string> words) {
  if (words.size() > 1 && words.front() == "help") {
    for (const std::string& word : words.subspan(1, words.size() - 2)) {
      command = FindCommand(command, word);
      if (command == nullptr) return {};
    }
    return CommandsOf(command);
  }
  CLI::Option* waiting = nullptr;  // for its value
  std::size_t positionals = 0;
  for (const std::string& word : words) {
    const bool isLast = &word == &words.back();
    if (waiting != nullptr) {
      if (isLast) return ValuesOf(waiting);
      waiting = nullptr;
    } else if (word.starts_with('-')) {
      if (isLast) return OptionsOf(command);
      CLI::Option* const option = command->get_option_no_throw(word);
      if (option != nullptr && option->get_items_expected_max() > 0) waiting = option;
    } else if (isLast) {
      break;
    } else if (CLI::App* const next = FindCommand(command, word)) {
      command = next;
    } else {
      ++positionals;
    }
  }
  CLI::Option* const positional = FindPositional(command, positionals);
  if (positional != nullptr) return ValuesOf(positional);
  return positionals == 0 ? CommandsOf(command) : Candidates();
}

}  // namespace

void AddCompleteCommand(CLI::App* program) {
  CLI::App* command = program->add_subcommand("complete");
  command->group("");  // for shells, not for people
  command->set_help_flag();
  command->prefix_command();
  command->callback([program, command] {
    const std::vector<std::string> words = command->remaining();
    if (words.size() < 2) return;
    std::string lines;
    for (Candidate& candidate : Complete(program, std::span(words).subspan(1))) {
      if (!candidate.word.starts_with(words.back())) continue;
      std::ranges::replace(candidate.meaning, '\n', ' ');
      lines += candidate.word + '\t' + candidate.meaning + '\n';
    }
    Print(lines);
  });
}

}  // namespace orv::tool
