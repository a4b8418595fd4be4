#include "tools/orv/devmode/record_input.h"

#include <optional>

#include "tools/orv/common/input.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/output.h"
#include "tools/orv/devmode/record_merge.h"
#include "tools/orv/devmode/record_text.h"

namespace orv::tool {

void AddRecordOptions(CLI::App* command, RecordOptions* options) {
  command
      ->add_option("--defaults", options->defaults,
                   "Fill in this printer's defaults where a record's text does not name a field")
      ->check(NotEmpty("a name"))
      ->type_name("PRINTER");
  AddConfigFolder(command, &options->configFolder);
}

tagOEMDEV DefaultsOf(LibraryUse* library, const OpenPrinter& printer, const std::wstring& name,
                     const Config** config) {
  tagOEMDEV record{};
  std::wstring problem;
  const Config* const loaded = DefaultRecord(library, printer, name, &record, &problem);
  if (loaded == nullptr) Fail(kFindings, problem);
  if (config != nullptr) *config = loaded;
  return record;
}

tagOEMDEV DefaultsOf(const std::string& printer, const std::string& configFolder) {
  LibraryUse library(ToWide(configFolder));
  const std::wstring name = ToWide(printer);
  return DefaultsOf(&library, OpenPrinter(name), name);
}

tagOEMDEV ReadRecord(const std::string& file, const RecordOptions& options, RecordForm* form) {
  const std::wstring path = ToWide(file);
  std::string bytes;
  if (!ReadFile(path, &bytes)) Fail(kUnreadable, CannotRead(path));
  std::optional<tagOEMDEV> defaults;
  if (!options.defaults.empty()) defaults = DefaultsOf(options.defaults, options.configFolder);
  std::wstring problem;
  const auto parsed =
      ParseRecord(bytes, InputName(path), defaults ? &*defaults : nullptr, &problem);
  if (!parsed) Fail(kFindings, problem);
  if (form != nullptr) *form = parsed->form;
  if (!parsed->places.empty()) {
    std::wstring text = InputName(path) + L": the record is " + parsed->places.front();
    for (std::size_t i = 1; i < parsed->places.size(); ++i) {
      text += (i == 1 ? L"\n     (not used: the one " : L", the one ") + parsed->places[i];
    }
    PrintNote(text + (parsed->places.size() > 1 ? L")" : L""));
  }
  return parsed->record;
}

}  // namespace orv::tool
