#include <memory>

#include "devmode/merge.h"
#include "devmode/record_fields.h"
#include "orv/devmode/oemdev.h"
#include "tools/orv/common/commands.h"
#include "tools/orv/common/input.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/outcome.h"
#include "tools/orv/common/output.h"
#include "tools/orv/devmode/record_input.h"
#include "tools/orv/devmode/record_text.h"

/// The commands that write records: `orv devmode default`, `text`, `bytes`, `set` and `convert`.

namespace orv::tool {
namespace {

void AddDefaultCommand(CLI::App* group) {
  struct Options {
    std::string printer;
    std::string out;
    std::string configFolder;
    bool asText = false;
  };
  auto options = std::make_shared<Options>();
  CLI::App* command = group->add_subcommand("default", "Write a printer's default record");
  AddPrinterArgument(command, &options->printer);
  AddOutputFile(command, "-o,--output", &options->out, "The file to write")->required();
  command->add_flag("--text", options->asText, "Write the record as text");
  AddConfigFolder(command, &options->configFolder);
  command->footer(
      "Examples:\n"
      "  orv devmode default \"Label 1\" -o label1.dev\n"
      "  orv devmode default \"Label 1\" --text -o -");
  command->callback([options] {
    WriteRecord(ToWide(options->out), DefaultsOf(options->printer, options->configFolder),
                options->asText);
  });
}

/// The options of a command that writes a changed record.
struct ChangeOptions {
  std::string file;
  std::string out;
  RecordOptions record;
};

void AddConversion(CLI::App* group, const char* name, const char* description, bool toText) {
  auto options = std::make_shared<ChangeOptions>();
  CLI::App* command = group->add_subcommand(name, description);
  AddInputFile(command, "FILE", &options->file, "A record, as bytes or text")->required();
  AddOutputFile(command, "-o,--output", &options->out, "The file to write")->required();
  AddRecordOptions(command, &options->record);
  command->footer(std::string("Examples:\n  orv devmode ") + name + " label1.dev -o label1." +
                  name + "\n  orv devmode " + name + " - -o - < label1.dev > copy." + name);
  command->callback([options, toText] {
    WriteRecord(ToWide(options->out), ReadRecord(options->file, options->record), toText);
  });
}

/// Adds the arguments of a command that changes a record: the file to read, the file to write, and
/// how to read it.
void AddChangeOptions(CLI::App* command, ChangeOptions* options) {
  AddInputFile(command, "FILE", &options->file,
               "A record, as bytes or text, which is replaced and keeps its form")
      ->required();
  AddOutputFile(command, "-o,--output", &options->out, "The file to write")
      ->default_str("FILE itself, which is replaced");
  AddRecordOptions(command, &options->record);
}

/// The file that is written.
std::wstring WrittenFile(const ChangeOptions& options) {
  return ToWide(options.out.empty() ? options.file : options.out);
}

/// Writes a record to the output file, or else back to the input file, in the form in which it was
/// read. A file that encloses the record has more content, and is not replaced.
void WriteChanged(const ChangeOptions& options, const tagOEMDEV& record, RecordForm form) {
  const bool isInPlace = options.out.empty();
  const std::wstring path = WrittenFile(options);
  if (form == RecordForm::kEnclosed && isInPlace && path != kStandardStream) {
    Fail(kUsage, path + L" has more than the record and is not replaced; -o names another file");
  }
  WriteRecord(path, record, form == RecordForm::kAsText,
              isInPlace ? Written::kChangedFile : Written::kResult);
}

void AddRecordSetCommand(CLI::App* group) {
  struct Options : ChangeOptions {
    std::vector<std::string> values;
  };
  auto options = std::make_shared<Options>();
  CLI::App* command = group->add_subcommand("set", "Change fields of a record");
  AddChangeOptions(command, options.get());
  command
      ->add_option("FIELD=VALUE", options->values,
                   "A field and its new value, as the record's text has it")
      ->required();
  command->footer(
      "Lengths are in thousandths of a millimetre, or have the suffix mm or in; texts have double\n"
      "quotes. Values are not checked against a printer: `orv devmode check` does that.\n"
      "A record's text is written again, without its comments.\n"
      "With - for the file, standard input is changed and written to standard output.\n"
      "Examples:\n"
      "  orv devmode set label1.dev PrintSpeed=100 PaperWidth=50mm\n"
      "  orv devmode set label1.dev 'CustomCommandPageEnd=\"cut\"' -o cut.dev");
  command->callback([options] {
    const EditGuard guard(WrittenFile(*options));
    RecordForm form{};
    tagOEMDEV record = ReadRecord(options->file, options->record, &form);
    for (const std::string& value : options->values) {
      const RecordField* field = nullptr;
      const std::wstring problem = SetNamedField(ToWide(value), &record, &field);
      if (!problem.empty()) Fail(kUsage, ToWide(value) + L": " + problem);
    }
    WriteChanged(*options, record, form);
  });
}

void AddConvertCommand(CLI::App* group) {
  struct Options : ChangeOptions {
    std::string layout;
  };
  auto options = std::make_shared<Options>();
  CLI::App* command =
      group->add_subcommand("convert", "Copy a record's settings to or from its legacy layout");
  AddChangeOptions(command, options.get());
  AllowWords(command->add_option("--to", options->layout,
                                 "legacy sets the legacy layout from the fields; current sets the "
                                 "fields from the legacy layout"),
             {"legacy", "current"}, "LAYOUT")
      ->required();
  command->footer(
      "A record holds both layouts. The legacy layout has fewer settings, and its lengths are\n"
      "rounded down to tenths of a millimetre. `orv devmode show` shows both.\n"
      "Examples:\n"
      "  orv devmode convert label1.dev --to legacy\n"
      "  orv devmode convert label1.dev --to current -o current.dev");
  command->callback([options] {
    const EditGuard guard(WrittenFile(*options));
    RecordForm form{};
    tagOEMDEV record = ReadRecord(options->file, options->record, &form);
    options->layout == "legacy" ? WriteLegacyLayout(&record) : ReadLegacyLayout(&record);
    WriteChanged(*options, record, form);
  });
}

}  // namespace

void AddRecordWriters(CLI::App* group) {
  AddDefaultCommand(group);
  AddConversion(group, "text", "Write a record as text", true);
  AddConversion(group, "bytes", "Write a record as bytes", false);
  AddRecordSetCommand(group);
  AddConvertCommand(group);
}

}  // namespace orv::tool
