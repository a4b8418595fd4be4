#include "tools/orv/common/commands.h"
#include "orv/platform/spooler.h"
#include "orv/platform/types.h"
#include "tools/orv/common/library_use.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/output.h"

namespace orv::tool {
namespace {

int ExitCodeOf(LONG error) {
  switch (error) {
    case ERROR_INVALID_PRINTER_NAME:
    case ERROR_PRINTER_ALREADY_EXISTS:
      return kFindings;
    default:
      return kUnreadable;
  }
}

void AddAddCommand(CLI::App* group) {
  struct Options {
    std::string name;
    std::string driver;
  };
  auto options = std::make_shared<Options>();
  CLI::App* command = group->add_subcommand("add", "Add a printer to the spooler");
  command->add_option("NAME", options->name, "The printer's name")->required();
  command->add_option("DRIVER", options->driver, "The name of its driver")->required();
  command->footer(
      "Examples:\n"
      "  orv printers add \"Label 3\" \"ORV-LX 4.3/300P\"\n"
      "  orv printers add \"Packing line 2\" \"ORV-DX 600+\"");
  command->callback([options] {
    const std::wstring name = ToWide(options->name);
    if (name.empty() || options->driver.empty()) {
      Fail(kUsage, L"a printer has a name and a driver");
    }
    const LONG error = AddSpoolerPrinter(name, ToWide(options->driver));
    if (error != ERROR_SUCCESS) {
      Fail(ExitCodeOf(error), L"cannot add the printer \"" + name + L"\"" +
                                  FailingStore({HKEY_LOCAL_MACHINE}, error) + L": " +
                                  DescribeError(error));
    }
  });
}

void AddListCommand(CLI::App* group) {
  auto asJson = std::make_shared<bool>(false);
  CLI::App* command = group->add_subcommand("list", "Show the spooler's printers");
  AddJsonFlag(command, asJson.get());
  command->footer("Examples:\n  orv printers list\n  orv printers list --json");
  command->callback([asJson] {
    std::vector<PrinterFacts> printers;
    const LONG error = ListSpoolerPrinters(&printers);
    if (error != ERROR_SUCCESS) {
      Fail(kUnreadable, L"cannot list the printers" + FailingStore({HKEY_LOCAL_MACHINE}, error) +
                            L": " + DescribeError(error));
    }
    if (*asJson) {
      JsonWriter json;
      json.BeginArray();
      for (const PrinterFacts& printer : printers) {
        json.BeginObject();
        json.Member("name", printer.printerName);
        json.Member("driver", printer.driverName);
        json.EndObject();
      }
      json.EndArray();
      return Print(json.Text());
    }
    Table table({L"NAME", L"DRIVER"});
    for (const PrinterFacts& printer : printers) {
      table.Add({printer.printerName, printer.driverName});
    }
    Print(table.TakeText());
  });
}

void AddRemoveCommand(CLI::App* group) {
  auto name = std::make_shared<std::string>();
  CLI::App* command = group->add_subcommand("remove", "Remove a printer from the spooler");
  AddPrinterArgument(command, name.get());
  command->footer(
      "Examples:\n"
      "  orv printers remove \"Label 1\"\n"
      "  orv printers remove \"Label 2\" && orv printers list");
  command->callback([name] {
    const LONG error = RemoveSpoolerPrinter(ToWide(*name));
    if (error != ERROR_SUCCESS) {
      Fail(ExitCodeOf(error),
           L"cannot remove the printer \"" + ToWide(*name) + L"\"" +
               FailingStore({HKEY_LOCAL_MACHINE}, error) + L": " + DescribeError(error) +
               (error == ERROR_INVALID_PRINTER_NAME ? DidYouMeanPrinter(ToWide(*name)) : L""));
    }
  });
}

}  // namespace

void AddPrintersCommands(CLI::App* program) {
  CLI::App* group = program->add_subcommand("printers", "The spooler's printers");
  group->require_subcommand(1);
  group->footer(
      "Examples:\n"
      "  orv printers add \"Label 3\" \"ORV-LX 4.3/300P\"\n"
      "  orv printers list");
  AddAddCommand(group);
  AddListCommand(group);
  AddRemoveCommand(group);
  AddPrinterConfigCommand(group);
}

}  // namespace orv::tool
