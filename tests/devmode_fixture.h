#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <memory>
#include <string>

#include "orv/config/config_parser.h"
#include "orv/devmode/devmode.h"
#include "orv/devmode/oemdev.h"
#include "tests/devmode_names.h"
#include "tests/fixtures.h"

namespace orv::test {

/// The folder of a calling module, with the printer's configuration in it.
class ModuleFolder {
 public:
  ModuleFolder() {
    std::filesystem::copy_file(std::filesystem::path(ORV_TEST_DATA) / "devmode_config.xml",
                               folder_.path() / kTestConfigName);
    client.m_stModuleFolder = folder_.Name();
    client.m_stModuleName = L"caller.dll";
  }
  const TemporaryFolder& folder() const { return folder_; }
  std::unique_ptr<Config> Load() {
    Config* config = nullptr;
    EXPECT_TRUE(CConfigParser::Load(folder_.Name(kTestConfigName), &config, nullptr, nullptr));
    return std::unique_ptr<Config>(config);
  }

  CLoggerClient client;

 private:
  TemporaryFolder folder_;
};

/// Numbers in a record by their offset in the stored format.
inline std::uint32_t Word(const tagOEMDEV& record, std::size_t offset, std::size_t width = 4) {
  std::uint32_t value = 0;
  std::memcpy(&value, reinterpret_cast<const char*>(&record) + offset, width);
  return value;
}
inline void SetWord(tagOEMDEV* record, std::size_t offset, std::uint32_t value,
                    std::size_t width = 4) {
  std::memcpy(reinterpret_cast<char*>(record) + offset, &value, width);
}
inline std::string Bytes(const tagOEMDEV& record) {
  return {reinterpret_cast<const char*>(&record), sizeof(record)};
}

}  // namespace orv::test
