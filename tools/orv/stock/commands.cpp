#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <optional>
#include <random>

#include "devmode/record_fields.h"
#include "orv/devmode/oemdev.h"
#include "orv/devmode/stock_items.h"
#include "orv/platform/registry.h"
#include "orv/platform/types.h"
#include "orv/text/format.h"
#include "tools/orv/common/commands.h"
#include "tools/orv/common/input.h"
#include "tools/orv/common/lengths.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/outcome.h"
#include "tools/orv/common/output.h"
#include "tools/orv/common/spelling.h"
#include "tools/orv/devmode/record_input.h"
#include "tools/orv/registry/reg_file.h"
#include "tools/orv/stock/import.h"
#include "tools/orv/stock/items.h"

namespace orv::tool {
namespace {

/// The options of the commands, first of all whose items they use.
struct StockOptions {
  StockOwner owner;
  std::string item;
  std::string name;
  std::optional<std::string> newName;
  std::string guid;
  std::string file;
  std::string from = "defaults";
  RecordOptions record;
  std::optional<double> width;
  std::optional<double> length;
  std::vector<std::string> values;
  bool asJson = false;
};

void AddValues(CLI::App* command, StockOptions* options) {
  command
      ->add_option("--width", options->width,
                   "The label's width, in mm, or in inches with the suffix in")
      ->transform(ToMillimetres(kMaxStockSize));
  command
      ->add_option("--length", options->length,
                   "The label's length, in mm, or in inches with the suffix in")
      ->transform(ToMillimetres(kMaxStockSize));
  command->add_option("--set", options->values, "Another value, as the registry names it")
      ->type_name("NAME=NUMBER");
}

constexpr char kValuesHelp[] =
    "Values: SpeedInMmPerSec Darkness Darkness2 PaperWidth PaperLength UnprintableLeft\n"
    "UnprintableRight UnprintableTop UnprintableBottom SensorType GapDistance IgnorePaperEnd\n"
    "Rotation Mirror Invert TopSameAsBottom BackfeedMode BackfeedSpeed PrintMode NumberCopies\n"
    "RibbonSaver SingleBuffer IgnoreLabelPosition Disabled OffsetX OffsetY LengthScaling;\n"
    "lengths in thousandths of a millimetre, or with the suffix mm or in.\n";

/// The item that a command names by its GUID or its display name; ends the command if there is
/// not exactly one.
StockItem FindItem(const std::wstring& path, const std::wstring& key) {
  const GUID guid = ParseGuid(key);
  const std::vector<StockItem> all = ItemsAt(path);
  std::vector<StockItem> found = all;
  std::erase_if(found, [&](const StockItem& item) {
    return IsZeroGuid(guid) ? item.DisplayName != key || IsZeroGuid(item.guid)
                            : FormatGuid(item.guid) != FormatGuid(guid);
  });
  if (found.empty()) {
    std::vector<std::wstring_view> names;
    for (const StockItem& item : all) names.push_back(item.DisplayName);
    Fail(kFindings, L"there is no stock item \"" + key + L"\"" + DidYouMean(key, names));
  }
  if (found.size() > 1) {
    Fail(kFindings, L"several stock items are named \"" + key + L"\"; use the GUID");
  }
  return found.front();
}

/// A value as the record interprets it; every length can be negative.
std::int64_t NumberOf(const StockItem& item, const StockValue& value) {
  const DWORD bits = item.*value.field;
  const RecordField* const field = FieldOf(value);
  const bool isSigned =
      IsStockLength(value) || (field != nullptr && field->kind == FieldKind::kSigned);
  return isSigned ? std::int64_t{static_cast<std::int32_t>(bits)} : std::int64_t{bits};
}

/// The value that an argument of --set names.
const StockValue& NamedValue(const std::wstring& argument, const std::wstring& name) {
  const StockValue* const value = FindStockValue(name);
  if (value != nullptr) return *value;
  std::vector<std::wstring_view> names;
  for (const StockValue& known : StockValues()) names.push_back(known.name);
  Fail(kUsage,
       L"--set takes NAME=NUMBER with the name of a value: " + argument + DidYouMean(name, names));
}

/// The stored bits of a number with an optional sign; nothing if it is not a number that fits.
std::optional<std::uint32_t> SignedBits(std::wstring_view number) {
  const bool isNegative = number.starts_with(L'-');
  if (isNegative) number.remove_prefix(1);
  std::uint32_t bits = 0;
  if (!ParseNumber(number, &bits) || (isNegative && bits > 0x80000000)) return std::nullopt;
  return isNegative ? 0 - bits : bits;
}

void SetNumber(StockItem* item, const StockValue& value, DWORD number, const std::wstring& given) {
  const std::wstring problem = LimitProblem(value, number);
  if (!problem.empty()) Fail(kUsage, given + L": " + problem);
  item->*value.field = number;
}

/// Sets one value from an argument such as "PaperWidth=50mm".
void SetValue(StockItem* item, const std::wstring& argument) {
  const std::size_t sign = argument.find(L'=');
  if (sign == argument.npos) Fail(kUsage, L"--set takes NAME=NUMBER, which is not " + argument);
  const StockValue& value = NamedValue(argument, argument.substr(0, sign));
  std::wstring number = argument.substr(sign + 1);
  if (const auto length = ParseThousandths(number); length && IsStockLength(value)) {
    number = std::to_wstring(*length);
  }
  const std::optional<std::uint32_t> bits = SignedBits(number);
  if (!bits) Fail(kUsage, L"--set takes NAME=NUMBER with a number: " + argument);
  SetNumber(item, value, *bits, L"--set " + argument);
}

void SetValues(StockItem* item, const StockOptions& options) {
  const auto setSize = [&](const wchar_t* name, const wchar_t* option,
                           const std::optional<double>& millimetres) {
    if (!millimetres) return;
    const StockValue& value = *FindStockValue(name);
    for (const std::string& argument : options.values) {
      const std::wstring wide = ToWide(argument);
      if (FindStockValue(wide.substr(0, wide.find(L'='))) != &value) continue;
      Fail(kUsage, std::wstring(option) + L" cannot be used with --set " + name);
    }
    SetNumber(item, value, static_cast<DWORD>(std::llround(*millimetres * 1000)), option);
  };
  setSize(L"PaperWidth", L"--width", options.width);
  setSize(L"PaperLength", L"--length", options.length);
  for (const std::string& argument : options.values) SetValue(item, ToWide(argument));
}

/// The record from which a new item starts.
tagOEMDEV FirstRecord(const StockOptions& options) {
  if (options.from != "defaults") return ReadRecord(options.from, options.record);
  const std::string& printer =
      options.record.defaults.empty() ? options.owner.printer : options.record.defaults;
  if (printer.empty()) {
    Fail(kUsage,
         L"name what a common item starts from: --defaults PRINTER for a printer's default "
         L"settings, or --from RECORD");
  }
  return DefaultsOf(printer, options.record.configFolder);
}

/// Sets a value to what a new item starts with.
void SetFirstValue(const StockValue& value, const tagOEMDEV& record, StockItem* item) {
  if (const RecordField* const field = FieldOf(value)) {
    item->*value.field = FieldBits(record, *field);
  } else if (value.field == &StockItem::NumberCopies) {
    item->NumberCopies = 1;
  }
}

/// A new item: the values of a record, the size and the values that the options name.
StockItem NewItem(const StockOptions& options) {
  StockItem item;
  SetValues(&item, options);  // checks the options first
  if (item.PaperWidth == 0 || item.PaperLength == 0) {
    Fail(kUsage, std::wstring(L"the label's size is missing: add ") +
                     (item.PaperWidth != 0    ? L"--length"
                      : item.PaperLength != 0 ? L"--width"
                                              : L"--width and --length"));
  }
  const tagOEMDEV record = FirstRecord(options);
  for (const StockValue& value : StockValues()) SetFirstValue(value, record, &item);
  SetValues(&item, options);
  return item;
}

/// Checks that a name is visible and not too long.
CString NameFrom(const std::string& argument) {
  CString name = ToWide(argument);
  if (name.empty() || name.size() > kMaxStockName) {
    Fail(kUsage, Format(L"a name has 1 to %d characters", static_cast<int>(kMaxStockName)));
  }
  return name;
}

/// A new unique GUID: random, of version 4.
GUID NewGuid() {
  std::random_device random;
  GUID guid{};
  guid.Data1 = random();
  guid.Data2 = static_cast<std::uint16_t>(random());
  guid.Data3 = static_cast<std::uint16_t>((random() & 0x0FFF) | 0x4000);
  for (std::uint8_t& byte : guid.Data4) byte = static_cast<std::uint8_t>(random());
  guid.Data4[0] = static_cast<std::uint8_t>((guid.Data4[0] & 0x3F) | 0x80);
  return guid;
}

void AddListCommand(CLI::App* group) {
  auto options = std::make_shared<StockOptions>();
  CLI::App* command = group->add_subcommand("list", "Show stock items");
  AddOwnerOptions(command, &options->owner);
  AddInchFlag(command);
  AddJsonFlag(command, &options->asJson, "Print JSON, with every value");
  command->footer(
      "A printer's list holds the common items too, each with the paper size that selects it.\n"
      "Examples:\n  orv stock list --printer \"Label 1\"\n  orv stock list --common --json");
  command->callback([options] {
    const bool isCommon = options->owner.isCommon;
    const std::wstring path = ItemsPath(options->owner);
    const std::vector<StockItem> items =
        isCommon ? ItemsAt(path) : ItemsOfPrinter(ToWide(options->owner.printer));
    JsonWriter json;
    Table table({L"PAPER SIZE", L"GUID", L"NAME", L"WIDTH", L"LENGTH", L"DISABLED"});
    json.BeginArray();
    int paperSize = kFirstStockPaperSize;
    for (const StockItem& item : items) {
      const std::wstring number = isCommon ? L"-" : std::to_wstring(paperSize);
      table.Add({number, FormatGuid(item.guid), item.DisplayName, StockLengthText(item.PaperWidth),
                 StockLengthText(item.PaperLength), item.Disabled != 0 ? L"yes" : L"no"});
      json.BeginObject();
      if (!isCommon) json.Member("paperSize", paperSize);
      json.Member("guid", FormatGuid(item.guid));
      json.Member("DisplayName", item.DisplayName);
      for (const StockValue& value : StockValues()) {
        const std::wstring_view name = value.name;
        json.Member(std::string(name.begin(), name.end()), NumberOf(item, value));
      }
      json.EndObject();
      ++paperSize;
    }
    json.EndArray();
    Print(options->asJson ? json.Text() : table.TakeText());
  });
}

void AddAddCommand(CLI::App* group) {
  auto options = std::make_shared<StockOptions>();
  CLI::App* command = group->add_subcommand("add", "Add a stock item and print its GUID");
  command->add_option("NAME", options->name, "The name that users see")->required();
  AddOwnerOptions(command, &options->owner);
  AddInputFile(
      command, "--from", &options->from,
      "Start from the values of this record, as bytes or text, or from a printer's defaults")
      ->type_name("RECORD|defaults")
      ->capture_default_str();
  AddRecordOptions(command, &options->record);
  command->get_option("--defaults")
      ->description(
          "The printer whose defaults are used; they also fill in what a record's text "
          "does not name")
      ->default_str("the items' printer");
  AddValues(command, options.get());
  command->add_option("--guid", options->guid, "The item's GUID")
      ->check(NotEmpty("a GUID"))
      ->type_name("GUID")
      ->default_str("a new one");
  command->footer(std::string(kValuesHelp) +
                  "A merge copies every value of an item. Those that are not named here are the "
                  "printer's\n"
                  "defaults, or those of the record; the size must be named.\n"
                  "Items are numbered in the order of their GUIDs: a new one can change the paper "
                  "sizes of others.\n"
                  "Examples:\n"
                  "  orv stock add \"Shelf 50 x 30\" --printer \"Label 1\" --width 50 --length 30 "
                  "--set Darkness=10\n"
                  "  orv stock add \"Shelf 2\" --printer \"Label 1\" --from label1.dev --width 50 "
                  "--length 20\n"
                  "  orv stock add \"Parcel 4 x 6\" --common --defaults \"Label 1\" --width 4in "
                  "--length 6in");
  command->callback([options] {
    const std::wstring path = ItemsPath(options->owner);
    StockItem item = NewItem(*options);
    item.guid = options->guid.empty() ? NewGuid() : ParseGuid(ToWide(options->guid));
    if (IsZeroGuid(item.guid)) Fail(kUsage, L"--guid takes a GUID in braces");
    const EditGuard guard = GuardItems(path);
    for (const StockItem& other : ItemsAt(path)) {
      if (FormatGuid(other.guid) == FormatGuid(item.guid)) {
        Fail(kFindings, L"there is a stock item with this GUID; `orv stock edit` changes it");
      }
    }
    item.DisplayName = NameFrom(options->name);
    const PaperSizes before(options->owner);
    StoreItems(path, {item});
    NoteResult("guid", FormatGuid(item.guid), FormatGuid(item.guid));
    before.ReportChanges();
  });
}

void AddEditCommand(CLI::App* group) {
  auto options = std::make_shared<StockOptions>();
  CLI::App* command = group->add_subcommand("edit", "Change values of a stock item");
  command->add_option("ITEM", options->item, "The item's GUID or name")->required();
  AddOwnerOptions(command, &options->owner);
  AddValues(command, options.get());
  command->add_option("--name", options->newName, "The new name")->type_name("NAME");
  command->footer(
      std::string(kValuesHelp) +
      "Examples:\n  orv stock edit \"Shelf\" --common --name \"Shelf 2 x 1\" --width 2in\n"
      "  orv stock edit \"Shelf 50 x 30\" --printer \"Label 1\" --set "
      "Disabled=1");
  command->callback([options] {
    const std::wstring path = ItemsPath(options->owner);
    const EditGuard guard = GuardItems(path);
    StockItem item = FindItem(path, ToWide(options->item));
    if (options->newName) item.DisplayName = NameFrom(*options->newName);
    SetValues(&item, *options);
    StoreItems(path, {item});
  });
}

void AddRemoveCommand(CLI::App* group) {
  auto options = std::make_shared<StockOptions>();
  CLI::App* command = group->add_subcommand("remove", "Remove a stock item");
  command->add_option("ITEM", options->item, "The item's GUID or name")->required();
  AddOwnerOptions(command, &options->owner);
  command->footer(
      "Examples:\n"
      "  orv stock remove \"Shelf 50 x 30\" --printer \"Label 1\"\n"
      "  orv stock remove \"{5B0C7A52-31D4-4E8B-9C3F-6A1D2E4F7B90}\" --common");
  command->callback([options] {
    const std::wstring path = ItemsPath(options->owner);
    const EditGuard guard = GuardItems(path);
    const GUID guid = FindItem(path, ToWide(options->item)).guid;
    const PaperSizes before(options->owner);
    const LONG error = DeleteStockItem(path, guid);
    RequireWritten(error, path);
    before.ReportChanges();
  });
}

void AddExportCommand(CLI::App* group) {
  auto options = std::make_shared<StockOptions>();
  CLI::App* command = group->add_subcommand("export", "Write stock items to a registry file");
  AddOwnerOptions(command, &options->owner);
  options->file = "-";
  AddOutputFile(command, "-o,--output", &options->file,
                "The file to write, in UTF-16 with byte-order mark, or in UTF-8 to standard output")
      ->capture_default_str();
  command->footer(
      "Examples:\n"
      "  orv stock export --printer \"Label 1\" -o stock.reg\n"
      "  orv stock export --common | orv stock import - --printer \"Label 2\"");
  command->callback([options] {
    const std::wstring path = ItemsPath(options->owner);
    const std::vector<StockItem> items = ItemsAt(path);
    HKEY hive = nullptr;
    StockItemsHive(path, &hive);
    std::wstring text = RegFileHeader();
    for (const StockItem& item : items) {
      if (IsZeroGuid(item.guid)) continue;  // it has no key to import it under
      text += FormatRegKey(FullKeyPath(hive, path + L'\\' + FormatGuid(item.guid)));
      text += FormatRegValue(L"DisplayName", RegistryValue::FromText(item.DisplayName));
      for (const StockValue& value : StockValues()) {
        text += FormatRegValue(value.name, RegistryValue::FromNumber(item.*value.field));
      }
      text += L"\r\n";
    }
    SaveRegFile(ToWide(options->file), text);
  });
}

/// The changes of a registry file; ends the command if it has faults.
std::vector<RegChange> ChangesOf(const std::wstring& file) {
  std::string bytes;
  if (!ReadFile(file, &bytes)) Fail(kUnreadable, CannotRead(file));
  std::vector<RegChange> changes;
  std::vector<RegFault> faults;
  ParseRegBytes(bytes, &changes, &faults);
  for (const RegFault& fault : faults) {
    PrintMessage(Format(L"%ls:%zu: %ls", file.c_str(), fault.line, fault.message.c_str()));
  }
  if (!faults.empty()) Fail(kUnreadable, InputName(file) + L" has faults; nothing was imported");
  return changes;
}

void NoteSkipped(const std::wstring& file, const std::vector<SkippedLine>& skipped) {
  for (const SkippedLine& line : skipped) {
    PrintMessage(Format(L"%ls:%zu: skipped: %ls", file.c_str(), line.line, line.reason.c_str()));
  }
  NoteJson("skipped", [skipped](JsonWriter* json) {
    json->BeginArray();
    for (const SkippedLine& line : skipped) {
      json->BeginObject();
      json->Member("line", static_cast<std::uint64_t>(line.line));
      json->Member("reason", line.reason);
      json->EndObject();
    }
    json->EndArray();
  });
  if (!skipped.empty()) NoteFindings();
}

/// Sets what new items lack to the defaults, as `orv stock add` does, and reports it. The defaults
/// are needed only if something is missing.
void FillIn(const StockOptions& options, std::vector<ImportedItem>* imported) {
  std::optional<tagOEMDEV> record;
  for (auto& [item, line, missing] : *imported) {
    if (missing.empty()) continue;
    if (!record) record = FirstRecord(options);
    std::wstring names;
    for (const StockValue* value : missing) {
      SetFirstValue(*value, *record, &item);
      names += (names.empty() ? L"" : L", ") + std::wstring(value->name);
    }
    PrintNote(Format(L"%ls:%zu: the new item takes the defaults of %ls",
                     ToWide(options.file).c_str(), line, names.c_str()));
  }
}

void AddImportCommand(CLI::App* group) {
  auto options = std::make_shared<StockOptions>();
  CLI::App* command = group->add_subcommand("import", "Store the stock items of a registry file");
  AddInputFile(command, "FILE", &options->file,
               "What `orv stock export` or a registry editor wrote")
      ->required();
  AddOwnerOptions(command, &options->owner);
  AddRecordOptions(command, &options->record);
  command->get_option("--defaults")
      ->description("The printer whose defaults fill in what the file does not name of new items")
      ->default_str("the items' printer");
  command->footer(
      "Items are stored for the printer named here, whichever they were exported from. Only the "
      "values "
      "that\n"
      "the file names change; in new items the others are a printer's defaults, as for `orv stock "
      "add`.\n"
      "Exits with 1 if lines were skipped, and with 3 if nothing could be imported.\n"
      "Examples:\n  orv stock import stock.reg --printer \"Label 2\"\n"
      "  orv stock export --printer \"Label 1\" | orv stock import - --common");
  command->callback([options] {
    const std::wstring path = ItemsPath(options->owner);
    const std::wstring file = ToWide(options->file);
    const std::vector<RegChange> changes = ChangesOf(file);
    std::vector<SkippedLine> skipped;
    const EditGuard guard = GuardItems(path);
    std::vector<ImportedItem> imported = ItemsFromChanges(changes, ItemsAt(path), &skipped);
    const auto count = static_cast<std::int64_t>(imported.size());
    NoteResult("items", count, CountText(count, L"stock item"));
    NoteSkipped(file, skipped);
    if (imported.empty()) Fail(kUnreadable, InputName(file) + L": there is nothing to import");
    FillIn(*options, &imported);
    std::vector<StockItem> items;
    for (ImportedItem& one : imported) items.push_back(std::move(one.item));
    const PaperSizes before(options->owner);
    StoreItems(path, items);
    before.ReportChanges();
  });
}

}  // namespace

void AddStockCommands(CLI::App* program) {
  CLI::App* group = program->add_subcommand("stock", "Stock items: named sets of label settings");
  group->require_subcommand(1);
  group->footer(
      "Examples:\n"
      "  orv stock add \"Shelf 50 x 30\" --printer \"Label 1\" --width 50 --length 30\n"
      "  orv stock list --printer \"Label 1\"");
  AddListCommand(group);
  AddAddCommand(group);
  AddEditCommand(group);
  AddRemoveCommand(group);
  AddExportCommand(group);
  AddImportCommand(group);
}

}  // namespace orv::tool
