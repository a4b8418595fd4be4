#include "tools/orv/common/option_help.h"

#include <iterator>

#include "base/utf8.h"
#include "tools/orv/common/output.h"

namespace orv::tool {
namespace {

constexpr std::size_t kFirstColumn = 30;
constexpr std::size_t kWidth = 100;

/// "--page, --colour" of a set of options.
template <typename Options>
std::string NamesOf(const Options& options) {
  std::string names;
  for (const CLI::Option* option : options) {
    names += (names.empty() ? "" : ", ") + option->get_name();
  }
  return names;
}

/// One line of a list: what something is called and what it means, in as many lines as it takes.
std::string ListEntry(const std::string& name, const std::string& meaning) {
  std::string first = "  " + name;
  const std::string indent(kFirstColumn, ' ');
  std::string lines =
      WideToUtf8(Wrapped(Utf8ToWide(meaning), Utf8ToWide(indent), kWidth - kFirstColumn));
  if (lines.empty()) return first + "\n";
  if (first.size() + 2 > kFirstColumn) return first + "\n" + lines;
  return lines.replace(0, first.size(), first);
}

class HelpFormat : public CLI::Formatter {
 public:
  HelpFormat() {
    label("OPTIONS", "options");
    label("Positionals", "Arguments");
    label("SUBCOMMAND", "COMMAND");
  }

  std::string make_description(const CLI::App* command) const override {
    return command->get_description() + "\n\n";
  }

  std::string make_option(const CLI::Option* option, bool isPositional) const override {
    std::string name = make_option_name(option, isPositional);
    if (!isPositional && option->get_items_expected_max() > 0) name += " " + ValueName(option);
    return ListEntry(name, Explanation(option));
  }

  std::string make_subcommands(const CLI::App* group, CLI::AppFormatMode) const override {
    std::string list;
    for (const CLI::App* command : group->get_subcommands(nullptr)) {
      if (command->get_group().empty()) continue;  // hidden
      list += ListEntry(command->get_name(), command->get_description());
    }
    return list.empty() ? list : "\nCommands:\n" + list;
  }
};

}  // namespace

std::string ValueName(const CLI::Option* option) {
  // The parser's own name of the type stands in front of what checks the value.
  std::string name = option->get_type_name();
  const std::size_t colon = name.find(':');
  const std::string check = colon == name.npos ? "" : name.substr(colon + 1);
  name.resize(std::min(colon, name.size()));
  const bool isNumber = name == "INT" || name == "UINT" || name == "FLOAT";
  if (isNumber) name = "N";
  if ((isNumber || name == "TEXT") && !check.empty() && check.find(' ') == check.npos) name = check;
  return option->get_expected_min() == 0 ? "[" + name + "]" : name;
}

std::string Explanation(const CLI::Option* option) {
  std::vector<std::string> notes;
  if (!option->get_default_str().empty() && option->get_expected_min() > 0) {
    notes.push_back("default: " + option->get_default_str());
  }
  if (option->nonpositional()) {
    if (option->get_required()) notes.emplace_back("required");
    if (option->get_expected_max() > 1) {
      notes.emplace_back(option->get_delimiter() == ',' ? "several with commas between them"
                                                        : "may be repeated");
    }
  }
  if (!option->get_needs().empty()) {
    notes.push_back("only with " + NamesOf(option->get_needs()));
  }
  if (!option->get_excludes().empty()) {
    notes.push_back("not with " + NamesOf(option->get_excludes()));
  }
  std::string text = option->get_description();
  for (std::size_t i = 0; i < notes.size(); ++i) {
    text += (i == 0 ? " (" : "; ") + notes[i] + (i + 1 == notes.size() ? ")" : "");
  }
  return text;
}

void SetHelpFormat(CLI::App* program) { program->formatter(std::make_shared<HelpFormat>()); }

}  // namespace orv::tool
