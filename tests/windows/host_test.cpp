/// The DLL in a foreign process that loads and unloads it, and that ends while threads use it.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "tests/fixtures.h"

namespace {

using orv::test::LogFolder;
using orv::test::ProgramResult;
using orv::test::RunProgram;

class LibraryHost : public testing::Test {
 protected:
  LibraryHost() {
    orv::test::SetSetting(HKEY_CURRENT_USER, L"Test", L"LogPath", LogFolder().Name());
  }

  orv::test::ScratchRegistry registry_;
};

TEST_F(LibraryHost, LosesNothingWhenTheLibraryIsReloaded) {
  const char* const rounds = std::getenv("ORV_RELOAD_ROUNDS");
  ProgramResult result = RunProgram(
      ORV_LIBRARY_HOST, {"reload", ORV_STRIPPED_LIBRARY, rounds != nullptr ? rounds : "300"});
  EXPECT_EQ(result.exitCode, 0) << result.messages;
  std::erase(result.output, '\r');
  EXPECT_EQ(result.output, "TLS indexes 0\nhandles 0\nheap blocks 0\nheap bytes 0\n");
}

TEST_F(LibraryHost, EndsWhileThreadsLog) {
  // A thread that ends may own any lock.
  for (int run = 0; run < 10; ++run) {
    EXPECT_EQ(RunProgram(ORV_LIBRARY_HOST, {"exit", ORV_PLUG_IN}).exitCode, 0);
  }
}

}  // namespace
