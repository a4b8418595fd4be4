#include <algorithm>
#include <sstream>

#include "orv/version.h"
#include "tools/orv/common/command_line.h"
#include "tools/orv/common/commands.h"
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

/// The footer of a help text. Its indented lines are examples, which keep their line ends.
std::string Footer(const CLI::App* command) {
  std::istringstream lines(command->get_footer());
  std::string roff;
  bool isExample = false;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("  ") != isExample) {
      isExample = !isExample;
      roff += isExample ? ".PP\n.nf\n" : ".fi\n.PP\n";
    } else if (roff.empty() || line.ends_with(':')) {
      roff += ".PP\n";
    }
    roff += line.empty() ? ".PP\n" : Roff(line) + "\n";
  }
  return isExample ? roff + ".fi\n" : roff;
}

std::string Names(const CLI::Option* option) {
  if (option->get_positional()) return Italic(option->get_name(true));
  std::string names;
  for (const std::string& name : option->get_snames()) names += Bold("-" + name) + ", ";
  for (const std::string& name : option->get_lnames()) names += Bold("--" + name) + ", ";
  names.resize(names.size() - 2);
  return option->get_items_expected_max() > 0 ? names + " " + Italic(ValueName(option)) : names;
}

std::string Options(const CLI::App* command) {
  std::string roff;
  for (const CLI::Option* option : command->get_options()) {
    if (option == command->get_help_ptr() && command->get_parent() != nullptr) continue;
    roff += ".TP\n" + Names(option) + "\n" + Roff(Explanation(option)) + ".\n";
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
    if (!option->get_positional()) continue;
    std::string argument = Italic(option->get_name(true));
    if (option->get_expected_max() > 1) argument += "...";
    roff += " " + (option->get_required() ? argument : "[" + argument + "]");
  }
  return roff + "\n";
}

std::string GroupPage(const CLI::App* group) {
  std::string roff = Title("orv-" + group->get_name(), group->get_description()) + ".SH SYNOPSIS\n";
  std::string commands = ".SH COMMANDS\n";
  std::vector<const CLI::App*> members = group->get_subcommands(nullptr);
  const bool isCommand = members.empty();  // the only one of its group
  if (isCommand) members.push_back(group);
  for (const CLI::App* command : members) {
    roff += Synopsis(command) + ".br\n";
    commands += ".SS " + Roff(command->get_name()) + "\n" + Synopsis(command) + ".PP\n" +
                Roff(command->get_description()) + ".\n" + Options(command) + Footer(command);
  }
  if (!isCommand && !group->get_footer().empty()) commands += ".SH NOTES\n" + Footer(group);
  return roff + commands + ".SH SEE ALSO\n" + Bold("orv") + "(1)\n";
}

std::string ProgramPage(const CLI::App* program) {
  std::string roff = Title("orv", "the label-printer driver's files and settings") +
                     ".SH SYNOPSIS\n" + Bold("orv") + " " + Italic("GROUP") + " " +
                     Italic("COMMAND") + " [options] [arguments]\n.SH DESCRIPTION\n" +
                     Roff(program->get_description()) + "\n" + Footer(program) + ".SH OPTIONS\n" +
                     Options(program) + ".SH GROUPS\n";
  std::string pages;
  for (const CLI::App* group : program->get_subcommands(nullptr)) {
    if (group->get_group().empty()) continue;  // hidden
    roff += ".TP\n" + Bold(group->get_name()) + "\n" + Roff(group->get_description()) + ".\n";
    if (!pages.empty()) pages += ",\n";
    pages += Bold("orv-" + group->get_name()) + "(1)";
  }
  return roff + ".SH SEE ALSO\n" + pages + "\n";
}

void WritePage(const std::string& folder, const std::string& name, const std::string& roff) {
  SaveFile(ToWide(folder + "/" + name + ".1"), roff);
}

}  // namespace

void AddManualCommand(CLI::App* program) {
  auto folder = std::make_shared<std::string>();
  CLI::App* command = program->add_subcommand("manual", "Write the manual pages into a folder");
  command->group("");  // for the build, not for people
  command->add_option("FOLDER", *folder, "The folder, which must exist")->required();
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
