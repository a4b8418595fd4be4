#include <algorithm>
#include <memory>
#include <optional>
#include <span>
#include <utility>

#include "base/utf8.h"
#include "config/config_loader.h"
#include "config/property_tables.h"
#include "config/values.h"
#include "orv/config/config.h"
#include "orv/text/format.h"
#include "orv/xml/line_index.h"
#include "orv/xml/markup.h"
#include "platform/clock.h"
#include "platform/console.h"
#include "platform/files.h"
#include "platform/letter_case.h"
#include "tools/orv/common/commands.h"
#include "tools/orv/common/input.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/outcome.h"
#include "tools/orv/common/output.h"
#include "tools/orv/common/progress.h"
#include "tools/orv/common/spelling.h"
#include "tools/orv/config/check.h"
#include "tools/orv/config/check_properties.h"
#include "tools/orv/config/check_rules.h"
#include "tools/orv/config/edit.h"
#include "tools/orv/config/keys.h"
#include "tools/orv/config/rules.h"
#include "xml/names.h"

/// `orv config new`: writes a template made from the checker's tables.

namespace orv::tool {
namespace {

/// The comment before a section.
struct SectionComment {
  std::wstring_view name;
  const wchar_t* text;
};
constexpr SectionComment kSectionComments[] = {
    {L"model", L"The model."},
    {L"label", L"The labels that the printer takes, in thousandths of a millimetre."},
    {L"generalSettings", L"The print head, and which settings users have."},
    {L"printModes", L"Each entry is true where the printer has the mode."},
    {L"globalOffsetY", L"The range of the vertical offset, in thousandths of a millimetre."},
    {L"headsOffsetX", L"The range of the offset between two heads, the same."},
    {L"darkness", L"The levels Min, Min + Step, ... Max."},
    {L"printSpeed", L"Speeds in millimetres a second, multiplied by 1000."},
    {L"sensorTypes", L"Each entry is true where the printer has the sensor."},
    {L"characteristics", L"What the printer is."},
    {L"optionFamilies",
     L"What can be fitted to the printer, one family of options after the other."},
};

/// A range for the keys of an option's group: Min, Max, Step and Default.
constexpr SectionComment kGroupSamples[] = {
    {L"Min", L"0"}, {L"Max", L"10000"}, {L"Step", L"100"}, {L"Default", L"0"}};

/// The local time in the form of the file.
std::wstring TimeNow() {
  const LocalTime now = GetLocalTimeNow();
  return Format(L"%04d-%02d-%02dT%02d:%02d:%02d", now.year, now.month, now.day, now.hour,
                now.minute, now.second);
}

/// Composes the file, indented by two spaces per level.
class Skeleton {
 public:
  Skeleton(std::wstring fileName, std::span<const std::int32_t> families)
      : fileName_(std::move(fileName)), families_(families) {}

  std::wstring Make() {
    text_ =
        L"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        L"<!-- A printer model. Change the values; elements stay in this order. Then:\n"
        L"     orv config sign FILE, orv config check FILE. -->\n";
    Element(L"xmlData", [&] {
      for (const ElementRule& rule : kRoot) Write(rule);
    });
    return std::move(text_);
  }

 private:
  void Line(const std::wstring& line) { text_.append(depth_ * 2, L' ').append(line) += L'\n'; }

  template <typename Inside>
  void Element(std::wstring_view name, Inside inside) {
    Line(L"<" + std::wstring(name) + L">");
    ++depth_;
    inside();
    --depth_;
    Line(L"</" + std::wstring(name) + L">");
  }

  void Property(std::wstring_view key, std::wstring_view value, const wchar_t* comment) {
    Line(L"<property name=\"" + std::wstring(key) + L"\">" +
         CMarkup::EscapeText(std::wstring(value).c_str()) + L"</property>" +
         (comment != nullptr ? std::wstring(L"  <!-- ") + comment + L" -->" : std::wstring()));
  }

