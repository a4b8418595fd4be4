/// The version resource of each file.

#include <gtest/gtest.h>

#include <string>

#include "orv/platform/types.h"
#include "orv/version.h"
#include "tests/fixtures.h"

namespace {

TEST(VersionResource, IsInEveryFile) {
  for (const std::string path : {ORV_LIBRARY, ORV_RESOURCES, ORV_PROGRAM}) {
    SCOPED_TRACE(path);
    std::string record(GetFileVersionInfoSizeA(path.c_str(), nullptr), '\0');
    ASSERT_TRUE(
        GetFileVersionInfoA(path.c_str(), 0, static_cast<DWORD>(record.size()), record.data()));
    const auto text = [&record](const std::string& name) {
      void* value = nullptr;
      UINT length = 0;
      VerQueryValueA(record.data(), ("\\StringFileInfo\\040904b0\\" + name).c_str(), &value,
                     &length);
      return std::string(value != nullptr ? static_cast<const char*>(value) : "");
    };
    EXPECT_EQ(text("FileVersion"), ORV_VERSION);
    EXPECT_EQ(text("OriginalFilename"), path.substr(path.rfind('/') + 1));
    void* fixed = nullptr;
    UINT length = 0;
    ASSERT_TRUE(VerQueryValueA(record.data(), "\\", &fixed, &length));
    EXPECT_EQ(static_cast<VS_FIXEDFILEINFO*>(fixed)->dwFileVersionMS,
              DWORD{ORV_VERSION_MAJOR << 16 | ORV_VERSION_MINOR});
  }
}

}  // namespace
