#include <algorithm>
#include <memory>
#include <span>

#include "base/utf8.h"
#include "config/property_tables.h"
#include "config/values.h"
#include "orv/config/config.h"
#include "orv/config/config_parser.h"
#include "orv/xml/markup.h"
#include "platform/files.h"
#include "tools/orv/common/commands.h"
#include "tools/orv/common/input.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/outcome.h"
#include "tools/orv/common/output.h"
#include "tools/orv/common/spelling.h"
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

/// The families named by identifier or kind; ends the command for an unknown one.
std::vector<std::int32_t> FamiliesOf(const std::vector<std::string>& names) {
  std::vector<std::int32_t> ids;
  for (const std::string& argument : names) {
    const std::wstring name = ToWide(argument);
    std::vector<std::wstring_view> kinds;
    const std::size_t before = ids.size();
    ForEachFamily([&](auto family) {
      kinds.push_back(family.name);
      if (ids.size() == before &&
          (name == std::to_wstring(family.id) || EqualsIgnoringAsciiCase(family.name, name))) {
        ids.push_back(family.id);
      }
    });
    if (ids.size() != before) continue;
    std::wstring known;
    for (auto kind = kinds.begin(); kind != kinds.end(); ++kind) {
      if (std::find(kinds.begin(), kind, *kind) != kind) continue;  // one kind has two identifiers
      known += (known.empty() ? L"" : L", ") + std::wstring(*kind);
    }
    const std::wstring_view nearest = Nearest(name, kinds);
    Fail(kUsage, L"unknown family '" + name + L"'" +
                     (nearest.empty() ? L"; choose one of " + known
                                      : L"; did you mean " + std::wstring(nearest) + L"?"));
  }
  return ids;
}

}  // namespace

void AddConfigNewCommand(CLI::App* group) {
  struct Options {
    std::string output = "-";
    std::vector<std::string> families = {"tearOff"};
  };
  auto options = std::make_shared<Options>();
  CLI::App* command =
      group->add_subcommand("new", "Write a template for a configuration file, with comments");
  AddOutputFile(command, "-o,--output", &options->output,
                "The file to write; its name is written into it")
      ->capture_default_str();
  command
      ->add_option("--family", options->families,
                   "A family of options, by kind such as cutter or by number")
      ->allow_extra_args(false)
      ->type_name("KIND")
      ->capture_default_str();
  command->footer(
      "The file is complete and signed, and passes orv config check.\n"
      "Examples:\n"
      "  orv config new -o orv_conf_nx400.xml\n"
      "  orv config new --family cutter --family peelOff > orv_conf_new.xml");
  command->callback([options] {
    const std::wstring path = ToWide(options->output);
    const bool toOutput = path == kStandardStream;
    const std::vector<std::int32_t> families = FamiliesOf(options->families);
    std::wstring text =
        Skeleton(toOutput ? FindConfigKey(L"configfilename")->sample : FileNameOf(path), families)
            .Make();
    const std::wstring placeholder = FindConfigKey(L"sha256")->sample;
    text.replace(text.find(placeholder), placeholder.size(), ConfigDigest(text, {}));
    std::string old;
    if (!toOutput && ReadFile(path, &old)) {
      Fail(kFindings, path + L" already exists and was not changed");
    }
    SaveFile(path, WideToUtf8(text));
  });
}

}  // namespace orv::tool
