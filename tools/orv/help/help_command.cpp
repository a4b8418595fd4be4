#include <memory>

#include "tools/orv/common/command_line.h"
#include "tools/orv/common/commands.h"
#include "tools/orv/common/output.h"

/// `orv help COMMAND`, the same as `orv COMMAND --help`.

namespace orv::tool {

void AddHelpCommand(CLI::App* program) {
  auto words = std::make_shared<std::vector<std::string>>();
  CLI::App* command = program->add_subcommand("help", "Show the help of a command");
  command->group("");  // says what --help says
  command->add_option("COMMAND", *words, "The command's words");
  command->callback([program, words] {
    CLI::App* asked = program;
    std::string name = program->get_name();
    for (const std::string& word : *words) {
      CLI::App* const next = FindCommand(asked, word);
      if (next == nullptr) {
        const bool isGroup = !asked->get_subcommands(nullptr).empty();
        Fail(kUsage, (isGroup ? UnknownCommand(asked, word) : UnexpectedArguments({word})) +
                         L" (see " + ToWide(name) + L" --help)");
      }
      asked = next;
      name += " " + word;
    }
    Print(asked->get_formatter()->make_help(asked, name, CLI::AppFormatMode::Normal));
  });
}

}  // namespace orv::tool
