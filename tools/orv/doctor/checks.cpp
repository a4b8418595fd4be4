#include "tools/orv/doctor/checks.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <optional>
#include <utility>

#include "config/config_loader.h"
#include "config/values.h"
#include "devmode/explanation.h"
#include "devmode/field_text.h"
#include "devmode/record_fields.h"
#include "logging/log_file.h"
#include "orv/config/config.h"
#include "orv/config/config_parser.h"
#include "orv/devmode/oemdev.h"
#include "orv/devmode/stock_items.h"
#include "orv/logging/logger.h"
#include "orv/platform/registry.h"
#include "orv/platform/spooler.h"
#include "orv/platform/types.h"
#include "orv/settings/settings.h"
#include "orv/text/format.h"
#include "orv/xml/line_index.h"
#include "platform/error_text.h"
#include "platform/files.h"
#include "platform/letter_case.h"
#include "platform/registry_store.h"
#include "tools/orv/common/config_folders.h"
#include "tools/orv/common/input.h"
#include "tools/orv/common/lengths.h"
#include "tools/orv/common/library_use.h"
#include "tools/orv/common/output.h"
#include "tools/orv/config/check.h"
#include "tools/orv/config/check_rules.h"
#include "tools/orv/config/text.h"
#include "tools/orv/devmode/record_text.h"

