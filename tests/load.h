#pragma once

#include <set>
#include <string>

/// What a process does under load, for the tests and for the processes that they start.

namespace orv::test {

struct LoadTotals {
  int runs = 0;                   ///< each logs one entry with the source "Load"
  std::set<std::string> results;  ///< what came of the loads and merges: one and the same
};

/// Lets threads log, load a plain and a protected file, answer a driver's requests and clean up
/// session entries at once, again and again until the time is up, and ends the process when a
/// promise does not hold. Needs the printer "Label 1" and its files in `folder`: its configuration
/// and that file's protected form, `protected.xml`. Silent, it does all but log.
LoadTotals RunLoad(const std::wstring& folder, int threads, int seconds, bool isSilent = false);

/// The message that a thread of a process logs in a run.
std::wstring LoadMessage(unsigned long process, int thread, int run);

}  // namespace orv::test
