#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>

#include "base/hex.h"
#include "devmode/explanation.h"
#include "devmode/field_text.h"
#include "devmode/merge.h"
#include "devmode/record_fields.h"
#include "devmode/rule_text.h"
#include "orv/config/config.h"
#include "orv/config/config_parser.h"
#include "orv/devmode/oemdev.h"
#include "orv/devmode/stock_items.h"
#include "orv/platform/registry.h"
#include "orv/platform/types.h"
#include "orv/text/format.h"
#include "platform/console.h"
#include "tools/orv/common/commands.h"
#include "tools/orv/common/input.h"
#include "tools/orv/common/lengths.h"
#include "tools/orv/common/library_use.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/output.h"
#include "tools/orv/devmode/explanation_text.h"
#include "tools/orv/devmode/record_document.h"
#include "tools/orv/devmode/record_input.h"
#include "tools/orv/devmode/record_merge.h"
#include "tools/orv/devmode/record_text.h"

namespace orv::tool {
namespace {

/// A field of the public record as a command-line option. Lengths are given in millimetres; the
/// record and the bounds have tenths.
struct PublicOption {
  const char* name;
  const char* description;
  std::size_t offset;
  SHORT least = 1;
  SHORT most = INT16_MAX;
  bool isLength = false;
};

constexpr PublicOption kPublicOptions[] = {
    {"--paper-size", "The paper size's number; 257 is the first stock item",
     offsetof(DEVMODEW, dmPaperSize)},
    {"--width", "The paper's width, in mm, or in inches with the suffix in",
     offsetof(DEVMODEW, dmPaperWidth), 0, INT16_MAX, true},
    {"--length", "The paper's length, in mm, or in inches with the suffix in",
     offsetof(DEVMODEW, dmPaperLength), 0, INT16_MAX, true},
    {"--copies", "The number of copies", offsetof(DEVMODEW, dmCopies)},
    {"--orientation", "1 portrait, 2 landscape", offsetof(DEVMODEW, dmOrientation), 1, 2},
    {"--scale", "The scale in percent", offsetof(DEVMODEW, dmScale)},
    {"--default-source", "The paper source", offsetof(DEVMODEW, dmDefaultSource)},
    {"--print-quality", "Dots per inch, or -1 (draft) to -4 (high)",
     offsetof(DEVMODEW, dmPrintQuality), -4},
    {"--colour", "1 monochrome, 2 colour", offsetof(DEVMODEW, dmColor), 1, 2},
    {"--duplex", "1 simplex, 2 or 3 duplex", offsetof(DEVMODEW, dmDuplex), 1, 3},
    {"--collate", "1 collates copies", offsetof(DEVMODEW, dmCollate), 0, 1},
};

/// The options of a merge.
struct MergeOptions {
  std::string printer;
  std::string in;
  std::string out;
  RecordOptions record;
  std::string form;
  std::optional<double> values[std::size(kPublicOptions)];
  bool asText = false;
  bool asJson = false;
};

void AddMergeOptions(CLI::App* command, MergeOptions* options) {
  AddPrinterArgument(command, &options->printer);
  AddInputFile(command, "--record,--in", &options->in, "The incoming record, as bytes or text")
      ->default_str("the printer's defaults");
  for (std::size_t i = 0; i < std::size(kPublicOptions); ++i) {
    CLI::Option* const option = command->add_option(kPublicOptions[i].name, options->values[i],
                                                    kPublicOptions[i].description);
    const PublicOption& known = kPublicOptions[i];
    known.isLength ? option->transform(ToMillimetres(known.most * kThousandthsPerTenth))
                   : option->check(InRange(known.least, known.most));
  }
  command->add_option("--form", options->form, "The form's name")->type_name("NAME");
  AddRecordOptions(command, &options->record);
  AddJsonFlag(command, &options->asJson);
}

/// The application's public record: the incoming record's size unless the options override it.
DEVMODEW PublicRecord(const MergeOptions& options, const tagOEMDEV& record) {
  constexpr double kTenthsPerMillimetre = 10;
  DEVMODEW result = PublicRecordOf(record);
  for (std::size_t i = 0; i < std::size(kPublicOptions); ++i) {
    const PublicOption& option = kPublicOptions[i];
    if (!options.values[i].has_value()) continue;
    const double exact = *options.values[i] * (option.isLength ? kTenthsPerMillimetre : 1);
    const auto number = static_cast<SHORT>(std::round(exact));
    std::memcpy(reinterpret_cast<char*>(&result) + option.offset, &number, sizeof(number));
  }
  const std::wstring form = ToWide(options.form);
  for (std::size_t i = 0; i < form.size() && i + 1 < std::size(result.dmFormName); ++i) {
    result.dmFormName[i] = static_cast<WCHAR>(form[i]);
  }
  return result;
}

Merged Merge(LibraryUse* library, const OpenPrinter& printer, const MergeOptions& options) {
  const std::wstring name = ToWide(options.printer);
  Merged merged{};
  merged.defaults = DefaultsOf(library, printer, name);
  merged.in = options.in.empty() ? merged.defaults : ReadRecord(options.in, options.record);
  merged.publicIn = PublicRecord(options, merged.in);
  std::wstring problem;
  if (!MergeRecord(library, printer, name, &merged, &problem)) Fail(kFindings, problem);
  for (const std::wstring& text : {UnknownPaperSize(merged), OtherStockItem(merged)}) {
    if (!text.empty()) PrintNote(text);
  }
  return merged;
}

std::wstring FormName(const DEVMODEW& record) {
  std::wstring name;
  for (const WCHAR unit : record.dmFormName) {
    if (unit == 0) break;
    name += static_cast<wchar_t>(unit);
  }
  return name;
}

void AddMergeCommand(CLI::App* group) {
  auto options = std::make_shared<MergeOptions>();
  CLI::App* command =
      group->add_subcommand("merge", "Merge a record with an application's public record");
  AddMergeOptions(command, options.get());
  AddInchFlag(command);
  AddOutputFile(command, "-o,--output", &options->out, "The file to write the merged record to")
      ->required();
  command->add_flag("--text", options->asText, "Write the record as text");
  command->footer(
      "Prints the merged public record and what was corrected.\n"
      "Examples:\n"
      "  orv devmode merge \"Label 1\" --record label1.dev --width 50 --length 30 -o merged.dev\n"
      "  orv devmode merge \"Label 1\" --paper-size 257 -o stock.dev");
  command->callback([options] {
    LibraryUse library(ToWide(options->record.configFolder));
    const OpenPrinter printer(ToWide(options->printer));
    const Merged merged = Merge(&library, printer, *options);
    WriteRecord(ToWide(options->out), merged.out, options->asText);
    const DEVMODEW& out = merged.publicOut;
    const std::wstring corrections = DescribeCorrections(merged.corrections);
    if (options->asJson) {
      JsonWriter json;
      json.BeginObject();
      json.Member("paperSize", std::int32_t{out.dmPaperSize});
      json.Member("widthMm", out.dmPaperWidth / 10.0);
      json.Member("lengthMm", out.dmPaperLength / 10.0);
      json.Member("copies", std::int32_t{out.dmCopies});
      json.Member("form", FormName(out));
      json.Member("corrections", corrections);
      json.EndObject();
      return Print(json.Text());
    }
    Table table;
    table.Add({L"paper size", std::to_wstring(out.dmPaperSize)});
    table.Add({L"width", LengthText(out.dmPaperWidth * kThousandthsPerTenth)});
    table.Add({L"length", LengthText(out.dmPaperLength * kThousandthsPerTenth)});
    table.Add({L"copies", std::to_wstring(out.dmCopies)});
    table.Add({L"form", FormName(out)});
    table.Add({L"corrections", corrections.empty() ? L"none" : corrections});
    Print(table.TakeText());
  });
}

/// The unnamed bytes of the legacy layout that are not all zero, in lines of sixteen.
void ForUnnamedBytes(const tagOEMDEV& record,
                     const std::function<void(std::size_t, std::string_view)>& show) {
  constexpr std::size_t kLine = 16;
  std::string bytes(RecordBytes(record, 0, offsetof(tagOEMDEV, OutputFormatPNG)));
  for (const LegacyField& legacy : LegacyFields()) {
    std::memset(bytes.data() + legacy.offset, 0, legacy.width);
  }
  for (std::size_t at = offsetof(tagOEMDEV, EpLayout); at < bytes.size(); at += kLine) {
    const std::string_view line = std::string_view(bytes).substr(at, kLine);
    if (line.find_first_not_of('\0') != line.npos) show(at, line);
  }
}

/// A number or command string of the legacy layout, as a field.
RecordField FieldOf(const LegacyField& legacy) {
  // The setting determines the sign, but not the unit.
  const RecordField* const setting = FindField(Widen(legacy.setting));
  RecordField field{};
  field.name = legacy.setting;
  field.unit = "";
  field.offset = static_cast<std::uint16_t>(legacy.offset);
  field.width = static_cast<std::uint16_t>(legacy.width);
  field.kind = setting != nullptr ? setting->kind : FieldKind::kUnsigned;
  return field;
}

void ShowAsJson(const tagOEMDEV& record) {
  JsonWriter json;
  json.BeginObject();
  for (const RecordField& field : RecordFields()) FieldMember(&json, field.name, record, field);
  json.Key("legacyLayout");
  json.BeginArray();
  for (const LegacyField& legacy : LegacyFields()) {
    json.BeginObject();
    json.Member("offset", static_cast<std::uint32_t>(legacy.offset));
    json.Member("setting", Widen(legacy.setting));
    FieldMember(&json, "value", record, FieldOf(legacy));
    json.EndObject();
  }
  json.EndArray();
  json.EndObject();
  Print(json.Text());
}

/// Where to cut two long values that differ, so that both cells show the first difference.
std::size_t CutBefore(const std::wstring& a, const std::wstring& b) {
  constexpr std::size_t kBefore = 10;  // shown before the difference
  const std::size_t shorter = std::min(a.size(), b.size());
  std::size_t at = 0;
  while (at < shorter && a[at] == b[at]) ++at;
  const bool isShown = at + kBefore < kWidestCell || std::max(a.size(), b.size()) <= kWidestCell;
  return isShown ? 0 : at - kBefore;
}

void ShowAsTable(const tagOEMDEV& record) {
  // Fits a command string of plain characters; use the other forms to see longer values.
  constexpr std::size_t kWidest = tagOEMDEV::kCommandSize + 2;
  Table table({L"OFFSET", L"FIELD", L"VALUE", L"UNIT", L"MEANING"});
  for (const RecordField& field : RecordFields()) {
    // The legacy layout has a table of its own.
    const bool isLegacy = field.offset == offsetof(tagOEMDEV, EpLayout);
    table.Add(
        {std::to_wstring(field.offset), Widen(field.name),
         isLegacy ? L"(below)" : Short(FieldText(record, field), 0, kWidest),
         Widen(field.unit) + (IsLength(field) ? L": " + FieldText(record, field, LengthText) : L""),
         Widen(field.meaning)});
  }
  Print(table.TakeText());
  Table legacyTable({L"OFFSET", L"LEGACY LAYOUT", L"VALUE"});
  for (const LegacyField& legacy : LegacyFields()) {
    legacyTable.Add({std::to_wstring(legacy.offset), Widen(legacy.setting),
                     Short(FieldText(record, FieldOf(legacy)), 0, kWidest)});
  }
  ForUnnamedBytes(record, [&](std::size_t offset, std::string_view bytes) {
    legacyTable.Add({std::to_wstring(offset), L"(no name)", HexOf<std::wstring>(bytes)});
  });
  Print("\n" + legacyTable.TakeText());
}

void AddShowCommand(CLI::App* group) {
  struct Options {
    std::string file;
    RecordOptions record;
    bool asJson = false;
  };
  auto options = std::make_shared<Options>();
  CLI::App* command = group->add_subcommand("show", "Show a record field by field");
  AddInputFile(command, "FILE", &options->file, "A record, as bytes or text")->required();
  AddRecordOptions(command, &options->record);
  AddInchFlag(command);
  AddJsonFlag(command, &options->asJson);
  command->footer(
      "Examples:\n"
      "  orv devmode show label1.dev\n"
      "  orv devmode default \"Label 1\" -o - | orv devmode show - --json");
  command->callback([options] {
    const tagOEMDEV record = ReadRecord(options->file, options->record);
    options->asJson ? ShowAsJson(record) : ShowAsTable(record);
  });
}

/// How a command prints lengths.
LengthFormat FormatFor(bool asJson) { return asJson ? nullptr : LengthText; }

/// One difference between two records.
struct Difference {
  std::wstring name;
  std::wstring a;
  std::wstring b;
};

std::vector<Difference> Compare(const tagOEMDEV& a, const tagOEMDEV& b, LengthFormat format) {
  std::vector<Difference> differences;
  const auto compare = [&](const RecordField& field) {
    if (RecordBytes(a, field.offset, field.width) != RecordBytes(b, field.offset, field.width)) {
      differences.push_back(
          {Widen(field.name), FieldText(a, field, format), FieldText(b, field, format)});
    }
  };
  for (const RecordField& field : RecordFields()) {
    if (field.offset != offsetof(tagOEMDEV, EpLayout)) {
      compare(field);
      continue;
    }
    // The legacy layout field by field, then the bytes without a name.
    std::string rest[2] = {std::string(RecordBytes(a, 0, sizeof(a))),
                           std::string(RecordBytes(b, 0, sizeof(b)))};
    for (const LegacyField& legacy : LegacyFields()) {
      RecordField named = FieldOf(legacy);
      const std::string name = "legacy layout: " + std::string(legacy.setting);
      named.name = name.c_str();
      compare(named);
      for (std::string& bytes : rest) std::memset(bytes.data() + legacy.offset, 0, legacy.width);
    }
    constexpr std::size_t kWord = 4;
    for (std::size_t at = field.offset; at < std::size_t{field.offset} + field.width; at += kWord) {
      const std::string_view own = std::string_view(rest[0]).substr(at, kWord);
      const std::string_view other = std::string_view(rest[1]).substr(at, kWord);
      if (own == other) continue;
      differences.push_back({L"bytes at " + std::to_wstring(at), HexOf<std::wstring>(own),
                             HexOf<std::wstring>(other)});
    }
  }
  return differences;
}

void AddDiffCommand(CLI::App* group) {
  struct Options {
    std::string a;
    std::string b;
    RecordOptions record;
    bool asJson = false;
  };
  auto options = std::make_shared<Options>();
  CLI::App* command = group->add_subcommand("diff", "Show where two records differ");
  AddInputFile(command, "A", &options->a, "A record")->required();
  AddInputFile(command, "B", &options->b, "Another record")->required();
  AddRecordOptions(command, &options->record);
  AddInchFlag(command);
  AddJsonFlag(command, &options->asJson);
  command->footer(
      "Exits with 1 when they differ.\n"
      "Examples:\n"
      "  orv devmode diff a.dev b.dev\n"
      "  orv devmode default \"Label 1\" -o - | orv devmode diff - a.dev --json");
  command->callback([options] {
    const tagOEMDEV a = ReadRecord(options->a, options->record);
    const tagOEMDEV b = ReadRecord(options->b, options->record);
    const std::vector<Difference> differences = Compare(a, b, FormatFor(options->asJson));
    JsonWriter json;
    Table table({L"FIELD", L"A", L"B"});
    json.BeginArray();
    for (const Difference& difference : differences) {
      const std::size_t from = CutBefore(difference.a, difference.b);
      table.Add({difference.name, Short(difference.a, from), Short(difference.b, from)});
      json.BeginObject();
      json.Member("field", difference.name);
      json.Member("a", difference.a);
      json.Member("b", difference.b);
      json.EndObject();
    }
    json.EndArray();
    if (options->asJson) {
      Print(json.Text());
    } else if (!table.empty()) {
      Print(table.TakeText());
    }
    if (!differences.empty()) Finish(kFindings);
  });
}

/// One change that the validation would make.
struct CheckFinding {
  std::wstring field;
  std::wstring before;
  std::wstring after;
  std::wstring reason;
  bool isUnchanged = false;
};

/// Why a field of the header must have its value.
std::wstring HeaderReason(const RecordField& field) {
  if (field.offset == offsetof(tagOEMDEV, dwSize)) return L"the validation writes the header";
  return Format(L"a merge refuses a record of another %ls; the validation alone writes this one",
                field.offset == offsetof(tagOEMDEV, dwVersion) ? L"version" : L"signature");
}

std::vector<CheckFinding> CheckRecord(const Config& config, const tagOEMDEV& record,
                                      LengthFormat format) {
  std::vector<CheckFinding> findings;
  const tagOEMDEV current = [] {
    tagOEMDEV header{};
    header.dwSize = tagOEMDEV::kSize;
    header.dwSignature = tagOEMDEV::kSignature;
    header.dwVersion = tagOEMDEV::kVersion;
    return header;
  }();
  for (const RecordField& field : RecordFields().first(3)) {
    if (FieldBits(record, field) != FieldBits(current, field)) {
      findings.push_back({Widen(field.name), FieldText(record, field), FieldText(current, field),
                          HeaderReason(field)});
    }
  }
  tagOEMDEV repaired = record;
  for (const Correction& correction : RepairRecord(config, &repaired)) {
    // Each correction applies to the result of the previous ones.
    const RecordField& field = *correction.check->field;
    tagOEMDEV before = record;
    tagOEMDEV after = repaired;
    if (field.kind != FieldKind::kText) {
      SetFieldBits(&before, field, correction.before);
      SetFieldBits(&after, field, correction.after);
    }
    findings.push_back({Widen(field.name), FieldText(before, field, format),
                        FieldText(after, field, format), ReasonText(config, correction, format),
                        ChangesNothing(correction)});
  }
  return findings;
}

void AddCheckCommand(CLI::App* group) {
  struct Options {
    std::string file;
    std::string printer;
    std::string config;
    RecordOptions record;
    bool asJson = false;
  };
  auto options = std::make_shared<Options>();
  CLI::App* command =
      group->add_subcommand("check", "Show what the validation would correct, and why");
  AddInputFile(command, "FILE", &options->file, "A record, as bytes or text")->required();
  CLI::Option* printerOption =
      command->add_option("--printer", options->printer, "Check against this printer")
          ->type_name("PRINTER");
  CLI::Option* configOption =
      AddInputFile(command, "--config", &options->config, "Check against this configuration file");
  printerOption->excludes(configOption);
  AddRecordOptions(command, &options->record);
  AddInchFlag(command);
  AddJsonFlag(command, &options->asJson);
  command->footer(
      "Changes nothing; exits with 1 when something would be corrected. A correction that would "
      "leave\n"
      "the value as it is, is listed as unchanged and does not count.\n"
      "Examples:\n"
      "  orv devmode check label1.dev --printer \"Label 1\"\n"
      "  orv devmode check label1.dev --config orv_conf_lx300.xml");
  command->callback([options] {
    if (options->printer.empty() == options->config.empty()) {
      Fail(kUsage, L"check against --printer or --config");
    }
    LibraryUse library(ToWide(options->record.configFolder));
    const tagOEMDEV record = ReadRecord(options->file, options->record);
    const Config* config = nullptr;
    if (!options->config.empty()) {
      const std::wstring path = ToWide(options->config);
      std::string bytes;
      if (!ReadFile(path, &bytes)) Fail(kUnreadable, CannotRead(path));
      const InputFile file(path);
      Config* loaded = nullptr;
      if (!CConfigParser::Load(file.path(), &loaded, library.cache(), library.client())) {
        Fail(kFindings, InputName(path) + L" does not load; `orv config check` says why");
      }
      config = loaded;
    } else {
      const std::wstring name = ToWide(options->printer);
      const OpenPrinter printer(name);
      DefaultsOf(&library, printer, name, &config);
    }
    const std::vector<CheckFinding> findings =
        CheckRecord(*config, record, FormatFor(options->asJson));
    JsonWriter json;
    Table table({L"FIELD", L"VALUE", L"WOULD BE", L"WHY"});
    json.BeginArray();
    for (const CheckFinding& finding : findings) {
      table.Add({finding.field, Short(finding.before),
                 finding.isUnchanged ? L"unchanged" : Short(finding.after), finding.reason});
      json.BeginObject();
      json.Member("field", finding.field);
      json.Member("value", finding.before);
      json.Member("wouldBe", finding.after);
      json.Member("why", finding.reason);
      json.Member("unchanged", finding.isUnchanged);
      json.EndObject();
    }
    json.EndArray();
    if (options->asJson) {
      Print(json.Text());
    } else if (!table.empty()) {
      Print(table.TakeText());
    }
    if (!std::ranges::all_of(findings, &CheckFinding::isUnchanged)) Finish(kFindings);
  });
}

void AddExplainCommand(CLI::App* group) {
  struct Options : MergeOptions {
    bool isAll = false;
    bool isChanged = false;
  };
  auto options = std::make_shared<Options>();
  CLI::App* command = group->add_subcommand(
      "explain", "Show for every field of a merge what goes in, what is allowed and what decides");
  AddMergeOptions(command, options.get());
  AddInchFlag(command);
  CLI::Option* const all =
      command->add_flag("--all", options->isAll, "Show every field, as to a file or a pipe");
  command
      ->add_flag("--changed", options->isChanged,
                 "Show only fields that the merge changes, that differ from the printer's "
                 "defaults, or whose stock item's value is corrected, as on a terminal")
      ->excludes(all)
      ->excludes(command->get_option("--json"));
  command->footer(
      "Writes nothing. On a terminal that is narrower than the table it prints a list.\n"
      "Examples:\n"
      "  orv devmode explain \"Label 1\" --record label1.dev --paper-size 257\n"
      "  orv devmode explain \"Label 1\" --width 4in --length 6in --changed\n"
      "  orv devmode explain \"Label 1\" --width 4in --length 6in --json");
  command->callback([options] {
    LibraryUse library(ToWide(options->record.configFolder));
    const OpenPrinter printer(ToWide(options->printer));
    const Merged merged = Merge(&library, printer, *options);
    if (options->asJson) return Print(ExplanationAsJson(merged));
    const bool isTerminal = IsTerminal(OutputStream::kResults);
    const bool isPart = options->isChanged || (isTerminal && !options->isAll);
    Print(ExplanationAsText(merged, isPart ? ExplainedPart::kChanged : ExplainedPart::kAll,
                            OutputWidth()));
  });
}

void AddFieldsCommand(CLI::App* group) {
  auto asMarkdown = std::make_shared<bool>(false);
  auto asJson = std::make_shared<bool>(false);
  CLI::App* command =
      group->add_subcommand("fields", "Show the record's format: offsets, defaults and rules");
  AddJsonFlag(command, asJson.get());
  command->add_flag("--markdown", *asMarkdown, "Print the whole format as a Markdown document")
      ->excludes(command->get_option("--json"));
  command->footer(
      "Examples:\n  orv devmode fields\n  orv devmode fields --markdown > private-record.md");
  command->callback([asMarkdown, asJson] {
    if (*asMarkdown) return Print(FormatDocument());
    JsonWriter json;
    json.BeginArray();
    Table table({L"OFFSET", L"FIELD", L"UNIT", L"DEFAULT", L"ALLOWED", L"FALLBACK"});
    for (const RecordField& field : RecordFields()) {
      table.Add({std::to_wstring(field.offset), Widen(field.name), Widen(field.unit),
                 DefaultText(field), RuleText(field), FallbackText(field)});
      json.BeginObject();
      json.Member("offset", std::uint32_t{field.offset});
      json.Member("bytes", std::uint32_t{field.width});
      json.Member("field", Widen(field.name));
      json.Member("unit", Widen(field.unit));
      json.Member("meaning", Widen(field.meaning));
      json.Member("default", DefaultText(field));
      json.Member("allowed", RuleText(field));
      json.Member("fallback", FallbackText(field));
      json.EndObject();
    }
    json.EndArray();
    Print(*asJson ? json.Text() : table.TakeText());
  });
}

}  // namespace

void AddDevmodeCommands(CLI::App* program) {
  CLI::App* group = program->add_subcommand("devmode", "Private settings records as files");
  group->require_subcommand(1);
  group->footer(
      "A record is a file of 2688 bytes, or its text with one \"Name = value\" a line, or is "
      "found\n"
      "in a file that contains it: a public record, an exported registry file, or a file of the\n"
      "spooler. - stands for standard input, and with -o for standard output.\n"
      "Examples:\n"
      "  orv devmode default \"Label 1\" -o label1.dev\n"
      "  orv devmode merge \"Label 1\" --record label1.dev --width 50 --length 30 -o merged.dev\n"
      "  orv devmode diff label1.dev merged.dev");
  AddRecordWriters(group);
  AddMergeCommand(group);
  AddShowCommand(group);
  AddDiffCommand(group);
  AddCheckCommand(group);
  AddExplainCommand(group);
  AddFieldsCommand(group);
}

}  // namespace orv::tool
