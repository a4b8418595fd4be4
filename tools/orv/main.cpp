#include "tools/orv/program.h"

// Running out of memory while the commands are defined ends the program.
// NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char** argv) { return orv::tool::RunProgram(argc, argv); }
