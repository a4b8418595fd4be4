#include <chrono>
#include <memory>
#include <optional>
#include <utility>

#include "base/utf8.h"
#include "config/config_loader.h"
#include "config/values.h"
#include "orv/config/config.h"
#include "orv/config/config_parser.h"
#include "orv/crypto/crypto_helper.h"
#include "orv/logging/logger.h"
#include "orv/platform/types.h"
#include "orv/text/format.h"
#include "orv/xml/markup.h"
#include "platform/files.h"
#include "platform/modules.h"
#include "tools/orv/common/commands.h"
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

using ConvertFunction = std::optional<std::string>(std::string_view);

/// The position of the digest in a document.
struct DigestPlace {
  std::size_t offset;  ///< of the value
  std::size_t length;
};

/// Finds the digest of a document and adds an empty one if it is missing; false when the document
/// has no property to add it after.
bool FindDigest(std::wstring* text, DigestPlace* place) {
  CMarkup xml(*text);
  if (!xml.FindElem(L"xmlData") || !xml.FindChildElem(L"fileInfo") || !xml.IntoElem() ||
      !xml.FindChildElem(L"properties") || !xml.IntoElem()) {
    return false;
  }
  bool found = false;
  std::size_t emptyTagEnd = 0;
  std::size_t last = 0;
  std::size_t lastEnd = 0;
  while (xml.FindChildElem(L"property")) {
    xml.IntoElem();
    last = static_cast<std::size_t>(xml.GetElemOffset());
    lastEnd = last + xml.GetSubDoc().size();
    if (EqualsIgnoringAsciiCase(xml.GetAttrib(L"name"), L"sha256")) {
      // The loader uses the last of several digests.
      const int content = xml.GetContentOffset();
      *place = {static_cast<std::size_t>(content), xml.GetElemContent().size()};
      emptyTagEnd = content < 0 ? lastEnd : 0;
      found = true;
    }
    xml.OutOfElem();
  }
  if (emptyTagEnd != 0) {
    // Split an empty-element tag into a start tag and an end tag.
    const std::size_t slash = text->rfind(L'/', emptyTagEnd);
    text->replace(slash, emptyTagEnd - slash, L"></property>");
    *place = {slash + 1, 0};
  }
  if (found) return true;
  if (lastEnd == 0) return false;
  // Add a line, indented like the property before it.
  const std::size_t line = text->find_last_not_of(L" \t", last - 1) + 1;
  const std::wstring start =
      L"\n" + text->substr(line, last - line) + L"<property name=\"sha256\">";
  text->insert(lastEnd, start + L"</property>");
  *place = {lastEnd + start.size(), 0};
  return true;
}

bool IsProtectedFile(const std::wstring& path) {
  std::string start;
  if (!ReadFile(path, &start, 0, kProtectedMarker.size())) {
    Fail(kUnreadable, L"cannot read " + InputName(path));
  }
  return start == kProtectedMarker;
}

/// Converts a file's bytes to the protected or plain form; ends the command on failure.
std::string Converted(ConvertFunction* convert, const std::string& bytes,
                      const std::wstring& name) {
  std::optional<std::string> converted = convert(bytes);
  if (!converted) {
    Fail(kUnreadable,
         name + (convert == &ProtectBytes ? L" cannot be encrypted; it may be too large"
                                          : L" cannot be decrypted"));
  }
  return *std::move(converted);
}

void AddSignCommand(CLI::App* group) {
  auto file = std::make_shared<std::string>();
  CLI::App* command = group->add_subcommand("sign", "Update the digest of a file");
  AddInputFile(command, "FILE", file.get(),
               "The configuration file to change; a protected one stays protected")
      ->required();
  command->footer(
      "With - for the file, standard input is signed and written to standard output.\n"
      "Examples:\n  orv config sign orv_conf_lx300.xml\n"
      "  orv config sign - < plain.xml > orv_conf_lx300.xml");
  command->callback([file] {
    const std::wstring path = ToWide(*file);
    const bool isProtected = IsProtectedFile(path);
    std::wstring text = LoadConfigText(path);
    if (text.find(kReplacement) != text.npos) {
      Fail(kFindings, path + L" contains bytes that are not UTF-8; signing would lose them");
    }
    if (CMarkup xml; !xml.SetDoc(text)) {
      Fail(kFindings, path + L": " + xml.GetError() + L" (see orv config check)");
    }
    DigestPlace place{};
    if (!FindDigest(&text, &place)) {
      Fail(
          kFindings,
          path +
              L" has no <xmlData><fileInfo><properties> with a <property> to add the digest after");
    }
    text.replace(place.offset, place.length, kDigestPlaceholder);
    text.replace(place.offset, std::size(kDigestPlaceholder) - 1, ConfigDigest(text, {}));
    std::string bytes = WideToUtf8(text);
    if (isProtected) bytes = Converted(&ProtectBytes, bytes, path);
    SaveFile(path, std::move(bytes));
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
  AddOutputFile(command, "OUT", &options->out, "The file to write, which may be the same one")
      ->required();
  command->footer(conversion.footer);
  command->callback([options, conversion] {
    const std::wstring in = ToWide(options->in);
    const std::wstring out = ToWide(options->out);
    if (IsProtectedFile(in) != conversion.fromProtected)
      Fail(kFindings, InputName(in) + conversion.refusal);
    std::string bytes;
    if (!ReadFile(in, &bytes)) Fail(kUnreadable, L"cannot read " + InputName(in));
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
  AddSignCommand(group);
  AddConversion(group, {"protect", "Write the protected form of a file",
                        "Examples:\n  orv config protect plain.xml orv_conf_lx300.xml\n"
                        "  orv config sign - < plain.xml | orv config protect - orv_conf_lx300.xml",
                        &ProtectBytes, false, L" is already protected"});
  AddConversion(group, {"unprotect", "Write the plain form of a protected file",
                        "Examples:\n  orv config unprotect orv_conf_lx300p.xml plain.xml\n"
                        "  orv config unprotect orv_conf_lx300p.xml - | grep modelName",
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
  command->add_flag("--record", options->showRecord, "Print the whole record instead");
  AddInchFlag(command);
  AddJsonFlag(command, &options->asJson);
  command->footer(
      "Loads the file twice, as a driver would, the second time from the cache.\n"
      "Examples:\n  orv printers config \"Label 1\"\n"
      "  orv printers config \"Label 1\" --config-dir examples --record --json");
  command->callback([options] {
    const std::wstring name = ToWide(options->name);
    const OpenPrinter printer(name);
    LibraryUse library(ToWide(options->folder));
    wchar_t driver[kMaxModulePath];
    wchar_t file[kMaxModulePath];
    CConfigParser::GetPrinterDriverName(printer.get(), driver, kMaxModulePath, library.client());
    CConfigParser::GetConfigXmlFilenameForPrinter(printer.get(), file, kMaxModulePath,
                                                  library.client());
    const std::wstring path = library.client()->m_stModuleFolder + kPathSeparator + file;

    const TimedLoad first = LoadFor(printer.get(), &library);
    if (first.config == nullptr) {
      Fail(kFindings, L"the configuration of \"" + name + L"\" does not load: " + path +
                          L"\n     (for the reason, see orv config check or orv log show)");
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
