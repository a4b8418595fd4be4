#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

/// Help texts, and messages for rejected command lines.

namespace orv::tool {

/// Sets the help format of a program and all its commands: lines of at most 100 characters. Call it
/// before any command is added.
void SetHelpFormat(CLI::App* program);

/// Whether an option is an argument only: it has no name that begins with hyphens.
bool IsArgument(const CLI::Option* option);

/// The name of an option's value, such as FILE; in brackets when the value is optional.
std::string ValueName(const CLI::Option* option);

/// The description of an option with its default and the options it requires or excludes.
std::string Explanation(const CLI::Option* option);

/// The command of a group by name; null when there is none.
CLI::App* FindCommand(CLI::App* group, const std::string& name);

/// The message for an unknown command of a group, with the nearest known name.
std::wstring UnknownCommand(const CLI::App* group, const std::string& name);

/// The message for arguments that a command does not take.
std::wstring UnexpectedArguments(const std::vector<std::string>& arguments);

/// Whether a command line names a command that its group does not have.
bool NamesUnknownCommand(CLI::App* program, const std::vector<std::string>& arguments);

/// A group's commands, for a command line that names the group and no command; empty for any other.
std::string ShortHelp(CLI::App* program, const std::vector<std::string>& arguments,
                      const CLI::ParseError& error);

/// Lets the parser refuse arguments that are neither UTF-8 nor file names, if there are any: they
/// would be stored as another text.
void RefuseInvalidText(CLI::App* program, const std::vector<std::string>& arguments);

/// The arguments as the parser takes them: the last one first, and changed so that one in brackets
/// is not taken apart as a list.
std::vector<std::string> ParserArguments(CLI::App* program,
                                         const std::vector<std::string>& arguments);

/// The arguments that the parser has left over, as they were given.
std::vector<std::string> RemainingArguments(const CLI::App* program);

/// The message for a command line that the parser refused: the error, the nearest known command,
/// option or value, and which help to read.
std::wstring DescribeMistake(CLI::App* program, const std::vector<std::string>& arguments,
                             const CLI::ParseError& error);

}  // namespace orv::tool
