#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

/// Options and arguments shared by many commands, and checks of their values.

namespace orv::tool {

/// Ends the command if the path of an input file or folder is empty.
void RefuseEmptyInput(const std::string& path);

/// One or several files that a command reads.
template <typename Path>
CLI::Option* AddInputFile(CLI::App* command, const char* name, Path* path,
                          const std::string& meaning) {
  return command->add_option(name, *path, meaning + "; - is standard input")
      ->type_name("FILE")
      ->each(RefuseEmptyInput);
}

/// A file that a command writes, which may not have an empty path, with `--force` to replace one
/// that exists.
CLI::Option* AddOutputFile(CLI::App* command, const char* name, std::string* path,
                           const std::string& meaning);

/// Whether an option names files or folders. Its values can be any bytes, and the shell completes
/// them.
bool TakesFileNames(const CLI::Option* option);

/// Adds `--force` to a command that writes files, once.
void AddForceFlag(CLI::App* command);

/// Ends the command if it may not write a file: the file exists, and `--force` is not given. Files
/// that are not regular, such as pipes, may always be written.
void RequireReplaceable(const std::wstring& path);

/// The name of the printer that a command works on.
CLI::Option* AddPrinterArgument(CLI::App* command, std::string* name);

/// The folder of the configuration files; empty for the usual ones.
CLI::Option* AddConfigFolder(CLI::App* command, std::string* folder);

CLI::Option* AddJsonFlag(CLI::App* command, bool* asJson,
                         const std::string& meaning = "Print JSON");

/// Accepts whole numbers in a range.
CLI::Validator InRange(int min, int max);

/// Refuses an empty value, which would count as none. `what` is the value, such as "a name".
CLI::Validator NotEmpty(const char* what);

/// Limits an option to these words, compared case-insensitively; the value becomes the word as
/// written here. Help texts call the value `name`, and shell completion offers the words.
CLI::Option* AllowWords(CLI::Option* option, std::vector<std::string> words, const char* name);

/// The words that `AllowWords` gave an option; empty for every other option.
const std::vector<std::string>& AllowedWords(const CLI::Option* option);

}  // namespace orv::tool
