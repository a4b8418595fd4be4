#pragma once

#include <CLI/CLI.hpp>

/// The command groups of the orv program. Each function adds a group with its commands to the
/// program. A command runs from its callback; `Finish` and `Fail` end it with an `ExitCode`.

namespace orv::tool {

void AddConfigCommands(CLI::App* program);
void AddDevmodeCommands(CLI::App* program);
void AddDoctorCommand(CLI::App* program);
void AddPageCommands(CLI::App* program);
void AddPrintersCommands(CLI::App* program);
void AddRegistryCommands(CLI::App* program);
void AddReportCommand(CLI::App* program);
void AddStockCommands(CLI::App* program);
void AddLogCommands(CLI::App* program);
void AddXmlCommands(CLI::App* program);

/// `orv config check`, `diff`, `new`, `schema`, `set` and `sign`, in the group `config`.
void AddConfigCheckCommand(CLI::App* group);
void AddConfigDiffCommand(CLI::App* group);
void AddConfigNewCommand(CLI::App* group);
void AddConfigSchemaCommand(CLI::App* group);
void AddConfigSetCommand(CLI::App* group);
void AddConfigSignCommand(CLI::App* group);

/// `orv devmode default`, `text`, `bytes`, `set` and `convert`, in the group `devmode`.
void AddRecordWriters(CLI::App* group);

/// `orv page preview`, `compare-methods`, `legibility` and `threshold`, in the group `page`.
void AddPagePreviewCommand(CLI::App* group);
void AddPageMethodsCommand(CLI::App* group);
void AddPageExplainCommand(CLI::App* group);
void AddPageLegibilityCommand(CLI::App* group);
void AddPageThresholdCommand(CLI::App* group);

/// Hidden commands: `orv help`, the interface for shell completion, and the manual page generator.
void AddHelpCommand(CLI::App* program);
void AddCompleteCommand(CLI::App* program);
void AddManualCommand(CLI::App* program);

/// `orv printers config`, in the group `printers`.
void AddPrinterConfigCommand(CLI::App* printers);

}  // namespace orv::tool
