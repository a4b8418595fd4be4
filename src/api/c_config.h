#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "config/config_values.h"
#include "orv/config/config.h"
#include "orv/config/config_loader.h"

struct orv_config {
  std::unique_ptr<Config> config;
  std::vector<orv::NamedConfigValue> values;
};

namespace orv {

/// The error code for why a configuration did not load.
std::int32_t CodeOfLoad(LoadFailure failure);

}  // namespace orv
