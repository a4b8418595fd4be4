#include <chrono>
#include <memory>

#include "orv/config/config.h"
#include "orv/config/config_parser.h"
#include "orv/crypto/crypto_helper.h"
#include "orv/platform/types.h"
#include "orv/text/format.h"
#include "platform/modules.h"
#include "tools/orv/common/commands.h"
#include "tools/orv/common/config_folders.h"
#include "tools/orv/common/input.h"
#include "tools/orv/common/lengths.h"
#include "tools/orv/common/library_use.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/outcome.h"
#include "tools/orv/common/output.h"
#include "tools/orv/config/record.h"
#include "tools/orv/config/text.h"

namespace orv::tool {
namespace {

void PrintConfig(const Config& config, bool asJson) {
  Print(asJson ? ConfigAsJson(config) : ConfigAsText(config));
}

void AddShowCommand(CLI::App* group) {
  struct Options {
    std::string file;
    bool asJson = false;
  };
  auto options = std::make_shared<Options>();
  CLI::App* command = group->add_subcommand("show", "Show the content of a configuration file");
  AddInputFile(command, "FILE", &options->file, "A configuration file, plain or protected")
      ->required();
  AddInchFlag(command);
  AddJsonFlag(command, &options->asJson);
  command->footer(
      "Examples:\n  orv config show orv_conf_lx300.xml\n  orv config show --json "
      "orv_conf_lx300.xml");
  command->callback([options] {
    const std::wstring path = ToWide(options->file);
    PrintConfig(LoadConfig(path), options->asJson);
  });
}

/// `protect` and `unprotect` differ in the direction only.
struct Conversion {
  const char* name;
  const char* description;
  const char* footer;
  ConvertFunction* convert;
  bool fromProtected;
  const wchar_t* refusal;
};

void AddConversion(CLI::App* group, const Conversion& conversion) {
  struct Options {
    std::string in;
    std::string out;
  };
  auto options = std::make_shared<Options>();
  CLI::App* command = group->add_subcommand(conversion.name, conversion.description);
  AddInputFile(command, "IN", &options->in, "The file to read")->required();
  AddOutputFile(command, "-o,--output,OUT", &options->out,
                "The file to write, which may be IN itself with --force")
      ->required();
  command->footer(conversion.footer);
  command->callback([options, conversion] {
    const std::wstring in = ToWide(options->in);
    const std::wstring out = ToWide(options->out);
    if (IsProtectedFile(in) != conversion.fromProtected)
      Fail(kFindings, InputName(in) + conversion.refusal);
    std::string bytes;
    if (!ReadFile(in, &bytes)) Fail(kUnreadable, CannotRead(in));
    SaveFile(out, Converted(conversion.convert, bytes, InputName(in)));
  });
}

/// The result and the duration of a load, to show the effect of the cache.
struct TimedLoad {
  Config* config = nullptr;
  std::int64_t nanoseconds = 0;
};

TimedLoad LoadFor(HANDLE printer, LibraryUse* library) {
  TimedLoad load;
  const auto start = std::chrono::steady_clock::now();
  CConfigParser::Load(printer, &load.config, library->cache(), library->client());
  load.nanoseconds = std::chrono::nanoseconds(std::chrono::steady_clock::now() - start).count();
  return load;
}

}  // namespace

void AddConfigCommands(CLI::App* program) {
  CLI::App* group = program->add_subcommand("config", "Printer configuration files");
  group->require_subcommand(1);
  group->footer(
      "Examples:\n"
      "  orv config check orv_conf_lx300.xml\n"
      "  orv config show --json orv_conf_lx300.xml");
  AddShowCommand(group);
  AddConfigCheckCommand(group);
  AddConfigDiffCommand(group);
  AddConfigNewCommand(group);
  AddConfigSchemaCommand(group);
  AddConfigSetCommand(group);
  AddConfigSignCommand(group);
  AddConversion(group,
                {"protect", "Write the protected form of a file",
                 "Examples:\n  orv config protect plain.xml -o orv_conf_lx300.xml\n"
                 "  orv config sign - < plain.xml | orv config protect - -o orv_conf_lx300.xml",
                 &ProtectBytes, false, L" is already protected"});
  AddConversion(group, {"unprotect", "Write the plain form of a protected file",
                        "Examples:\n  orv config unprotect orv_conf_lx300p.xml -o plain.xml\n"
                        "  orv config unprotect orv_conf_lx300p.xml -o - | grep modelName",
                        &UnprotectBytes, true, L" is not protected"});
}

void AddPrinterConfigCommand(CLI::App* printers) {
  struct Options {
    std::string name;
    std::string folder;
    bool asJson = false;
    bool showRecord = false;
  };
  auto options = std::make_shared<Options>();
  CLI::App* command =
      printers->add_subcommand("config", "Show which configuration a printer uses, and load it");
  AddPrinterArgument(command, &options->name);
  AddConfigFolder(command, &options->folder);
  command->add_flag("--all,--record", options->showRecord, "Print the whole configuration instead");
  AddInchFlag(command);
  AddJsonFlag(command, &options->asJson);
  command->footer(
      "Loads the file twice, as a driver would, the second time from the cache.\n"
      "Examples:\n  orv printers config \"Label 1\"\n"
      "  orv printers config \"Label 1\" --config-dir examples --all --json");
  command->callback([options] {
    const std::wstring name = ToWide(options->name);
    const OpenPrinter printer(name);
    LibraryUse library(ToWide(options->folder));
    wchar_t driver[kMaxModulePath];
    CConfigParser::GetPrinterDriverName(printer.get(), driver, kMaxModulePath, library.client());
    const std::wstring path = library.FindConfigFile(printer.get());

    const TimedLoad first = LoadFor(printer.get(), &library);
    if (first.config == nullptr) {
      Fail(kFindings, L"the configuration of \"" + name + L"\" does not load: " + path +
                          L"\n     (for the reason, see " +
                          DoctorCommand(name, ToWide(options->folder)) + L" or orv config check)");
    }
    const TimedLoad second = LoadFor(printer.get(), &library);
    if (options->showRecord) return PrintConfig(*first.config, options->asJson);

    const bool fromCache = second.config == first.config;
    const std::wstring& model = first.config->device.model.modelName;
    if (options->asJson) {
      JsonWriter json;
      json.BeginObject();
      json.Member("printer", name);
      json.Member("driver", driver);
      json.Member("file", path);
      json.Member("model", model);
      json.Member("loadNanoseconds", first.nanoseconds);
      json.Member("secondFromCache", fromCache);
      json.Member("secondLoadNanoseconds", second.nanoseconds);
      json.EndObject();
      return Print(json.Text());
    }
    Table table;
    table.Add({L"printer", name});
    table.Add({L"driver", driver});
    table.Add({L"file", path});
    table.Add({L"model", model});
    table.Add({L"first load", Format(L"from the file, %lld us",
                                     static_cast<long long>(first.nanoseconds / 1000))});
    table.Add({L"second load",
               Format(fromCache ? L"from the cache, %lld ns" : L"from the file again, %lld ns",
                      static_cast<long long>(second.nanoseconds))});
    Print(table.TakeText());
  });
}

}  // namespace orv::tool
