#include "tools/orv/program.h"

#include <algorithm>
#include <filesystem>
#include <new>
#include <sstream>
#include <string>
#include <string_view>

#include "base/utf8.h"
#include "orv/crypto/encryption_aes.h"
#include "orv/platform/registry.h"
#include "orv/version.h"
#include "platform/console.h"
#include "platform/files.h"
#include "tools/orv/common/command_line.h"
#include "tools/orv/common/commands.h"
#include "tools/orv/common/general_options.h"
#include "tools/orv/common/input.h"
#include "tools/orv/common/outcome.h"
#include "tools/orv/common/output.h"
#include "tools/orv/common/progress.h"

namespace orv::tool {
namespace {

/// A command group, or a command without a group, and the function that adds it.
struct Group {
  std::string_view name;
  void (*add)(CLI::App* program);
};

/// In the order of the help.
constexpr Group kGroups[] = {{"config", AddConfigCommands},     {"devmode", AddDevmodeCommands},
                             {"stock", AddStockCommands},       {"printers", AddPrintersCommands},
                             {"registry", AddRegistryCommands}, {"log", AddLogCommands},
                             {"xml", AddXmlCommands},           {"page", AddPageCommands},
                             {"report", AddReportCommand},      {"doctor", AddDoctorCommand}};

constexpr char kVersionFlag[] = "--version";
constexpr char kVersion[] = "orv " ORV_VERSION;

/// Adds the group that the first argument names. Otherwise adds all groups: the help, completion
/// and suggestions for misspelt names need them. Adding all takes most of the time of a short run.
void AddGroups(CLI::App* program, const std::vector<std::string>& arguments) {
  const std::string_view first = arguments.empty() ? "" : std::string_view(arguments[0]);
  const auto* const named = std::ranges::find(kGroups, first, &Group::name);
  if (named != std::end(kGroups)) {
    named->add(program);
    return;
  }
  for (const Group& group : kGroups) group.add(program);
  AddHelpCommand(program);
  AddCompleteCommand(program);
  AddManualCommand(program);
}

}  // namespace

int RunProgram(int argc, char** argv) {
  const std::vector<std::string> arguments = CommandLineArguments(argc, argv);
  if (arguments == std::vector<std::string>{kVersionFlag}) {  // saves defining the options
    const std::string line = std::string(kVersion) + '\n';
    return WriteOutput(OutputStream::kResults, line) ? kDone : kUnreadable;
  }
  // The commands give the reason themselves.
  SetDiagnosticSink([](const char* line) { PrintDetail(std::wstring(Trim(ToWide(line), L"\n"))); });
  CLI::App program("Printer configuration, settings, pages and logs of the label-printer driver.",
                   "orv");
  SetHelpFormat(&program);
  program.require_subcommand(1);
  program.allow_windows_style_options(false);  // arguments such as /list/item are not options
  program.set_version_flag(kVersionFlag, kVersion, "Print the version and exit");
  program.footer(
      "Exit codes: 0 success, 1 findings, 2 wrong command line, 3 a file or a setting could not "
      "be\n"
      "read or written.\n"
      "orv help COMMAND is the same as orv COMMAND --help.\n"
      "Examples:\n  orv config check orv_conf_lx300.xml\n  orv page split --help");
  AddGroups(&program, arguments);
  AddOutcomeFlags(&program);
  AddGeneralOptions(&program);
  RefuseInvalidText(&program, arguments);

  const ProgressLine progress;
  const RegistrySnapshot request;  // each command is one request to the settings store
  try {
    program.parse(ParserArguments(&program, arguments));
    return PrintOutcome(&program);
  } catch (const CLI::RuntimeError& error) {
    if (const std::string message = error.what(); !message.empty()) {
      PrintMessage(Utf8ToWide(message));
    }
    return error.get_exit_code();
  } catch (const CLI::ParseError& error) {
    // Help was requested. After a misspelt command that of its group would not explain the mistake.
    std::string help = ShortHelp(&program, arguments, error);
    if (error.get_exit_code() == 0 && !NamesUnknownCommand(&program, arguments)) {
      std::ostringstream requested;  // standard output itself would change line ends on Windows
      program.exit(error, requested);
      help = requested.str();
    }
    if (!help.empty()) {
      if (WriteOutput(OutputStream::kResults, help)) return kDone;
      PrintMessage(L"cannot write standard output: " + FileErrorText());
      return kUnreadable;
    }
    PrintMessage(DescribeMistake(&program, arguments, error));
    return kUsage;
  } catch (const std::filesystem::filesystem_error& error) {
    // The library's functions for protected files throw if the size of a file cannot be read.
    PrintMessage(L"cannot read " + FromPath(error.path1()) + L": " + FileErrorText(error.code()));
    return kUnreadable;
  } catch (const std::bad_alloc&) {
    PrintMessage(L"there is not enough memory");
    return kUnreadable;
  }
}

}  // namespace orv::tool
