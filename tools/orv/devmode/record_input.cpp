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

tagOEMDEV ReadRecord(const std::string& file, const RecordOptions& options, bool* isText) {
  const std::wstring path = ToWide(file);
  std::string bytes;
  if (!ReadFile(path, &bytes)) Fail(kUnreadable, CannotRead(path));
  std::optional<tagOEMDEV> defaults;
  if (!options.defaults.empty()) defaults = DefaultsOf(options.defaults, options.configFolder);
  return ParseRecord(bytes, path, defaults ? &*defaults : nullptr, isText);
}

}  // namespace orv::tool
