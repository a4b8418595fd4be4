#pragma once

#include <string>
#include <vector>

/// The checks of `orv doctor`. They change nothing: no store, log or file is created, repaired or
/// written.

namespace orv::tool {

enum class Health { kOk, kWarning, kError };

/// The result of one check.
struct CheckRow {
  Health health;
  std::wstring check;    ///< what was examined, such as "log"
  std::wstring finding;  ///< what was found
  std::wstring advice;   ///< what to do; empty if there is nothing to do
};

/// What to examine besides the system.
struct DoctorOptions {
  std::wstring printer;       ///< empty for all printers, with one row each
  std::wstring record;        ///< the path of a record; empty for none
  std::wstring configFolder;  ///< empty for the usual ones
};

/// Runs all checks. From then on this process writes neither settings nor log entries.
std::vector<CheckRow> RunChecks(const DoctorOptions& options);

/// "ok", "warning" or "error".
const wchar_t* NameOf(Health health);

}  // namespace orv::tool