  /// Writes a property with its sample value.
  void Property(const PropertyRule& rule) {
    if (rule.kind == ValueKind::kIgnored) return;
    const ConfigKey* const key = FindConfigKey(rule.key);
    if (rule.key == L"configfilename") return Property(rule.key, fileName_, key->meaning);
    if (rule.key == L"created" || rule.key == L"lastModified") {
      return Property(rule.key, TimeNow(), key->meaning);
    }
    if (key != nullptr && key->sample != nullptr) {
      return Property(rule.key, key->sample, key->meaning);
    }
    if (rule.kind == ValueKind::kBoolean) return Property(rule.key, L"false", nullptr);
    for (const auto& [suffix, sample] : kGroupSamples) {
      const bool isFirst = suffix == kGroupSamples[0].name;
      if (rule.key.ends_with(suffix)) {
        Property(rule.key, sample, key != nullptr && isFirst ? key->meaning : nullptr);
      }
    }
  }

  void Write(const ElementRule& rule) {
    for (const auto& [name, comment] : kSectionComments) {
      if (name == rule.name) Line(std::wstring(L"<!-- ") + comment + L" -->");
    }
    Element(rule.name, [&] {
      for (const PropertyRule& property : rule.properties) Property(property);
      for (const ElementRule& child : rule.children) WriteChild(child);
      if (rule.name == std::wstring_view(L"optionFamilies")) WriteFamilies();
    });
  }

  /// Writes an element once for each entry if it lists entries.
  void WriteChild(const ElementRule& rule) {
    if (rule.need != Need::kMany) return Write(rule);
    for (const PropertyRule& entry : rule.children.front().properties) {
      Element(rule.name,
              [&] { Element(L"properties", [&] { Property(entry.key, L"true", nullptr); }); });
    }
  }

  void WriteFamilies() {
    for (const std::int32_t id : families_) {
      ForEachFamily([&](auto family) {
        if (family.id == id) WriteFamily(family);
      });
    }
  }

  template <typename Kind>
  void WriteFamily(FamilyMember<Kind> family) {
    std::wstring type = family.name;
    type.front() = ToUpperAscii(type.front());
    const auto property = [&](std::wstring_view key) {
      const ConfigKey* const known = FindConfigKey(key);
      const std::wstring value = key == L"optionFamilyId"     ? std::to_wstring(family.id)
                                 : key == L"optionFamilyType" ? type
                                 : key == L"optionFamilyName" ? type
                                                              : known->sample;
      Property(key, value, known->meaning);
    };
    Element(L"optionFamily", [&] {
      Element(L"properties", [&] {
        for (const PropertyRule& rule : kFamilyRules) property(rule.key);
      });
      Element(L"options", [&] {
        Element(L"option", [&] {
          Element(L"properties", [&] {
            for (const PropertyRule& rule : RulesOf(KindProperties<Kind>::kTable)) Property(rule);
          });
          if constexpr (std::is_same_v<Kind, BeltApplicator>) Write(kBeltOption[1]);
        });
      });
    });
  }

