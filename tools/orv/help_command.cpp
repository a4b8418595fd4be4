#include <memory>

#include "tools/orv/commands.h"
#include "tools/orv/mistakes.h"
#include "tools/orv/output.h"

/// `orv help`, for those who do not ask with `--help`.

namespace orv::tool {

void AddHelpCommand(CLI::App* program) {
  auto words = std::make_shared<std::vector<std::string>>();
  CLI::App* command = program->add_subcommand("help");
  command->group("");  // says what --help says
  command->add_option("COMMAND", *words);
  command->callback([program, words] {
    CLI::App* asked = program;
    std::string name = program->get_name();
    for (const std::string& word : *words) {
      CLI::App* const next = FindCommand(asked, word);
      if (next == nullptr) Fail(kUsage, UnknownCommand(asked, word));
      asked = next;
      name += " " + word;
    }
    Print(asked->get_formatter()->make_help(asked, name, CLI::AppFormatMode::Normal));
  });
}

}  // namespace orv::tool
