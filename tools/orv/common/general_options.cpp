#include "tools/orv/common/general_options.h"

#include <optional>

#include "orv/platform/registry.h"
#include "orv/platform/types.h"
#include "platform/processes.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/output.h"

namespace orv::tool {
namespace {

constexpr EnvironmentVariable kEnvironment[] = {
    {"ORV_REGISTRY_DIR",
     "The folder of the settings stores, instead of the system's and the user's"},
    {"ORV_CONFIG_DIR", "The folder that is searched first for the configuration files of printers"},
    {"XDG_DATA_HOME", "The folder that contains the folder of the user's settings store"},
    {"XDG_STATE_HOME", "The folder that contains the user's folder of logs"},
    {"TMPDIR", "The folder for temporary files, and for logs if no other folder can be used"},
    {"HOME",
     "The user's own folder, which contains the data and state folders if their variables are not "
     "set"},
    {"NO_COLOR", "Turns colours off unless it is empty or --color is given"},
    {"TERM", "Colours need a terminal other than dumb"},
    {"COLUMNS", "The width of the terminal, to which tables are fitted"},
    {"ORV_CPU", "The instruction set to use at most: plain, sse41, avx2 or avx512"},
};

/// Prints what a command uses besides its files.
void PrintSurroundings() {
  for (const EnvironmentVariable& variable : kEnvironment) {
    // On Windows, narrow values lose characters that the process's code page lacks.
    const std::wstring reference = L'%' + ToWide(variable.name) + L'%';
    const std::wstring value = ExpandVariables(reference);
    if (value != reference) {
      PrintDetail(L"environment: " + ToWide(variable.name) + L"=" + value);
    }
  }
  PrintDetail(L"the user's settings: " + RegistryStoreName(HKEY_CURRENT_USER));
  PrintDetail(L"the machine's settings: " + RegistryStoreName(HKEY_LOCAL_MACHINE));
}

/// Sets the verbosity. The parser refuses two of them in one place only, and they can be at the
/// group and at its command.
void ChooseVerbosity(Verbosity verbosity) {
  static std::optional<Verbosity> chosen;
  if (chosen.value_or(verbosity) != verbosity) {
    throw CLI::ExcludesError("--quiet cannot be used with --verbose",
                             CLI::ExitCodes::ExcludesError);
  }
  chosen = verbosity;
  SetVerbosity(verbosity);
}

void AddTo(CLI::App* command) {
  static std::string colours;
  CLI::Option* const color =
      AllowWords(command->add_option("--color", colours,
                                     "Colours in results; the print colour of "
                                     "a page is --colour"),
                 {"auto", "always", "never"}, "CHOICE")
          ->default_str("auto")
          ->each([](const std::string& choice) {
            SetColours(choice == "always"  ? Colours::kAlways
                       : choice == "never" ? Colours::kNever
                                           : Colours::kAuto);
          });
  CLI::Option* const quiet = command->add_flag_callback(
      "-q,--quiet", [] { ChooseVerbosity(Verbosity::kQuiet); },
      "Print only results and errors: no notes, no progress");
  CLI::Option* const verbose = command->add_flag_callback(
      "-v,--verbose",
      [] {
        ChooseVerbosity(Verbosity::kVerbose);
        PrintSurroundings();
      },
      "Also print which files, folders, settings and environment variables are used");
  quiet->excludes(verbose);
  for (CLI::Option* const option : {color, quiet, verbose}) option->group(kGeneralOptions);
}

}  // namespace

void AddGeneralOptions(CLI::App* program) {
  AddTo(program);
  for (CLI::App* command : program->get_subcommands(nullptr)) {
    if (command->get_group().empty()) continue;  // hidden
    AddGeneralOptions(command);                  // groups contain no groups
  }
}

std::span<const EnvironmentVariable> EnvironmentVariables() { return kEnvironment; }

}  // namespace orv::tool
