#include <algorithm>
#include <cstdint>
#include <iterator>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "base/utf8.h"
#include "config/property.h"
#include "config/property_tables.h"
#include "orv/config/config.h"
#include "orv/xml/markup.h"
#include "tools/orv/common/commands.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/outcome.h"
#include "tools/orv/common/output.h"
#include "tools/orv/config/keys.h"
#include "tools/orv/config/rules.h"
#include "xml/names.h"

/// `orv config schema`: writes the checker's tables as a RELAX NG schema, with which XML editors
/// complete and check a file while it is written.
///
/// The schema accepts every file without findings, allowed ones included, whose elements have the
/// letter case of the tables. It cannot compare values, and does not count properties, because they
/// can be in any order.

namespace orv::tool {
namespace {

/// A pattern for a word in any letter case.
std::wstring AnyCase(std::wstring_view word) {
  std::wstring pattern;
  for (const wchar_t letter : word) {
    const wchar_t upper = ToUpperAscii(letter);
    const wchar_t lower = ToLowerAscii(letter);
    if (upper == lower) {
      pattern += letter;
    } else {
      pattern.append(L"[").append(1, upper).append(1, lower) += L']';
    }
  }
  return pattern;
}

/// Composes the schema.
class Schema {
 public:
  std::wstring Make() {
    text_ = L"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    Inside(L"grammar",
           L" xmlns=\"http://relaxng.org/ns/structure/1.0\""
           L" xmlns:a=\"http://relaxng.org/ns/compatibility/annotations/1.0\""
           L" datatypeLibrary=\"http://www.w3.org/2001/XMLSchema-datatypes\"",
           [&] {
             Inside(L"start", L"", [&] { WriteRoot(); });
             Inside(L"define", L" name=\"attributes\"", [&] {
               Inside(L"zeroOrMore", L"",
                      [&] { Inside(L"attribute", L"", [&] { Line(L"<anyName/>"); }); });
             });
           });
    return std::move(text_);
  }

 private:
  enum Count { kOne, kMany, kOneOrMore };

  void Line(const std::wstring& line) { text_.append(depth_ * 2, L' ').append(line) += L'\n'; }

  template <typename Write>
  void Inside(const std::wstring& tag, const std::wstring& attributes, Write write) {
    Line(L"<" + tag + attributes + L">");
    ++depth_;
    write();
    --depth_;
    Line(L"</" + tag + L">");
  }

  /// An element of a file. The loader ignores attributes of elements other than properties.
  template <typename Write>
  void Element(std::wstring_view name, Write write) {
    Inside(L"element", L" name=\"" + std::wstring(name) + L"\"", [&] {
      Line(L"<ref name=\"attributes\"/>");
      write();
    });
  }

  template <typename Write>
  void Repeated(Count count, Write write) {
    if (count == kOne) return write();
    Inside(count == kMany ? L"zeroOrMore" : L"oneOrMore", L"", write);
  }

  void Value(std::wstring_view value) {
    Line(L"<value>" + std::wstring(CMarkup::EscapeText(std::wstring(value).c_str())) + L"</value>");
  }

  void Pattern(const std::wstring& pattern) {
    Line(L"<data type=\"string\"><param name=\"pattern\">" + pattern + L"</param></data>");
  }

  /// One of some words in any letter case. Editors offer the words as they are written here.
  void Words(std::span<const std::wstring_view> words) {
    std::wstring pattern;
    Inside(L"choice", L"", [&] {
      for (const std::wstring_view word : words) {
        Value(word);
        pattern += (pattern.empty() ? L"" : L"|") + AnyCase(word);
      }
      Pattern(pattern);
    });
  }

  void Number(std::int64_t min, std::int64_t max) {
    Line(L"<data type=\"int\"><param name=\"minInclusive\">" + std::to_wstring(min) +
         L"</param><param name=\"maxInclusive\">" + std::to_wstring(max) + L"</param></data>");
  }

  void NumberOf(std::wstring_view name) {
    const ConfigKey* const key = FindConfigKey(name);
    if (key == nullptr) return Number(INT32_MIN, INT32_MAX);
    Number(LeastNumber(*key), key->bounds.max);
  }

  void WriteText(std::wstring_view key) {
    constexpr std::wstring_view kNames[] = {L"modelName", L"optionFamilyName", L"optionName"};
    if (key == L"type") return Value(L"printer");
    if (std::ranges::find(kNames, key) != std::end(kNames)) {
      return Line(L"<data type=\"string\"><param name=\"minLength\">1</param></data>");
    }
    for (const EntryList* list : {&kPrintModeList, &kSensorTypeList}) {
      if (list->defaultKey == key) return WriteEntryNames(*list);
    }
    Line(L"<text/>");
  }

  /// The entries that can be the default of a list.
  void WriteEntryNames(const EntryList& list) {
    std::vector<std::wstring_view> names;
    for (const NumberedName& entry : list.names) {
      names.push_back(entry.name.substr(list.defaultPrefix.size()));
    }
    Words(names);
  }

