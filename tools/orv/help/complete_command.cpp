#include <algorithm>
#include <span>
#include <utility>

#include "base/utf8.h"
#include "orv/platform/spooler.h"
#include "tools/orv/common/command_line.h"
#include "tools/orv/common/commands.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/output.h"

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

const CLI::Option* FindPositional(const CLI::App* command, std::size_t index) {
  const CLI::Option* last = nullptr;
  for (const CLI::Option* option : command->get_options()) {
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

/// The values of an option or argument: printers, or the words that it is limited to.
Candidates ValuesOf(const CLI::Option* option) {
  if (option->check_name("PRINTER") || option->check_lname("printer")) return Printers();
  Candidates candidates;
  for (const std::string& word : AllowedWords(option)) candidates.push_back({word, ""});
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

/// Candidates for the last word.
Candidates Complete(CLI::App* program, std::span<const std::string> words) {
  if (words.size() > 1 && words.front() == "help") return CompleteHelp(program, words.subspan(1));
  CLI::App* command = program;
  const CLI::Option* waiting = nullptr;  // for its value
  std::size_t positionals = 0;
  for (const std::string& word : words.first(words.size() - 1)) {
    if (std::exchange(waiting, nullptr) != nullptr) continue;
    if (word.starts_with('-')) {
      const CLI::Option* const option = command->get_option_no_throw(word);
      if (option != nullptr && option->get_items_expected_max() > 0) waiting = option;
    } else if (CLI::App* const next = FindCommand(command, word)) {
      command = next;
    } else {
      ++positionals;
    }
  }
  if (waiting != nullptr) return ValuesOf(waiting);
  if (words.back().starts_with('-')) return OptionsOf(command);
  const CLI::Option* const positional = FindPositional(command, positionals);
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
