#include "tools/orv/common/commands.h"

#include <iostream>
#include <new>

#include "orv/version.h"
#include "platform/console.h"
#include "tools/orv/common/command_line.h"
#include "tools/orv/common/outcome.h"
#include "tools/orv/common/output.h"

int main(int argc, char** argv) {
  using namespace orv::tool;

  CLI::App program("Printer configuration, settings, pages and logs of the label-printer driver.",
                   "orv");
  SetHelpFormat(&program);
  program.require_subcommand(1);
  program.allow_windows_style_options(false);  // arguments such as /list/item are not options
  program.set_version_flag("--version", "orv " ORV_VERSION, "Print the version and exit");
  program.footer(
      "Exit codes: 0 success, 1 findings, 2 wrong command line, 3 a file or a setting could not "
      "be\n"
      "read or written.\n"
      "orv help COMMAND is the same as orv COMMAND --help.\n"
      "Examples:\n  orv config check orv_conf_lx300.xml\n  orv page split --help");
  AddConfigCommands(&program);
  AddDevmodeCommands(&program);
  AddStockCommands(&program);
  AddPrintersCommands(&program);
  AddRegistryCommands(&program);
  AddLogCommands(&program);
  AddXmlCommands(&program);
  AddPageCommands(&program);
  AddReportCommand(&program);
  AddOutcomeFlags(&program);
  AddHelpCommand(&program);
  AddCompleteCommand(&program);
  AddManualCommand(&program);

  const std::vector<std::string> arguments = orv::CommandLineArguments(argc, argv);
  try {
    // The parser takes the arguments last one first.
    program.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    PrintOutcome(&program);
  } catch (const CLI::RuntimeError& error) {
    return error.get_exit_code();
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) {  // the help was asked for
      program.exit(error);
      return std::cout.flush() ? kDone : kUnreadable;
    }
    PrintMessage(DescribeMistake(&program, arguments, error));
    return kUsage;
  } catch (const std::bad_alloc&) {
    PrintMessage(L"there is not enough memory");
    return kUnreadable;
  }
  return kDone;
}
