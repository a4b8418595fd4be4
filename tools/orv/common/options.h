#pragma once

#include <string>

#include <CLI/CLI.hpp>

/// Options and arguments that many commands have, in the same words everywhere.

namespace orv::tool {

/// One or several files that a command reads.
template <typename Path>
CLI::Option* AddInputFile(CLI::App* command, const char* name, Path* path,
                          const std::string& meaning) {
  return command->add_option(name, *path, meaning + "; - is standard input")->type_name("FILE");
}

/// A file that a command writes.
inline CLI::Option* AddOutputFile(CLI::App* command, const char* name, std::string* path,
                                  const std::string& meaning) {
  return command->add_option(name, *path, meaning + "; - is standard output")->type_name("FILE");
}

/// The printer that a command is about, by its name.
inline CLI::Option* AddPrinter(CLI::App* command, std::string* name) {
  return command->add_option("PRINTER", *name, "The printer's name")->required();
}

/// Where the library is to look for configuration files; empty for its own folder.
inline CLI::Option* AddConfigFolder(CLI::App* command, std::string* folder) {
  return command
      ->add_option("--config-dir", *folder, "The folder of the printers' configuration files")
      ->type_name("FOLDER")
      ->default_str("the program's own");
}

inline CLI::Option* AddJsonFlag(CLI::App* command, bool* asJson,
                                const std::string& meaning = "Print JSON") {
  return command->add_flag("--json", *asJson, meaning);
}

}  // namespace orv::tool
