#include <algorithm>
#include <sstream>
#include <string_view>

#include "orv/version.h"
#include "tools/orv/common/command_line.h"
#include "tools/orv/common/commands.h"
#include "tools/orv/common/general_options.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/outcome.h"
#include "tools/orv/common/output.h"

/// `orv manual`: writes manual pages from the help texts, one for the program and one for each
/// group of commands.

namespace orv::tool {
namespace {

/// Escapes text for troff: no line is a request, and hyphens stay hyphens when copied.
std::string Roff(const std::string& text) {
  std::string roff;
  for (const char letter : text) {
    const bool startsLine = roff.empty() || roff.back() == '\n';
    if (startsLine && (letter == '.' || letter == '\'')) roff += "\\&";
    if (letter == '\\') {
      roff += "\\e";
    } else if (letter == '-') {
      roff += "\\-";
    } else {
      roff += letter;
    }
  }
  return roff;
}

std::string Bold(const std::string& text) { return "\\fB" + Roff(text) + "\\fR"; }
std::string Italic(const std::string& text) { return "\\fI" + Roff(text) + "\\fR"; }

std::string Title(const std::string& page, const std::string& summary) {
  return ".TH " + Roff(page) + " 1 \"\" \"orv " ORV_VERSION "\"\n.nh\n.SH NAME\n" + Roff(page) +
         " \\- " + Roff(summary) + "\n";
}

constexpr std::string_view kParagraph = ".PP\n";

/// The footer of a help text, as a paragraph. Its indented lines are examples, which keep their
/// line ends.
std::string Footer(const CLI::App* command) {
  std::istringstream lines(command->get_footer());
  std::string roff(kParagraph);
  bool isExample = false;
  const auto startParagraph = [&] {
    if (!roff.ends_with(kParagraph)) roff += kParagraph;
  };
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("  ") != isExample) {
      isExample = !isExample;
      roff += isExample ? ".PP\n.nf\n" : ".fi\n.PP\n";
    } else if (line.empty() || line.ends_with(':')) {
      startParagraph();
    }
    if (!line.empty()) roff += Roff(line) + "\n";
  }
  return isExample ? roff + ".fi\n" : roff;
}

std::string Names(const CLI::Option* option) {
  if (IsArgument(option)) return Italic(option->get_name(true));
  std::string names;
  for (const std::string& name : option->get_snames()) names += Bold("-" + name) + ", ";
  names += Bold("--" + option->get_lnames().front());
  return option->get_items_expected_max() > 0 ? names + " " + Italic(ValueName(option)) : names;
}

/// An entry of a list: a name, and its meaning in the paragraph below.
std::string Entry(const std::string& name, const std::string& meaning) {
  return ".TP\n" + name + "\n" + Roff(meaning) + ".\n";
}

std::string Options(const CLI::App* command) {
  std::string roff;
  for (const CLI::Option* option : command->get_options()) {
    if (option->get_group() == kGeneralOptions) continue;  // have a section of their own
    if (option == command->get_help_ptr() && command->get_parent() != nullptr) continue;
    roff += Entry(Names(option), Explanation(option));
  }
  return roff;
}

/// "orv config check [OPTIONS] FILE..."
std::string Synopsis(const CLI::App* command) {
  std::string name = command->get_name();
  for (const CLI::App* above = command->get_parent(); above != nullptr;
       above = above->get_parent()) {
    name = above->get_name() + " " + name;
  }
  std::string roff = Bold(name) + " [options]";
  for (const CLI::Option* option : command->get_options()) {
    if (!IsArgument(option)) continue;
    std::string argument = Italic(option->get_name(true));
    if (option->get_expected_max() > 1) argument += "...";
    roff += " " + (option->get_required() ? argument : "[" + argument + "]");
  }
  return roff + "\n";
}

struct NameAndMeaning {
  const char* name;
  const char* meaning;
};
constexpr NameAndMeaning kFiles[] = {
    {"~/.local/share/orv/user.sqlite", "The user's settings store, with the user's own printers"},
    {"/var/lib/orv/machine.sqlite", "The machine's settings store, with the printers of all users"},
    {"/var/log/orv/orv_logfile-YYYY-MM-DD.log", "The log of a day"},
    {"~/.local/state/orv/orv_logfile-YYYY-MM-DD.log",
     "The log of a day, if the folder /var/log/orv is missing"},
    {"orv_conf_MODEL.xml",
     "The configuration of a printer model, in the folder of --config-dir; without it in that of "
     "ORV_CONFIG_DIR, in the program's own, or in share/orv/configurations beside that one"},
};
constexpr NameAndMeaning kExitCodes[] = {
    {"0", "The command did its work, and its answer is yes if it has one"},
    {"1", "The command did its work, and its answer is no, or it found something wrong"},
    {"2", "The command line is wrong"},
    {"3", "The command could not do its work: something could not be read or written"},
};

