#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "config/config_values.h"
#include "orv/config/config.h"
#include "orv/config/config_loader.h"
#include "orv/platform/types.h"

struct orv_config {
  std::unique_ptr<Config> config;
  std::vector<orv::NamedConfigValue> values;
};

namespace orv {

/// The error code for why a configuration did not load.
std::int32_t CodeOfLoad(LoadFailure failure);

/// The error code for a system error of the spooler.
std::int32_t CodeOfSpooler(DWORD error);

}  // namespace orv
