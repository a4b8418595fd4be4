#pragma once

#include <memory>
#include <string>
#include <vector>

#include "orv/config/config.h"
#include "orv/devmode/oemdev.h"
#include "orv/platform/graphics.h"
#include "orv/platform/types.h"

namespace orv::printer_app {

/// The settings of a job.
struct JobRecord {
  std::shared_ptr<const Config> config;
  tagOEMDEV record{};
  DEVMODEW publicRecord{};
  std::string stockItem;              ///< its name; empty without one
  std::string corrections;            ///< by the merge, such as "PrintSpeed:90->75"
  std::vector<std::string> problems;  ///< options and settings that cannot be used
  bool isTwoColour = false;
  Color colour;
  double tolerance = 0;
};

}  // namespace orv::printer_app
