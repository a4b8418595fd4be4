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

/// Whether the spooler lists a printer of this name as one of the user's own.
bool IsUsers(const std::wstring& name) {
  std::vector<PrinterFacts> printers;
  return ListSpoolerPrinters(&printers) == ERROR_SUCCESS &&
         std::ranges::any_of(printers, [&name](const PrinterFacts& facts) {
           return facts.owner == PrinterOwner::kUser && EqualIgnoringCase(facts.printerName, name);
         });
}

/// The part of a message that says which store fails when a printer is removed, and what to do.
std::wstring RemovalFailure(const std::wstring& name, LONG error) {
  const std::wstring unreadable = FailingStore({HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}, error);
  if (!unreadable.empty()) return unreadable + L": " + DescribeError(error);
  const HKEY hive = IsUsers(name) ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE;
  return StorePart(hive) + L": " + DescribeError(error) +
         AdministratorHint(hive, error,
                           L"orv printers add --user adds a printer that hides this one");
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
  if (owner == PrinterOwner::kMachine && IsUsers(name)) {
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
  auto given = std::make_shared<std::string>();
  CLI::App* command = group->add_subcommand("remove", "Remove a printer from the spooler");
  AddPrinterArgument(command, given.get());
  command->footer(
      "Examples:\n"
      "  orv printers remove \"Label 1\"\n"
      "  orv printers remove \"Label 2\" && orv printers list");
  command->callback([given] {
    const std::wstring name = ToWide(*given);
    const LONG error = RemoveSpoolerPrinter(name);
    if (error == ERROR_SUCCESS) return;
    const std::wstring reason = ExitCodeOf(error) == kUnreadable
                                    ? RemovalFailure(name, error)
                                    : L": " + DescribeError(error) + DidYouMeanPrinter(name);
    Fail(ExitCodeOf(error), L"cannot remove the printer \"" + name + L"\"" + reason);
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
