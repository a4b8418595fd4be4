#pragma once

#include <set>
#include <string>

/// The load test of a process, for the tests and for the processes that they start.

namespace orv::test {

/// Lets threads log, load a plain and a protected file, serve a driver's requests and clean up
/// session entries at once, and ends the process if a documented guarantee fails. Each run of a
/// thread logs one entry with the source "Load"; silent ones do the same without logging. Needs the
/// printer "Label 1" and its files in `folder`: its configuration and that file's protected form,
/// `protected.xml`. Returns the digests of the results of loads and merges, which are the same in
/// all runs.
std::set<std::string> RunLoad(const std::wstring& folder, int threads, int runs,
                              bool isSilent = false);

/// The message that a thread of a process logs in a run.
std::wstring LoadMessage(unsigned long process, int thread, int run);

}  // namespace orv::test
