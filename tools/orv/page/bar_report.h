#pragma once

#include <string>

#include "orv/platform/graphics.h"
#include "tools/orv/common/output.h"
#include "tools/orv/page/bars.h"
#include "tools/orv/page/options.h"

/// Bar codes in the output of the page commands.

namespace orv::tool {

/// A place on the page, such as "96, 244 dots (12.0, 30.5 mm)".
std::wstring PlaceText(const PageOptions& options, double x, double y);
/// The same as the members x, y, xMm and yMm.
void AddPlace(JsonWriter* json, const PageOptions& options, double x, double y);
/// The place and the size of a bar code, its bars and its direction, as members.
void AddArea(JsonWriter* json, const PageOptions& options, const BarCode& code);

/// What a bar code needs to print and scan well, such as "modules of 1.6 dots at 203 dpi: use 2 or
/// more"; empty if it needs nothing.
std::wstring BarAdvice(const PageOptions& options, const BarCode& code);

/// Adds the bar codes of a page and what they need.
void AddBarAdvice(Report* report, const PageOptions& options, Bitmap* page);

}  // namespace orv::tool