namespace orv::tool {
namespace {

/// What the checks look at, read once.
struct Examined {
  DoctorOptions options;
  RegistryStoreFacts user;
  RegistryStoreFacts machine;
  std::vector<PrinterFacts> printers;
  LONG listError = ERROR_SUCCESS;
  std::vector<StockItem> common;  ///< the stock items of all printers
  LONG commonError = ERROR_SUCCESS;
  std::optional<PrinterFacts> printer;  ///< the one to examine, if the spooler has it
  std::vector<std::wstring> folders;    ///< of configuration files
  std::wstring configPath;              ///< empty if none of them has the printer's
  std::optional<std::wstring> configText;
  std::optional<Config> config;
  std::wstring configProblem;  ///< why there is no text or no configuration
};

/// The result of a check without its name.
struct Result {
  Health health;
  std::wstring finding;
  std::wstring advice = {};
};

std::wstring CountOf(std::size_t count, std::wstring_view one, std::wstring_view more = {}) {
  return CountText(static_cast<std::int64_t>(count), one, more);
}

// --- The settings stores ---

constexpr wchar_t kOtherFolder[] = L", or name another folder in ORV_REGISTRY_DIR";

/// What to do about a store that cannot be read.
struct StoreAdvice {
  LONG error;
  const wchar_t* advice;
};
constexpr StoreAdvice kStoreAdvice[] = {
    {ERROR_ACCESS_DENIED, L"ask its owner or the administrator for read access"},
    {ERROR_BUSY, L"wait, or end the program that holds it"},
    {ERROR_BADDB, L"restore it from a backup, or move it away to begin with an empty one"},
};

Result StoreFault(const std::wstring& store, const RegistryStoreFacts& facts) {
  if (facts.isInterrupted) {
    return {Health::kWarning, store + L": a program was ended while it was writing",
            L"orv printers list, or any other command, undoes the write"};
  }
  if (facts.isFolder) {
    return {Health::kError, store + L": a folder is in the place of the file",
            std::wstring(L"move the folder away") + kOtherFolder};
  }
  const auto* const known = std::ranges::find(kStoreAdvice, facts.error, &StoreAdvice::error);
  const std::wstring advice =
      known != std::end(kStoreAdvice) ? known->advice : L"check the disk and the path";
  return {Health::kError, store + L": " + DescribeError(facts.error), advice + kOtherFolder};
}

Result StoreState(HKEY hive, const RegistryStoreFacts& facts) {
  const bool isMissing = facts.error == ERROR_FILE_NOT_FOUND;
  const std::wstring store =
      RegistryStoreName(hive) + (facts.owner.empty() ? L"" : L" (owner: " + facts.owner + L")");
  if (facts.error != ERROR_SUCCESS && !isMissing) return StoreFault(store, facts);
  if (!facts.brokenLink.empty()) {
    return {Health::kError,
            store + L": cannot be created: the symbolic link " + facts.brokenLink +
                L" leads to a place that does not exist",
            std::wstring(L"make it lead to an existing folder, or remove it") + kOtherFolder};
  }
  const std::wstring state = store + (isMissing ? L": nothing stored yet" : L": readable");
  if (facts.isWritable) return {Health::kOk, state + (isMissing ? L"" : L" and writable")};
  if (hive == HKEY_LOCAL_MACHINE) {
    return {Health::kOk, state + L"; only the administrator may write it"};
  }
  return {Health::kWarning, state + L", but not writable",
          std::wstring(L"make the file and its folder writable") + kOtherFolder};
}

std::optional<Result> UserSettings(const Examined& examined) {
  return StoreState(HKEY_CURRENT_USER, examined.user);
}

std::optional<Result> MachineSettings(const Examined& examined) {
  return StoreState(HKEY_LOCAL_MACHINE, examined.machine);
}

/// The result of a check that needs the settings and cannot read them. An interrupted write is not
/// a fault: it will be undone.
Result WithoutSettings(const Examined& examined, const std::wstring& what, LONG error) {
  const bool isInterrupted = examined.user.isInterrupted || examined.machine.isInterrupted;
  return {isInterrupted ? Health::kWarning : Health::kError,
          what + (isInterrupted ? L" until the interrupted write is undone"
                                : L": " + DescribeError(error)),
          L"see the settings above"};
}

// --- The log ---

constexpr wchar_t kSetLogSetting[] =
    L"orv registry set \"HKCU\\Software\\orv Printer Driver\\Test\" ";

bool IsFolder(const std::wstring& path) {
  std::error_code error;
  return !path.empty() && std::filesystem::is_directory(ToPath(path), error);
}

/// Whether a folder that is missing can be created: its first parent that exists decides.
bool CanCreateFolder(const std::wstring& folder) {
  std::filesystem::path path = ToPath(folder);
  std::error_code error;
  while (path.has_relative_path() && !std::filesystem::exists(path, error)) {
    path = path.parent_path();
  }
  return CanCreateFiles(FromPath(path));
}

/// The first log setting that the library ignores, if any.
std::optional<Result> IgnoredLogSetting() {
  for (const wchar_t* const name :
       {kLogPathSetting, L"WriteLogToDebug", L"WriteLogToFile", L"LogLevel", L"LogGroups"}) {
    for (const HKEY hive : {HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE}) {
      RegistryKey key;
      RegistryValue value;
      key.Open(hive, std::wstring(kSettingsKey) + L'\\' + kLogSettings, RegistryAccess::kRead);
      if (GetRegistryValue(key.get(), name, &value) != ERROR_SUCCESS) continue;
      const bool isText = value.type == REG_SZ || value.type == REG_EXPAND_SZ;
      if (isText && value.data.size() <= kMaxSettingSize) break;
      const std::wstring fault =
          isText ? Format(L" is read as empty: it has more than %zu bytes", kMaxSettingSize)
                 : L" is ignored: it is not a text (REG_SZ)";
      return Result{Health::kWarning, name + fault,
                    std::wstring(kSetLogSetting) + name + L" VALUE"};
    }
  }
  return {};
}

/// The sources of `#SOURCE#SOURCE#`, of which everything is logged.
std::wstring SourcesText(const std::wstring& groups) {
  std::wstring text;
  std::size_t start = groups.starts_with(L'#') ? 1 : groups.npos;
  for (std::size_t end; (end = groups.find(L'#', start)) != groups.npos; start = end + 1) {
    if (end > start) text += (text.empty() ? L"" : L", ") + groups.substr(start, end - start);
  }
  return text;
}

/// The levels of a mask in words; empty for none.
std::wstring LevelsText(const std::wstring& setting) {
  constexpr std::pair<int, const wchar_t*> kLevels[] = {{eLogLevelError, L"errors"},
                                                        {eLogLevelWarning, L"warnings"},
                                                        {eLogLevelInfo, L"information"},
                                                        {eLogLevelTrace, L"traces"}};
  const int mask = setting.empty() ? int{eLogLevelError} : ToInt(setting);
  std::wstring text;
  for (const auto& [level, name] : kLevels) {
    if ((mask & level) != 0) text += (text.empty() ? L"" : L", ") + std::wstring(name);
  }
  return text;
}

/// What is wrong with the settings that choose entries, or which entries they choose.
Result LogChoice() {
  const std::wstring level = ReadSetting(kLogSettings, L"LogLevel");
  const std::wstring groups = ReadSetting(kLogSettings, L"LogGroups");
  const std::wstring levels = LevelsText(level);
  const std::wstring sources = SourcesText(groups);
  if (std::optional<Result> ignored = IgnoredLogSetting()) return *std::move(ignored);
  if (!groups.empty() && (sources.empty() || !groups.ends_with(L'#'))) {
    return {Health::kWarning,
            L"LogGroups has a name that is not between number signs: " + Quoted(groups),
            std::wstring(kSetLogSetting) + L"LogGroups \"#DevMode#Config#\""};
  }
  if (levels.empty() && sources.empty()) {
    return {Health::kWarning, L"nothing is logged: LogLevel is " + Quoted(level),
            std::wstring(kSetLogSetting) + L"LogLevel 1 logs errors"};
  }
  const std::wstring all = sources.empty() ? L"" : L"everything of " + sources;
  return {Health::kOk, levels + (levels.empty() || all.empty() ? L"" : L", and ") + all};
}

/// The folder that the log goes to.
Result LogFolderState(const std::wstring& configured) {
  const std::wstring name = std::wstring(kSetLogSetting) + L"LogPath FOLDER names another one";
  std::wstring folder = IsFolder(configured) ? configured : std::wstring();
  const std::wstring missing = MissingLogFolder();
  if (folder.empty() && !missing.empty() && CanCreateFolder(missing)) {
    return {Health::kOk, missing + L", created with the first entry"};
  }
  const std::vector<std::wstring> usual = LogFolders();
  const auto found = std::ranges::find_if(usual, IsFolder);
  if (folder.empty() && found != usual.end()) folder = *found;
  if (folder.empty()) {
    return {Health::kError, L"none of the folders exists: " + AnyOf(usual),
            L"create one, or " + name};
  }
  if (!CanCreateFiles(folder)) {
    return {Health::kError, folder + L": no file can be created there",
            L"ask for write access, or " + name};
  }
  return {Health::kOk, folder};
}

std::optional<Result> Log(const Examined& examined) {
  std::wstring configured;
  const LONG error = ReadSetting(kLogSettings, kLogPathSetting, &configured);
  if (error != ERROR_SUCCESS && error != ERROR_FILE_NOT_FOUND) {
    return WithoutSettings(examined, L"its settings cannot be read", error);
  }
  const std::wstring toFile = ReadSetting(kLogSettings, L"WriteLogToFile");
  if (!toFile.empty() && toFile != L"1") {
    return Result{Health::kWarning, L"no file is written: WriteLogToFile is " + Quoted(toFile),
                  std::wstring(kSetLogSetting) + L"WriteLogToFile 1"};
  }
  Result result = LogFolderState(configured);
  if (result.health != Health::kOk) return result;
  if (!configured.empty() && !IsFolder(configured)) {
    return Result{Health::kWarning,
                  L"LogPath is not a folder: " + configured + L"; used instead: " + result.finding,
                  L"create the folder, or change LogPath"};
  }
  const Result choice = LogChoice();
  if (choice.health != Health::kOk) return choice;
  result.finding += L"; logged: " + choice.finding;
  return result;
}

// --- The spooler ---

/// Whether a printer's driver is of this family: by its name, or because it has a configuration.
bool IsOurs(const PrinterFacts& printer, const Examined& examined) {
  constexpr std::wstring_view kMaker = L"ORV";
  return UpperCase(printer.driverName).starts_with(kMaker) ||
         !FolderWith(ConfigFileName(printer.driverName), examined.folders).empty();
}

std::optional<Result> Printers(const Examined& examined) {
  if (examined.listError != ERROR_SUCCESS) {
    return WithoutSettings(examined, L"cannot be listed", examined.listError);
  }
  if (!examined.options.printer.empty()) return {};
  const auto ours = static_cast<std::size_t>(std::ranges::count_if(
      examined.printers, [&](const PrinterFacts& printer) { return IsOurs(printer, examined); }));
  if (ours == 0) {
    return Result{Health::kWarning, L"no printer with a driver of this family",
                  L"orv printers add NAME DRIVER"};
  }
  return Result{Health::kOk, CountOf(ours, L"printer")};
}

std::optional<Result> Printer(const Examined& examined) {
  if (examined.listError != ERROR_SUCCESS) return {};
  if (!examined.printer) {
    const std::wstring& name = examined.options.printer;
    return Result{
        Health::kError, L"there is no printer " + Quoted(name) + DidYouMeanPrinter(name),
        L"orv printers list shows all; orv printers add " + Quoted(name) + L" DRIVER adds it"};
  }
  const bool isUsers = examined.printer->owner == PrinterOwner::kUser;
  return Result{Health::kOk, examined.printer->printerName + L": driver " +
                                 examined.printer->driverName +
                                 (isUsers ? L", of this user alone" : L"")};
}

// --- The configuration ---

std::optional<Result> Configuration(const Examined& examined) {
  if (!examined.printer) return {};
  if (examined.configPath.empty()) {
    const std::wstring& driver = examined.printer->driverName;
    const std::wstring folder = examined.options.configFolder.empty()
                                    ? L"its folder in ORV_CONFIG_DIR or with --config-dir"
                                    : L"another folder with --config-dir";
    return Result{Health::kError, ConfigFileName(driver) + L" is not in " + AnyOf(examined.folders),
                  L"put it there, or name " + folder + L"; orv config new --driver " +
                      Quoted(driver) + L" begins a new one"};
  }
  if (!examined.configText) {
    return Result{Health::kError, examined.configProblem,
                  L"make it readable, or install the driver's file again"};
  }
  if (!examined.config) {
    return Result{Health::kError, examined.configProblem,
                  L"orv config check " + Quoted(examined.configPath)};
  }
  const std::wstring& model = examined.config->device.model.modelName;
  return Result{Health::kOk, examined.configPath + (model.empty() ? L": a model without a name"
                                                                  : L": model " + model)};
}

std::optional<Result> Digest(const Examined& examined) {
  if (!examined.config) return {};
  const std::wstring& stated = examined.config->fileInfo.sha256;
  const std::wstring sign = L"orv config sign " + Quoted(examined.configPath);
  if (stated.empty()) return Result{Health::kWarning, L"the configuration is not signed", sign};
  if (ConfigDigest(*examined.configText, stated) != stated) {
    return Result{Health::kWarning, L"the configuration was changed after it was signed",
                  L"if the change is wanted: " + sign};
  }
  return Result{Health::kOk, L"matches the configuration"};
}

std::optional<Result> Findings(const Examined& examined) {
  if (!examined.configText) return {};
  std::vector<Finding> findings =
      CheckConfig(*examined.configText, FileNameOf(examined.configPath));
  // The digest has a row of its own.
  std::erase_if(findings, [](const Finding& finding) {
    return finding.rule->name == L"digest" || finding.rule->name == L"not-signed";
  });
  if (findings.empty()) return Result{Health::kOk, L"none in the configuration"};
  const auto isError = [](const Finding& finding) {
    return finding.rule->severity == Severity::kError;
  };
  const auto error = std::ranges::find_if(findings, isError);
  const Finding& first = error != findings.end() ? *error : findings.front();
  return Result{error != findings.end() ? Health::kError : Health::kWarning,
                CountOf(findings.size(), L"finding") +
                    Format(L", the first in line %d: ",
                           LineIndex(*examined.configText).Find(first.offset).line) +
                    first.text,
                L"orv config check " + Quoted(examined.configPath)};
}

std::optional<Result> ResolutionOf(const Examined& examined) {
  if (!examined.config) return {};
  const GeneralSettings& settings = examined.config->device.generalSettings;
  const int x = settings.resolutionDpiX;
  const int y = settings.resolutionDpiY;
  const std::wstring check = L"orv config check " + Quoted(examined.configPath);
  if (x <= 0 || y <= 0) {
    return Result{Health::kError, Format(L"%d x %d dpi in the configuration", x, y), check};
  }
  const std::wstring text = x == y ? Format(L"%d dpi", x) : Format(L"%d x %d dpi", x, y);
  if (examined.configText->find(L"resolutionDpi") == std::wstring::npos) {
    return Result{Health::kWarning, text + L" is assumed: the configuration does not state it",
                  L"add resolutionDpiX and resolutionDpiY to generalSettings"};
  }
  return Result{Health::kOk, text};
}

// --- Stock items ---

/// Why a printer does not take an item's size; empty if it does.
std::wstring SizeFault(const Label& label, const StockItem& item) {
  const auto fault = [](DWORD stored, int min, int max, const wchar_t* dimension) {
    const auto size = static_cast<int>(stored);
    if (size >= min && size <= max) return std::wstring();
    return LengthText(size) + dimension + L", but the printer's labels are " + LengthText(min) +
           L" to " + LengthText(max) + dimension;
  };
  std::wstring text = fault(item.PaperWidth, label.widthMin, label.widthMax, L" wide");
  if (text.empty()) text = fault(item.PaperLength, label.heightMin, label.heightMax, L" long");
  return text;
}

/// The first item that users can choose although the printer does not take its size; null without
/// one.
const StockItem* FirstUnfit(const std::vector<StockItem>& items, const Label& label) {
  const auto found = std::ranges::find_if(items, [&label](const StockItem& item) {
    return item.Disabled == 0 && !SizeFault(label, item).empty();
  });
  return found != items.end() ? &*found : nullptr;
}

std::optional<Result> StockItems(const Examined& examined) {
  if (!examined.printer) return {};
  const std::wstring& printer = examined.printer->printerName;
  std::vector<StockItem> own;
  LONG error = ReadStockItems(StockItemsPath(printer, examined.printer->driverName), &own);
  if (error == ERROR_SUCCESS) error = examined.commonError;
  if (error != ERROR_SUCCESS) return WithoutSettings(examined, L"cannot be read", error);
  const std::wstring counts =
      Format(L"%zu of the printer, %zu common", own.size(), examined.common.size());
  if (!examined.config) return Result{Health::kOk, counts};
  const Label& label = examined.config->device.label;
  const StockItem* unfit = FirstUnfit(own, label);
  const std::wstring owner = unfit != nullptr ? L" --printer " + Quoted(printer) : L" --common";
  if (unfit == nullptr) unfit = FirstUnfit(examined.common, label);
  if (unfit == nullptr) return Result{Health::kOk, counts};
  return Result{Health::kWarning, Quoted(unfit->DisplayName) + L" is " + SizeFault(label, *unfit),
                L"orv stock edit " + Quoted(FormatGuid(unfit->guid)) + owner + L" changes it"};
}

// --- The record ---

/// Why the driver refuses a record; empty if it does not.
std::wstring RefusalOf(const tagOEMDEV& record) {
  if (record.dwSignature != tagOEMDEV::kSignature) {
    return L"the signature is not that of this driver's records";
  }
  if (record.dwVersion == tagOEMDEV::kVersion) return {};
  return Format(L"its version is %u, and the driver accepts only %u", record.dwVersion,
                tagOEMDEV::kVersion);
}

/// The fields that a validation would change.
std::vector<std::wstring> CorrectedFields(const Config& config, const tagOEMDEV& record) {
  std::vector<std::wstring> names;
  const Merged merged = ValidateWithSteps(config, record);
  for (const Correction& correction : merged.corrections) {
    if (!ChangesNothing(correction)) names.push_back(Widen(correction.check->field->name));
  }
  return names;
}

/// Why the values of a record are not compared with those that a printer offers.
std::wstring WhyNotCompared(const Examined& examined) {
  if (examined.options.printer.empty()) return L"name a printer to compare its values with";
  return L"its values are not examined without the printer's configuration";
}

std::optional<Result> Record(const Examined& examined) {
  const std::wstring& path = examined.options.record;
  if (path.empty()) return {};
  constexpr wchar_t kGetRecord[] = L"get it as docs/record-text.md describes";
  std::string bytes;
  if (!ReadFile(path, &bytes)) {
    return Result{Health::kError, CannotRead(path), L"check the path and your access to it"};
  }
  tagOEMDEV defaults{};
  if (examined.config) FillDefaults(*examined.config, &defaults);
  std::wstring problem;
  const std::optional<ParsedRecord> parsed =
      ParseRecord(bytes, InputName(path), examined.config ? &defaults : nullptr, &problem,
                  examined.options.printer);
  if (!parsed) return Result{Health::kError, problem, kGetRecord};
  const std::wstring name =
      InputName(path) + (parsed->places.empty() ? std::wstring() : L", " + parsed->places.front()) +
      (parsed->places.size() > 1 ? Format(L", one of %zu", parsed->places.size()) : L"") + L": ";
  if (const std::wstring refusal = RefusalOf(parsed->record); !refusal.empty()) {
    return Result{Health::kError, name + refusal, kGetRecord};
  }
  if (!examined.config) return Result{Health::kOk, name + L"valid; " + WhyNotCompared(examined)};
  const std::vector<std::wstring> fields = CorrectedFields(*examined.config, parsed->record);
  if (fields.empty()) return Result{Health::kOk, name + L"the printer offers every value"};
  std::wstring text = name + CountOf(fields.size(), L"value is", L"values are") + L" corrected: ";
  for (std::size_t i = 0; i < fields.size(); ++i) text += (i > 0 ? L", " : L"") + fields[i];
  return Result{Health::kWarning, text,
                L"orv devmode check " + Quoted(path) + L" --config " + Quoted(examined.configPath)};
}

// --- All checks ---

enum class Subject { kSystem, kPrinter, kRecord };

struct Check {
  Subject subject;
  const wchar_t* name;
  std::optional<Result> (*run)(const Examined& examined);  ///< nothing if it does not apply
};
constexpr Check kChecks[] = {
    {Subject::kSystem, L"user settings", UserSettings},
    {Subject::kSystem, L"machine settings", MachineSettings},
    {Subject::kSystem, L"log", Log},
    {Subject::kSystem, L"printers", Printers},
    {Subject::kPrinter, L"printer", Printer},
    {Subject::kPrinter, L"configuration", Configuration},
    {Subject::kPrinter, L"digest", Digest},
    {Subject::kPrinter, L"findings", Findings},
    {Subject::kPrinter, L"stock items", StockItems},
    {Subject::kPrinter, L"resolution", ResolutionOf},
    {Subject::kRecord, L"record", Record},
};

void RunAll(Subject subject, const Examined& examined, std::vector<CheckRow>* rows) {
  for (const Check& check : kChecks) {
    if (check.subject != subject) continue;
    if (std::optional<Result> result = check.run(examined)) {
      rows->push_back(
          {result->health, check.name, std::move(result->finding), std::move(result->advice)});
    }
  }
}

/// Reads the configuration of a printer, which the checks then examine instead of an earlier one.
void LookAt(const PrinterFacts& printer, Examined* examined) {
  examined->printer = printer;
  examined->configPath.clear();
  examined->configProblem.clear();
  examined->configText.reset();
  examined->config.reset();
  const std::wstring file = ConfigFileName(printer.driverName);
  const std::wstring folder = FolderWith(file, examined->folders);
  if (folder.empty()) return;
  examined->configPath = folder + kPathSeparator + file;
  std::wstring text;
  if (!ReadConfigText(examined->configPath, &text, &examined->configProblem)) return;
  Config config;
  if (ParseConfig(examined->configPath, text, &config, &examined->configProblem)) {
    examined->config = std::move(config);
  }
  examined->configText = std::move(text);
}

/// One row for a printer: the first of its worst results.
CheckRow BriefRow(const Examined& examined) {
  const std::wstring name = examined.printer->printerName;
  std::vector<CheckRow> rows;
  RunAll(Subject::kPrinter, examined, &rows);
  const CheckRow& worst = *std::ranges::max_element(rows, {}, &CheckRow::health);
  const std::wstring check = L"printer " + Quoted(name);
  if (worst.health == Health::kOk) return {Health::kOk, check, examined.configPath, {}};
  return {worst.health, check, worst.check + L": " + worst.finding,
          DoctorCommand(name, examined.options.configFolder) + L" shows all of it"};
}

}  // namespace

std::vector<CheckRow> RunChecks(const DoctorOptions& options) {
  KeepRegistryUnchanged();
  CLogger::m_nLoglevel = 0;
  Examined examined;
  examined.options = options;
  examined.user = ExamineRegistryStore(HKEY_CURRENT_USER);
  examined.machine = ExamineRegistryStore(HKEY_LOCAL_MACHINE);
  examined.folders = ConfigFolders(options.configFolder);
  examined.listError = ListSpoolerPrinters(&examined.printers);
  examined.commonError = ReadStockItems(kCommonStockItemsPath, &examined.common);
  std::vector<CheckRow> rows;
  if (options.printer.empty()) {
    RunAll(Subject::kSystem, examined, &rows);
    Examined brief = examined;
    for (const PrinterFacts& printer : examined.printers) {
      if (!IsOurs(printer, examined)) continue;
      LookAt(printer, &brief);
      rows.push_back(BriefRow(brief));
    }
  } else {
    const auto found = std::ranges::find_if(examined.printers, [&](const PrinterFacts& facts) {
      return EqualIgnoringCase(facts.printerName, options.printer);
    });
    if (found != examined.printers.end()) LookAt(*found, &examined);
    RunAll(Subject::kSystem, examined, &rows);
    RunAll(Subject::kPrinter, examined, &rows);
  }
  RunAll(Subject::kRecord, examined, &rows);
  return rows;
}

const wchar_t* NameOf(Health health) {
  constexpr const wchar_t* kNames[] = {L"ok", L"warning", L"error"};
  return kNames[static_cast<int>(health)];
}

}  // namespace orv::tool
