#include <algorithm>
#include <map>
#include <memory>
#include <tuple>
#include <vector>

#include "base/utf8.h"
#include "orv/config/config.h"
#include "tools/orv/common/commands.h"
#include "tools/orv/common/lengths.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/output.h"
#include "tools/orv/config/record.h"
#include "tools/orv/config/text.h"

/// `orv config diff`.

namespace orv::tool {
namespace {

enum class ChangeKind { kAdded, kRemoved, kChanged };

struct Change {
  ChangeKind kind;
  std::wstring section;
  std::wstring item;
  std::wstring key;
  std::wstring before;
  std::wstring after;
  bool isText = false;
};

/// Whether a value describes the file rather than the printer.
bool IsAboutTheFile(const ConfigValue& value) {
  constexpr std::wstring_view kKeys[] = {L"created", L"lastModified", L"sha256"};
  return value.section == L"fileInfo" &&
         std::find(std::begin(kKeys), std::end(kKeys), value.key) != std::end(kKeys);
}

/// The values of a file with lookup by place.
class Values {
 public:
  explicit Values(const Config& config) : all_(ConfigValues(config)) {
    std::erase_if(all_, IsAboutTheFile);
    NumberItems();
    for (const ConfigValue& value : all_) places_.emplace(PlaceOf(value), &value);
  }
  Values(const Values&) = delete;
  Values& operator=(const Values&) = delete;

  auto begin() const { return all_.begin(); }
  auto end() const { return all_.end(); }

  /// The value at the same place; null when there is none.
  const ConfigValue* Find(const ConfigValue& wanted) const {
    const auto found = places_.find(PlaceOf(wanted));
    return found != places_.end() ? found->second : nullptr;
  }

 private:
  using Place = std::tuple<std::wstring_view, std::wstring_view, std::wstring_view>;
  static Place PlaceOf(const ConfigValue& value) { return {value.section, value.item, value.key}; }

  /// Numbers items with the same name from the second one on.
  void NumberItems() {
    std::map<std::pair<std::wstring, std::wstring>, int> counts;
    for (std::size_t i = 0; i < all_.size(); ++i) {
      if (!all_[i].key.empty()) continue;
      const std::wstring name = all_[i].item;
      const int number = ++counts[{all_[i].section, name}];
      if (number == 1) continue;
      std::size_t j = i;
      do {
        all_[j++].item += L" (" + std::to_wstring(number) + L")";
      } while (j < all_.size() && all_[j].item == name && !all_[j].key.empty());
    }
  }

