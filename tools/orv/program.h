#pragma once

/// The orv program, apart from `main`.

namespace orv::tool {

/// Runs the command that the arguments of `main` name. Returns the exit code of the process.
int RunProgram(int argc, char** argv);

}  // namespace orv::tool
