#pragma once

#include <gmock/gmock.h>

#include "tests/fixtures.h"

namespace orv::test {

/// A run of the program: its exit code, its output and its messages.
struct ProgramRun {
  std::vector<std::string> arguments;
  int exitCode;
  testing::Matcher<const std::string&> said;
};

/// Runs the program once for each row, in their order.
inline void ExpectRuns(const std::vector<ProgramRun>& runs) {
  for (const auto& [arguments, exitCode, said] : runs) {
    const ProgramResult result = RunProgram(ORV_PROGRAM, arguments);
    std::string text = result.output + result.messages;
    std::erase(text, '\r');
    EXPECT_EQ(result.exitCode, exitCode) << testing::PrintToString(arguments);
    EXPECT_THAT(text, said) << testing::PrintToString(arguments);
  }
}

/// Runs it once, for what it is to do.
inline void ExpectDone(const std::vector<std::string>& arguments) {
  ExpectRuns({{arguments, 0, testing::_}});
}

}  // namespace orv::test