/// The sections at the end of every page. `others` are the pages to see.
std::string LastSections(const CLI::App* command, const std::vector<std::string>& others) {
  std::string roff = ".SH GENERAL OPTIONS\n";
  for (const CLI::Option* option : command->get_options()) {
    if (option->get_group() == kGeneralOptions) roff += Entry(Names(option), Explanation(option));
  }
  roff += ".SH ENVIRONMENT\n";
  for (const auto& [name, meaning] : EnvironmentVariables()) roff += Entry(Bold(name), meaning);
  roff += ".SH FILES\n";
  for (const auto& [name, meaning] : kFiles) roff += Entry(Italic(name), meaning);
  roff += ".SH EXIT STATUS\n";
  for (const auto& [name, meaning] : kExitCodes) roff += Entry(Bold(name), meaning);
  roff += ".SH SEE ALSO\n";
  for (const std::string& other : others) {
    roff += Bold(other) + "(1)" + (&other == &others.back() ? "\n" : ",\n");
  }
  return roff;
}

/// The pages of the program and its groups, apart from one.
std::vector<std::string> OtherPages(const CLI::App* program, const CLI::App* own) {
  std::vector<std::string> pages;
  if (own != program) pages.emplace_back("orv");
  for (const CLI::App* group : program->get_subcommands(nullptr)) {
    if (group != own && !group->get_group().empty()) pages.push_back("orv-" + group->get_name());
  }
  return pages;
}

std::string GroupPage(const CLI::App* group) {
  std::string roff = Title("orv-" + group->get_name(), group->get_description()) + ".SH SYNOPSIS\n";
  std::string commands = ".SH COMMANDS\n";
  std::vector<const CLI::App*> members = group->get_subcommands(nullptr);
  const bool isCommand = members.empty();  // the only one of its group
  if (isCommand) members.push_back(group);
  for (const CLI::App* command : members) {
    roff += (command == members.front() ? "" : ".br\n") + Synopsis(command);
    commands += ".SS " + Roff(command->get_name()) + "\n" + Synopsis(command) + ".PP\n" +
                Roff(command->get_description()) + ".\n" + Options(command) + Footer(command);
  }
  if (!isCommand && !group->get_footer().empty()) {
    commands += ".SH NOTES\n" + Footer(group).substr(kParagraph.size());
  }
  return roff + commands + LastSections(group, OtherPages(group->get_parent(), group));
}

std::string ProgramPage(const CLI::App* program) {
  std::string roff = Title("orv", "the label-printer driver's files and settings") +
                     ".SH SYNOPSIS\n" + Bold("orv") + " " + Italic("GROUP") + " " +
                     Italic("COMMAND") + " [options] [arguments]\n.SH DESCRIPTION\n" +
                     Roff(program->get_description()) + "\n" + Footer(program) + ".SH OPTIONS\n" +
                     Options(program) + ".SH GROUPS\n";
  for (const CLI::App* group : program->get_subcommands(nullptr)) {
    if (group->get_group().empty()) continue;  // hidden
    roff += Entry(Bold(group->get_name()), group->get_description());
  }
  return roff + LastSections(program, OtherPages(program, program));
}

void WritePage(const std::string& folder, const std::string& name, const std::string& roff) {
  SaveFile(ToWide(folder + "/" + name + ".1"), roff);
}

}  // namespace

void AddManualCommand(CLI::App* program) {
  auto folder = std::make_shared<std::string>();
  CLI::App* command = program->add_subcommand("manual", "Write the manual pages into a folder");
  command->group("");  // for the build, not for people
  command->add_option("FOLDER", *folder, "The folder, which must exist")
      ->type_name("FOLDER")
      ->required();
  AddForceFlag(command);
  command->callback([program, folder] {
    WritePage(*folder, "orv", ProgramPage(program));
    for (const CLI::App* group : program->get_subcommands(nullptr)) {
      if (!group->get_group().empty()) {
        WritePage(*folder, "orv-" + group->get_name(), GroupPage(group));
      }
    }
  });
}

}  // namespace orv::tool
