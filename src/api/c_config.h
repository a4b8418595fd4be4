#pragma once

#include <memory>
#include <vector>

#include "config/config_values.h"
#include "orv/config/config.h"

struct orv_config {
  std::unique_ptr<Config> config;
  std::vector<orv::NamedConfigValue> values;
};
