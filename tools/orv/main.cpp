#include "tools/orv/commands.h"

int main(int argc, char** argv) {
  using namespace orv::tool;

  CLI::App program("Printer configuration, settings, pages and logs of the label-printer driver.",
                   "orv");
  program.require_subcommand(1);

  try {
    program.parse(argc, argv);
  } catch (const CLI::RuntimeError& error) {
    return error.get_exit_code();
  } catch (const CLI::ParseError& error) {
    return program.exit(error) == 0 ? kDone : kUsage;
  }
  return kDone;
}
