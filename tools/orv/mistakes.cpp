#include "tools/orv/mistakes.h"

#include <algorithm>

#include "orv/text/utf8.h"
#include "tools/orv/output.h"
#include "tools/orv/spelling.h"

namespace orv::tool {
namespace {

std::wstring NearestOf(const std::string& word, const std::vector<std::wstring>& candidates) {
  const std::vector<std::wstring_view> views(candidates.begin(), candidates.end());
  return std::wstring(Nearest(ToWide(word), views));
}

std::vector<std::wstring> CommandNames(CLI::App* group) {
  std::vector<std::wstring> names;
  for (const CLI::App* command : group->get_subcommands(nullptr)) {
    if (!command->get_group().empty()) names.push_back(ToWide(command->get_name()));
  }
  return names;
}

std::vector<std::wstring> OptionNames(const CLI::App* command) {
  std::vector<std::wstring> names;
  for (const CLI::Option* option : command->get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back(L"--" + ToWide(name));
  }
  return names;
}

/// The first command or option of the arguments that is not known.
std::wstring NearestName(CLI::App* program, const std::vector<std::string>& arguments) {
  CLI::App* command = program;
  for (const std::string& argument : arguments) {
    const std::string word = argument.substr(0, argument.find('='));
    if (word.starts_with("--")) {
      if (command->get_option_no_throw(word) != nullptr) continue;
      return NearestOf(word, OptionNames(command));
    }
    const std::vector<CLI::App*> commands = command->get_subcommands(nullptr);
    if (word.starts_with("-") || commands.empty()) continue;
    const auto next = std::ranges::find(commands, word, &CLI::App::get_name);
    if (next == commands.end()) return NearestOf(word, CommandNames(command));
    command = *next;
  }
  return {};
}

/// The values that a message lists behind a wrong one: "--method: matrx4 not in {none,matrix4}".
std::wstring NearestValue(const std::string& message) {
  const std::size_t list = message.find(" not in {");
  if (list == message.npos) return {};
  const std::size_t word = message.rfind(' ', list - 1) + 1;
  std::vector<std::wstring> values;
  const std::size_t end = message.find('}', list);
  for (std::size_t at = message.find('{', list) + 1; at < end;) {
    const std::size_t comma = std::min(message.find(',', at), end);
    values.push_back(ToWide(message.substr(at, comma - at)));
    at = comma + 1;
  }
  return NearestOf(message.substr(word, list - word), values);
}

}  // namespace

std::wstring WhatWasMeant(CLI::App* program, const std::vector<std::string>& arguments,
                          const CLI::ParseError& error) {
  return error.get_name() == "ValidationError" ? NearestValue(error.what())
                                               : NearestName(program, arguments);
}

}  // namespace orv::tool
