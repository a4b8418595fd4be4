#include <algorithm>

#include "orv/platform/registry.h"
#include "orv/platform/spooler.h"
#include "orv/platform/types.h"
#include "platform/error_text.h"
#include "platform/letter_case.h"
#include "tools/orv/common/commands.h"
#include "tools/orv/common/library_use.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/outcome.h"
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

const wchar_t* NameOf(PrinterOwner owner) {
  return owner == PrinterOwner::kUser ? L"user" : L"machine";
}

/// Adds a printer, for the user alone if the machine's settings cannot be written.
void AddNamedPrinter(const std::wstring& name, const std::wstring& driver, PrinterOwner requested) {
  PrinterOwner owner = requested;
  LONG error = AddSpoolerPrinter(name, driver, owner);
  if (error == ERROR_ACCESS_DENIED && owner == PrinterOwner::kMachine) {
    const LONG users = AddSpoolerPrinter(name, driver, PrinterOwner::kUser);
    if (users != ERROR_ACCESS_DENIED && users != ERROR_NOT_SUPPORTED) {
      owner = PrinterOwner::kUser;
      error = users;
    }
  }
  if (error == ERROR_SUCCESS && owner != requested) {
    PrintNote(L"only the administrator may write " + RegistryStoreName(HKEY_LOCAL_MACHINE) +
              L"; the printer was added for you alone, in " + RegistryStoreName(HKEY_CURRENT_USER));
  }
  if (error != ERROR_SUCCESS) {
    const HKEY hive = owner == PrinterOwner::kUser ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE;
    Fail(ExitCodeOf(error), L"cannot add the printer \"" + name + L"\"" +
                                (ExitCodeOf(error) == kUnreadable ? StorePart(hive) : L"") + L": " +
                                DescribeError(error));
  }
  NoteResult("owner", NameOf(owner), {});
  std::vector<PrinterFacts> printers;
  if (owner == PrinterOwner::kMachine && ListSpoolerPrinters(&printers) == ERROR_SUCCESS &&
      std::ranges::any_of(printers, [&name](const PrinterFacts& facts) {
        return facts.owner == PrinterOwner::kUser && EqualIgnoringCase(facts.printerName, name);
      })) {
    PrintNote(L"your own printer of this name hides it (orv printers remove removes yours)");
  }
}

void AddAddCommand(CLI::App* group) {
  struct Options {
    std::string name;
    std::string driver;
    bool isUsers = false;
  };
  auto options = std::make_shared<Options>();
  CLI::App* command = group->add_subcommand("add", "Add a printer to the spooler");
  command->add_option("NAME", options->name, "The printer's name")->required();
  command->add_option("DRIVER", options->driver, "The name of its driver")->required();
  command->add_flag("--user", options->isUsers,
                    "Add it for the current user alone, in the user's settings (not on Windows)");
  command->footer(
      "Users who may not write the machine's settings add printers for themselves alone. They "
      "hide\n"
      "the machine's printers of the same name.\n"
      "Examples:\n"
      "  orv printers add \"Label 3\" \"ORV-LX 4.3/300P\"\n"
      "  orv printers add --user \"Packing line 2\" \"ORV-DX 600+\"");
  command->callback([options] {
    const std::wstring name = ToWide(options->name);
    if (name.empty() || options->driver.empty()) {
      Fail(kUsage, L"a printer has a name and a driver");
    }
    AddNamedPrinter(name, ToWide(options->driver),
                    options->isUsers ? PrinterOwner::kUser : PrinterOwner::kMachine);
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
      Fail(kUnreadable, L"cannot list the printers" +
                            FailingStore({HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}, error) + L": " +
                            DescribeError(error));
    }
    if (*asJson) {
      JsonWriter json;
      json.BeginArray();
      for (const PrinterFacts& printer : printers) {
        json.BeginObject();
        json.Member("name", printer.printerName);
        json.Member("driver", printer.driverName);
        json.Member("owner", NameOf(printer.owner));
        json.EndObject();
      }
      json.EndArray();
      return Print(json.Text());
    }
    // Only some have printers of their own, so there is no column without them.
    const bool hasOwn = std::ranges::count(printers, PrinterOwner::kUser, &PrinterFacts::owner) > 0;
    std::vector<std::wstring> titles = {L"NAME", L"DRIVER"};
    if (hasOwn) titles.emplace_back(L"OWNER");
    Table table(std::move(titles));
    for (const PrinterFacts& printer : printers) {
      table.Add({printer.printerName, printer.driverName, hasOwn ? NameOf(printer.owner) : L""});
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
               FailingStore({HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}, error) + L": " +
               DescribeError(error) +
               AdministratorHint(HKEY_LOCAL_MACHINE, error,
                                 L"orv printers add --user adds a printer that hides this one") +
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
