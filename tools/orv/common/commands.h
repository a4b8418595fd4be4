#pragma once

#include <CLI/CLI.hpp>

#include "tools/orv/common/output.h"

/// The command families of the orv program. Each function adds its group with all its commands to
/// the program; a command runs from its callback and ends with an `ExitCode` by throwing
/// `CLI::RuntimeError` when it is not `kDone`.

namespace orv::tool {

void AddConfigCommands(CLI::App* program);
void AddDevmodeCommands(CLI::App* program);
void AddPageCommands(CLI::App* program);
void AddPrintersCommands(CLI::App* program);
void AddRegistryCommands(CLI::App* program);
void AddReportCommand(CLI::App* program);
void AddStockCommands(CLI::App* program);
void AddLogCommands(CLI::App* program);
void AddXmlCommands(CLI::App* program);

/// `orv config check`, `diff` and `new`, part of the group of configuration files.
void AddConfigCheckCommand(CLI::App* group);
void AddConfigDiffCommand(CLI::App* group);
void AddConfigNewCommand(CLI::App* group);

/// `orv page preview`, `compare-methods` and `legibility`, part of the pages' group.
void AddPagePreviewCommand(CLI::App* group);
void AddPageMethodsCommand(CLI::App* group);
void AddPageLegibilityCommand(CLI::App* group);

/// Hidden commands: the help by a word, what the shells' completion asks, and the manual pages.
void AddHelpCommand(CLI::App* program);
void AddCompleteCommand(CLI::App* program);
void AddManualCommand(CLI::App* program);

/// `orv printers config`, part of the printers' group.
void AddPrinterConfigCommand(CLI::App* printers);

}  // namespace orv::tool