  std::wstring fileName_;
  std::span<const std::int32_t> families_;
  std::wstring text_;
  std::size_t depth_ = 0;
};

/// The families named by identifier or kind; ends the command for an unknown or repeated one.
std::vector<std::int32_t> FamiliesOf(const std::vector<std::string>& names) {
  std::vector<std::int32_t> ids;
  std::vector<std::wstring_view> kinds;  // of one family each; one kind has two identifiers
  std::vector<std::wstring_view> chosen;
  ForEachFamily([&](auto family) {
    if (std::find(kinds.begin(), kinds.end(), family.name) == kinds.end()) {
      kinds.push_back(family.name);
    }
  });
  for (const std::string& argument : names) {
    const std::wstring name = ToWide(argument);
    std::int32_t id = -1;
    std::wstring_view kind;
    ForEachFamily([&](auto family) {
      if (id < 0 &&
          (name == std::to_wstring(family.id) || EqualsIgnoringAsciiCase(family.name, name))) {
        id = family.id;
        kind = family.name;
      }
    });
    if (id < 0) {
      std::wstring known;
      for (const std::wstring_view each : kinds) {
        known += (known.empty() ? L"" : L", ") + std::wstring(each);
      }
      const std::wstring_view nearest = Nearest(name, kinds);
      Fail(kUsage, L"unknown family '" + name + L"'" +
                       (nearest.empty() ? L"; choose one of " + known
                                        : L"; did you mean " + std::wstring(nearest) + L"?"));
    }
    if (std::find(chosen.begin(), chosen.end(), kind) != chosen.end()) {
      Fail(kUsage,
           L"the family " + std::wstring(kind) + L" is given twice; a file has one of each kind");
    }
    ids.push_back(id);
    chosen.push_back(kind);
  }
  return ids;
}

struct NewOptions {
  std::string output;
  std::string driver;
  std::string from;
  std::vector<std::string> values;
  std::vector<std::string> families = {"tearOff"};
};

/// A property and its value.
using Value = std::pair<std::wstring, std::wstring>;

/// What a driver's name tells: "ORV-NX 400" and "ORV NX 400" are the model NX400.
std::vector<Value> ValuesOfDriver(const std::wstring& driver) {
  std::wstring model = driver;
  for (const std::wstring_view maker : {L"ORV-", L"ORV "}) {
    if (EqualsIgnoringAsciiCase(model.substr(0, maker.size()), maker)) model.erase(0, maker.size());
  }
  std::erase(model, L' ');
  return {{L"configfilename", ConfigFileName(driver)},
          {L"modelName", driver},
          {L"pnpID", L"ORV" + model},
          {L"deviceId", L"MFG:ORV;MDL:" + model + L";CLS:PRINTER;"},
          {L"deviceImageFile", LowerCase(model) + L".png"}};
}

/// The values that the user gives.
std::vector<Value> ValuesOf(const std::vector<std::string>& arguments) {
  std::vector<Value> values;
  for (const std::string& argument : arguments) {
    const std::wstring text = ToWide(argument);
    const std::size_t equals = text.find(L'=');
    if (equals == 0 || equals == text.npos) {
      Fail(kUsage, L"invalid --set '" + text + L"'; write KEY=VALUE");
    }
    values.emplace_back(text.substr(0, equals), text.substr(equals + 1));
  }
  return values;
}

/// The answer to a question on the terminal, or the old value if it is empty or the same; nothing
/// at the end of the input.
std::optional<std::wstring> Ask(const FoundProperty& property) {
  const ConfigKey* const key = FindConfigKey(property.name);
  const std::wstring meaning = key != nullptr && key->meaning != nullptr
                                   ? L" (" + std::wstring(key->meaning) + L")"
                                   : std::wstring();
  StopProgress();
  WriteOutput(OutputStream::kMessages,
              Printable(property.name + meaning + L" [" + property.value + L"]: "));
  std::string answer;
  if (!ReadInputLine(&answer)) return {};
  return answer.empty() ? property.value : Utf8ToWide(answer);
}

/// Asks for every value that is still a placeholder; an empty answer leaves it.
void AskForPlaceholders(EditedConfig* file) {
  for (std::size_t kept = 0;;) {
    const std::vector<Finding> before = CheckConfig(file->text, {});
    std::vector<Finding> left = before;
    std::erase_if(left,
                  [](const Finding& finding) { return finding.rule->name != L"placeholder-left"; });
    if (kept >= left.size()) return;
    const FoundProperty property = PropertyWithValueAt(file->text, left[kept].offset);
    const std::optional<std::wstring> answer = Ask(property);
    if (!answer) return;
    if (*answer == property.value) {
      ++kept;
      continue;
    }
    EditedConfig changed = *file;
    changed.text = Edited(file->text, {ReplacedValue(property, *answer)});
    const int line = LineIndex(file->text).Find(property.offset).line;
    const std::wstring fault =
        answer->find(kReplacement) != answer->npos
            ? L"the answer is not valid text"
            : FaultOf(changed, {property.name}, line, before, CheckConfig(changed.text, {}));
    if (fault.empty()) {
      *file = std::move(changed);
    } else {
      PrintMessage(fault);
    }
  }
}

void WriteNew(const NewOptions& options) {
  const std::wstring driver = ToWide(options.driver);
  const std::wstring path = !options.output.empty() ? ToWide(options.output)
                            : driver.empty()        ? kStandardStream
                                                    : ConfigFileName(driver);
  const bool toOutput = IsStandardOutput(path);
  RequireReplaceable(path);  // before any question
  const std::vector<std::int32_t> families = FamiliesOf(options.families);
  const std::wstring name = toOutput ? FindConfigKey(L"configfilename")->sample : FileNameOf(path);
  EditedConfig file;
  if (options.from.empty()) {
    file.path = L"the new file";  // in messages
    file.text = Skeleton(name, families).Make();
  } else {
    FailOn(OpenForEdit(ToWide(options.from), &file));
    file.isProtected = false;
    const std::wstring now = TimeNow();
    for (const auto& [key, value] :
         {Value(L"configfilename", name), Value(L"created", now), Value(L"lastModified", now)}) {
      SetProperty(&file, key, value);
    }
  }
  const std::vector<Finding> before = CheckConfig(file.text, {});
  std::vector<Value> values = driver.empty() ? std::vector<Value>() : ValuesOfDriver(driver);
  for (Value& value : ValuesOf(options.values)) values.push_back(std::move(value));
  std::vector<std::wstring> keys;
  for (const auto& [key, value] : values) {
    SetProperty(&file, key, value);
    keys.push_back(key);
  }
  // After all of them, because a value can be right only with another one.
  std::vector<Finding> findings = CheckConfig(file.text, {});
  const std::wstring fault = FaultOf(file, keys, 0, before, findings);
  if (!fault.empty()) Fail(kFindings, fault + L" (nothing was written)");
  NoteNewFindings(file, before, std::move(findings));
  if (!toOutput && IsTerminal(OutputStream::kMessages) && IsInputTerminal()) {
    AskForPlaceholders(&file);
  }
  FailOn(Sign(&file));
  file.path = path;
  SaveEdited(file, Written::kResult);
}

}  // namespace

void AddConfigNewCommand(CLI::App* group) {
  auto options = std::make_shared<NewOptions>();
  CLI::App* command =
      group->add_subcommand("new", "Write a template for a configuration file, with comments");
  AddOutputFile(command, "-o,--output", &options->output,
                "The file to write. Without it the name comes from --driver; without both the file "
                "goes to standard output");
  command
      ->add_option("--driver", options->driver,
                   "The name of the printer's driver, which decides the file's name, the model's "
                   "name and its identifiers")
      ->check(NotEmpty("a name"))
      ->type_name("NAME");
  CLI::Option* const family = command
                                  ->add_option("--family", options->families,
                                               "A family of options, by kind such as cutter or by "
                                               "number")
                                  ->allow_extra_args(false)
                                  ->type_name("KIND")
                                  ->default_str("tearOff");
  AddInputFile(command, "--from", &options->from, "Start from this configuration file")
      ->excludes(family);
  command
      ->add_option("--set", options->values,
                   "Set a property, such as widthMax=108000 or label.widthMax=108000")
      ->allow_extra_args(false)
      ->type_name("KEY=VALUE");
  command->footer(
      "The file is complete and signed; without --set, orv config check finds only what is still\n"
      "a placeholder.\n"
      "On a terminal the command asks for those values.\n"
      "Examples:\n"
      "  orv config new --driver \"ORV-NX 400\"\n"
      "  orv config new --driver \"ORV-NX 400\" --set boardName=NXB-1 --set aRef=NX-400-01\n"
      "  orv config new --from orv_conf_lx300.xml --driver \"ORV-LX 310\" --set modelId=3310\n"
      "  orv config new --family cutter --family peelOff > orv_conf_new.xml");
  command->callback([options] { WriteNew(*options); });
}

}  // namespace orv::tool