  std::vector<ConfigValue> all_;
  std::map<Place, const ConfigValue*> places_;
};

/// Adds the items that one file has and the other does not, without their values.
void AddMissing(const Values& from, const Values& other, ChangeKind kind,
                std::vector<Change>* changes) {
  std::wstring missing;
  for (const ConfigValue& value : from) {
    if (!value.key.empty() || other.Find(value) != nullptr) continue;
    // Options and speeds follow the family or option that contains them, which is already listed.
    const bool isInside = !missing.empty() && value.item.starts_with(missing + L" ");
    if (isInside && value.section == L"optionFamilies") continue;
    missing = value.item;
    changes->push_back({kind, value.section, value.item, {}, {}, {}, false});
  }
}

/// The items that both files have, in the order of the first file.
std::wstring CommonItems(const Values& values, const Values& other, const std::wstring& section) {
  std::wstring text;
  for (const ConfigValue& value : values) {
    if (value.section != section || !value.key.empty() || other.Find(value) == nullptr) continue;
    text += (text.empty() ? L"" : L", ") + value.item;
  }
  return text;
}

std::vector<Change> Compare(const Values& before, const Values& after) {
  std::vector<std::wstring> sections;
  for (const auto* const values : {&before, &after}) {
    for (const ConfigValue& value : *values) {
      if (std::find(sections.begin(), sections.end(), value.section) == sections.end()) {
        sections.push_back(value.section);
      }
    }
  }
  std::vector<Change> changes;
  for (const ConfigValue& value : before) {
    const ConfigValue* const other = value.key.empty() ? nullptr : after.Find(value);
    if (other == nullptr || other->text == value.text) continue;
    changes.push_back({ChangeKind::kChanged, value.section, value.item, value.key, value.text,
                       other->text, value.isText});
  }
  AddMissing(before, after, ChangeKind::kRemoved, &changes);
  AddMissing(after, before, ChangeKind::kAdded, &changes);
  for (const std::wstring& section : sections) {
    const std::wstring first = CommonItems(before, after, section);
    const std::wstring second = CommonItems(after, before, section);
    if (first != second) {
      changes.push_back({ChangeKind::kChanged, section, {}, L"order", first, second, false});
    }
  }
  const auto placeOf = [&](const Change& change) {
    return std::find(sections.begin(), sections.end(), change.section);
  };
  std::stable_sort(changes.begin(), changes.end(),
                   [&](const Change& a, const Change& b) { return placeOf(a) < placeOf(b); });
  return changes;
}

const wchar_t* NameOf(ChangeKind kind) {
  constexpr const wchar_t* kNames[] = {L"added", L"removed", L"changed"};
  return kNames[static_cast<int>(kind)];
}

std::string AsJson(const std::vector<Change>& changes) {
  JsonWriter json;
  json.BeginObject();
  json.Member("same", changes.empty());
  json.Key("changes");
  json.BeginArray();
  for (const Change& change : changes) {
    json.BeginObject();
    json.Member("change", NameOf(change.kind));
    json.Member("section", change.section);
    json.Member("item", change.item);
    json.Member("key", change.key);
    json.Member("before", change.before);
    json.Member("after", change.after);
    json.EndObject();
  }
  json.EndArray();
  json.EndObject();
  return json.Text();
}

std::string AsText(const std::vector<Change>& changes) {
  constexpr const wchar_t* kSigns[] = {L"  +", L"  -", L"  ~"};
  std::string text;
  Table table;
  std::wstring section;
  for (const Change& change : changes) {
    if (change.section != section) {
      text += table.TakeText() + WideToUtf8(change.section) + "\n";
      section = change.section;
    }
    const bool hasBoth = !change.item.empty() && !change.key.empty();
    const std::wstring what = change.item + (hasBoth ? L" " : L"") + change.key;
    const std::wstring quote = change.isText ? L"\"" : L"";
    table.Add({kSigns[static_cast<int>(change.kind)], what,
               change.kind == ChangeKind::kChanged
                   ? quote + change.before + quote + L" -> " + quote + change.after + quote
                   : std::wstring()});
  }
  return text + table.TakeText();
}

}  // namespace

void AddConfigDiffCommand(CLI::App* group) {
  struct Options {
    std::string before;
    std::string after;
    bool asJson = false;
  };
  auto options = std::make_shared<Options>();
  CLI::App* command =
      group->add_subcommand("diff", "Compare two models by meaning; exits with 1 if they differ");
  AddInputFile(command, "A", &options->before, "A configuration file, plain or protected")
      ->required();
  AddInputFile(command, "B", &options->after, "The file to compare with it")->required();
  AddInchFlag(command);
  AddJsonFlag(command, &options->asJson);
  command->footer(
      "Compares the content of the files: the order of keys, letter case, comments, digest and "
      "times\n"
      "are ignored. Print modes, sensors, speeds and options are matched by name.\n"
      "JSON: same, and changes with change (added, removed or changed), section, item, key, "
      "before,\n"
      "after.\n"
      "Examples:\n"
      "  orv config diff orv_conf_lx300.xml orv_conf_lx300p.xml\n"
      "  orv config diff --json old/orv_conf_lx300.xml orv_conf_lx300.xml");
  command->callback([options] {
    const Config before = LoadConfig(ToWide(options->before));
    const Config after = LoadConfig(ToWide(options->after));
    const std::vector<Change> changes = Compare(Values(before), Values(after));
    Print(options->asJson ? AsJson(changes) : AsText(changes));
    if (!changes.empty()) Finish(kFindings);
  });
}

}  // namespace orv::tool
