#include <climits>
#include <memory>

#include "tools/orv/common/commands.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/outcome.h"
#include "tools/orv/common/output.h"
#include "tools/orv/config/edit.h"

/// `orv config set` and `orv config sign`.

namespace orv::tool {
namespace {

constexpr char kChangedFile[] = "The configuration file to change; a protected one stays protected";

}  // namespace

void AddConfigSetCommand(CLI::App* group) {
  struct Options {
    std::string file;
    std::string key;
    std::string value;
    int line = 0;
    bool isForced = false;
  };
  auto options = std::make_shared<Options>();
  CLI::App* command = group->add_subcommand("set", "Change one value of a file, and sign it");
  AddInputFile(command, "FILE", &options->file, kChangedFile)->required();
  command
      ->add_option("KEY", options->key,
                   "The property, alone or after an element around it, such as label.widthMax")
      ->required();
  command->add_option("VALUE", options->value, "The new value as in the file, without units")
      ->required();
  command->add_option("--line", options->line, "The line of the property, if there are several")
      ->check(InRange(1, INT_MAX))
      ->type_name("LINE");
  command->add_flag("--force", options->isForced, "Write a value in which the check finds a fault");
  command->footer(
      "With - for the file, standard input is changed and written to standard output.\n"
      "Examples:\n"
      "  orv config set orv_conf_lx300.xml widthMax 108000\n"
      "  orv config set orv_conf_lx300.xml label.widthMax 108000");
  command->callback([options] {
    const EditGuard guard(ToWide(options->file));
    EditedConfig file;
    FailOn(OpenForEdit(ToWide(options->file), &file));
    const std::wstring key = ToWide(options->key);
    const std::wstring value = ToWide(options->value);
    if (options->isForced) {
      SetProperty(&file, key, value, options->line);
    } else {
      SetCheckedProperty(&file, key, value, options->line);
    }
    FailOn(Sign(&file));
    SaveEdited(file);
  });
}

void AddConfigSignCommand(CLI::App* group) {
  auto file = std::make_shared<std::string>();
  CLI::App* command = group->add_subcommand("sign", "Update the digest of a file");
  AddInputFile(command, "FILE", file.get(), kChangedFile)->required();
  command->footer(
      "With - for the file, standard input is signed and written to standard output.\n"
      "Examples:\n  orv config sign orv_conf_lx300.xml\n"
      "  orv config sign - < plain.xml > orv_conf_lx300.xml");
  command->callback([file] {
    const EditGuard guard(ToWide(*file));
    EditedConfig config;
    FailOn(OpenForEdit(ToWide(*file), &config));
    FailOn(Sign(&config));
    SaveEdited(config);
  });
}

}  // namespace orv::tool
