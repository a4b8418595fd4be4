#pragma once

#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "orv/imaging/bitmap_rasterizer.h"
#include "orv/platform/graphics.h"
#include "tools/orv/page/pixels.h"

/// How a page becomes dots: by a method of the library or of the program, with corrections for the
/// print head. docs/imaging.md explains the methods.

namespace orv::tool {

struct DitherOptions {
  std::string name = "floyd-steinberg";
  int threshold = 128;
  double gamma = 1;
  int dotGain = 0;  ///< in percent of full ink, at half ink
  int minDots = 1;  ///< in every cluster of ink
  const CLI::Option* thresholdOption = nullptr;

  /// The library's method, if that does all of it. Ends the command if --threshold is given and the
  /// method has none.
  std::optional<eBitmapDitherer> Plain() const;
  /// The method, its threshold and the corrections, such as "method matrix8, threshold 128".
  std::wstring Text() const;
};

/// `--method`, `--threshold` and the options of `AddToneOptions`.
void AddDitherOptions(CLI::App* command, DitherOptions* options);
/// `--gamma`, `--dot-gain` and `--min-dots`.
void AddToneOptions(CLI::App* command, DitherOptions* options);

/// Whether text, lines and bar codes are not dithered.
bool IsMixed(const DitherOptions& options);

/// The names of all methods; the first one does not change a page.
std::vector<std::string> MethodNames();

/// A dithered copy of a page; ends the command if there is not enough memory.
PagePointer Dithered(Bitmap* page, const DitherOptions& options, Color colour);

}  // namespace orv::tool
