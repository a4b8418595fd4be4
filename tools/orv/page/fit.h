#pragma once

#include <cstdint>

#include <CLI/CLI.hpp>

#include "orv/platform/graphics.h"
#include "tools/orv/page/options.h"
#include "tools/orv/page/pixels.h"

/// Fits a page to the paper and to the resolution of the print head before it is processed.

namespace orv::tool {

struct FitOptions {
  Resolution toDpi;  ///< 0: keep the page's resolution
  int white = 255;   ///< pixels whose channels are all at least this are paper
};

/// `--white LEVEL`.
void AddWhiteOption(CLI::App* command, FitOptions* options);
/// `--white LEVEL` and `--to-dpi N`.
void AddFitOptions(CLI::App* command, FitOptions* options);

/// Loads the page and fits it; `page` then has the new resolution.
PagePointer LoadFitted(PageOptions* page, const FitOptions& options);

/// A copy of a page with this number of columns and rows. Every new pixel is the mean of the area
/// of the page that it covers.
PagePointer Resampled(Bitmap* page, int width, int height);

/// Reports how much of the ink is pale; as text only from a thousandth on.
void AddPaleInk(Report* report, std::int64_t pale, std::int64_t ink);

}  // namespace orv::tool
