#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "config/config_loader.h"
#include "config/config_values.h"
#include "orv/config/config.h"
#include "orv/platform/spooler.h"
#include "orv/platform/types.h"

struct orv_config {
  std::unique_ptr<Config> config;
  std::vector<orv::NamedConfigValue> values;
};

namespace orv {

/// A printer's handle that is closed with the object, also when an exception is thrown.
struct PrinterCloser {
  using pointer = HANDLE;
  void operator()(HANDLE printer) const { ClosePrinterHandle(printer); }
};
using OpenedPrinter = std::unique_ptr<HANDLE, PrinterCloser>;

/// The error code for why a configuration did not load.
std::int32_t CodeOfLoad(LoadFailure failure);

}  // namespace orv