  void WriteValue(const PropertyRule& rule) {
    constexpr std::wstring_view kBooleans[] = {L"true", L"false"};
    switch (rule.kind) {
      case ValueKind::kInteger:
      case ValueKind::kRequiredInteger:
        return NumberOf(rule.key);
      case ValueKind::kBoolean:
        return Words(kBooleans);
      case ValueKind::kUpperCaseBoolean:
        return Inside(L"choice", L"", [&] {
          Value(L"TRUE");
          Value(L"FALSE");
          Pattern(AnyCase(L"false"));
        });
      case ValueKind::kDateTime:
        return Pattern(
            L"[0-9]{4}[\\s\\S](0[1-9]|1[0-2])[\\s\\S](0[1-9]|[12][0-9]|3[01])[\\s\\S]"
            L"([01][0-9]|2[0-3])[\\s\\S][0-5][0-9][\\s\\S][0-5][0-9]");
      case ValueKind::kGuidance: {
        std::vector<std::wstring_view> names;
        for (const auto& known : kGuidanceNames) names.push_back(known.name);
        return Words(names);
      }
      case ValueKind::kText:
        return WriteText(rule.key);
      case ValueKind::kIgnored:
        return Line(L"<text/>");
    }
  }

  /// A property with its meaning, which editors show.
  template <typename Write>
  void Property(std::wstring_view key, Write writeValue) {
    Inside(L"element", L" name=\"property\"", [&] {
      const ConfigKey* const known = FindConfigKey(key);
      if (known != nullptr && known->meaning != nullptr) {
        Line(L"<a:documentation>" + std::wstring(CMarkup::EscapeText(known->meaning)) +
             L"</a:documentation>");
      }
      const std::wstring_view names[] = {key};
      Inside(L"attribute", L" name=\"name\"", [&] { Words(names); });
      writeValue();
    });
  }

  void Property(const PropertyRule& rule) {
    Property(rule.key, [&] { WriteValue(rule); });
  }

  static std::vector<PropertyRule> Without(std::span<const PropertyRule> rules,
                                           std::wstring_view key) {
    std::vector<PropertyRule> others(rules.begin(), rules.end());
    std::erase_if(others, [key](const PropertyRule& rule) { return rule.key == key; });
    return others;
  }

  void WriteProperties(std::span<const PropertyRule> rules, Count count) {
    Repeated(count, [&] {
      if (rules.size() == 1) return Property(rules.front());
      Inside(L"choice", L"", [&] {
        for (const PropertyRule& rule : rules) Property(rule);
      });
    });
  }

  void Write(const ElementRule& rule) {
    Repeated(rule.need == Need::kMany ? kOneOrMore : kOne, [&] {
      Element(rule.name, [&] {
        if (!rule.properties.empty()) {
          const bool isOne = rule.properties.size() == 1 && rule.occurrence != Occurrence::kMany;
          WriteProperties(rule.properties, isOne                                  ? kOne
                                           : rule.occurrence == Occurrence::kMany ? kOneOrMore
                                                                                  : kMany);
        }
        for (const ElementRule& child : rule.children) Write(child);
        if (rule.name == std::wstring_view(L"optionFamilies")) WriteFamilies();
      });
    });
  }

  /// From some version on there is no device. The schema does not compare the version, because a
  /// choice of two documents would hide the place of every fault.
  void WriteRoot() {
    Element(L"xmlData", [&] {
      Write(kRoot[0]);
      Inside(L"optional", L"", [&] { Write(kRoot[1]); });
    });
  }

  void WriteFamilies() {
    Repeated(kMany, [&] {
      Inside(L"choice", L"", [&] { ForEachFamily([&](auto family) { WriteFamily(family); }); });
    });
  }

  /// A family, whose identifier decides the properties of its options.
  template <typename Kind>
  void WriteFamily(FamilyMember<Kind> family) {
    static constexpr auto kRules = RulesOf(KindProperties<Kind>::kTable);
    const auto others = [&] {
      Repeated(kMany, [&] {
        Inside(L"choice", L"", [&] {
          for (const PropertyRule& rule : Without(kFamilyRules, L"optionFamilyId")) {
            if (rule.key != L"optionFamilyType") {
              Property(rule);
              continue;
            }
            const std::wstring_view names[] = {family.name, L""};
            Property(rule.key, [&] { Words(names); });
          }
        });
      });
    };
    Element(L"optionFamily", [&] {
      Element(L"properties", [&] {
        others();
        Property(L"optionFamilyId",
                 [&] { Line(L"<value type=\"int\">" + std::to_wstring(family.id) + L"</value>"); });
        others();
      });
      Element(L"options", [&] {
        Repeated(kOneOrMore, [&] {
          Element(L"option", [&] {
            Element(L"properties", [&] { WriteProperties(kRules, kMany); });
            if constexpr (std::is_same_v<Kind, BeltApplicator>) Write(kBeltOption[1]);
          });
        });
      });
    });
  }

  std::wstring text_;
  std::size_t depth_ = 0;
};

}  // namespace

void AddConfigSchemaCommand(CLI::App* group) {
  auto output = std::make_shared<std::string>("-");
  CLI::App* command = group->add_subcommand(
      "schema", "Write a RELAX NG schema of configuration files for XML editors");
  AddOutputFile(command, "-o,--output", output.get(), "The file to write")->capture_default_str();
  command->footer(
      "With the schema an editor offers keys and values, and marks what is wrong while you write.\n"
      "It does not compare values, and does not notice keys that are missing or repeated: orv "
      "config\n"
      "check finds them. docs/configuration-file.md explains how to attach it to a file.\n"
      "Examples:\n"
      "  orv config schema -o orv_conf.rng\n"
      "  orv config schema | grep -c documentation");
  command->callback([output] { SaveFile(ToWide(*output), WideToUtf8(Schema().Make())); });
}

}  // namespace orv::tool
