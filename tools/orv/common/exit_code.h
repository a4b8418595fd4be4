#pragma once

namespace orv::tool {

/// What the program's exit tells a script.
enum ExitCode {
  kDone = 0,
  kFindings = 1,    ///< the command ran and found something wrong
  kUsage = 2,       ///< the command line is wrong
  kUnreadable = 3,  ///< something could not be read or written
};

}  // namespace orv::tool
