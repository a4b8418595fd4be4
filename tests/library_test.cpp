#include <gtest/gtest.h>

#include "base/utf8.h"
#include "tests/devmode_fixture.h"

namespace {

TEST(SharedLibrary, ServesACallerThatLoadsItAtRunTime) {
  const orv::test::ScratchRegistry registry;
  const orv::test::TestPrinter printer(L"Label 1", orv::test::kTestDriver);
  const orv::test::ModuleFolder module;
  const orv::test::ProgramResult result = orv::test::RunProgram(
      ORV_LIBRARY_CALLER, {ORV_LIBRARY, "Label 1", orv::WideToUtf8(module.folder().Name())});
  EXPECT_EQ(result.exitCode, 0) << result.messages;
  std::string output = result.output;
  std::erase(output, '\r');
  EXPECT_EQ(output,
            "size 0 2688\n"
            "default 0 60000\n"
            "convert 80004005\n"
            "convert 0 60000\n"
            "merge 0 50000 30000 1 1010f\n");
}

}  // namespace
