#include "orv/session/resources.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/files.h"
#include "platform/modules.h"
#include "tests/fixtures.h"

namespace {

TEST(Resources, AreSearchedInTheLibrarysFolderUntilFound) {
  // The library is linked into this program, so the program's folder counts.
  std::wstring program;
  ASSERT_TRUE(orv::GetModulePath(nullptr, &program));
  const std::filesystem::path file = orv::ToPath(program).parent_path() / "orv_resources.dll";
  std::filesystem::remove(file);

  orv::test::DebugCapture debug;
  const std::wstring message =
      L"orv_shared.dll: Unable to load library 'orv_resources.dll'. Error code: 2";
  EXPECT_EQ(GetResourcesDllInstanceHandle(), nullptr);
  EXPECT_THAT(debug.Take(), testing::ElementsAre(message));
  EXPECT_EQ(GetResourcesDllInstanceHandle(), nullptr);
  EXPECT_THAT(debug.Take(), testing::ElementsAre(message));

  std::filesystem::copy_file(std::filesystem::path(ORV_RESOURCES), file);
  const HINSTANCE resources = GetResourcesDllInstanceHandle();
  ASSERT_NE(resources, nullptr);
  EXPECT_EQ(orv::test::ReadResourceText(resources, 1), L"Label printer");
  EXPECT_EQ(orv::test::ReadResourceText(resources, 6), L"Options");

  std::error_code inUse;
  std::filesystem::remove(file, inUse);
  EXPECT_EQ(GetResourcesDllInstanceHandle(), resources);
  EXPECT_THAT(debug.Take(), testing::IsEmpty());
}

}  // namespace
