#include "tools/orv/page/bar_report.h"

#include <cmath>

#include "orv/text/format.h"
#include "tools/orv/page/dots.h"
#include "tools/orv/page/pixels.h"

namespace orv::tool {

std::wstring PlaceText(const PageOptions& options, double x, double y) {
  return Format(L"%.0f, %.0f dots (", x, y) +
         LengthsText(options.Columns(x), L", ", options.Rows(y)) + L")";
}

void AddPlace(JsonWriter* json, const PageOptions& options, double x, double y) {
  json->Member("x", x);
  json->Member("y", y);
  json->Member("xMm", Rounded(options.Columns(x).Millimetres()));
  json->Member("yMm", Rounded(options.Rows(y).Millimetres()));
}

void AddArea(JsonWriter* json, const PageOptions& options, const BarCode& code) {
  const PageArea area = code.Area();
  AddPlace(json, options, area.x, area.y);
  json->Member("width", area.width);
  json->Member("height", area.height);
  json->Member("bars", static_cast<std::int64_t>(code.bars.size()));
  json->Member("turned", code.isTurned);
  json->Member("tiltDegrees", Rounded(code.Tilt()));
  json->Member("inverse", code.isInverse);
}

namespace {

/// What is wrong with the widths of bars and spaces.
std::wstring WidthAdvice(const PageOptions& options, const BarCode& code) {
  constexpr double kMinDots = 2;     // of modules and gaps
  constexpr double kRounding = 0.1;  // module widths are measured
  const double dpi = code.isTurned ? options.dpi.y : options.dpi.x;
  const double module = code.module;
  if (module < kMinDots - kRounding) {
    return Format(L"modules of %.1f dots at %.6g dpi: use 2 or more", module, dpi);
  }
  if (std::abs(module - std::round(module)) > kRounding) {
    return Format(L"modules of %.1f dots at %.6g dpi: use %.0f or %.0f, or bars differ by a dot",
                  module, dpi, std::floor(module), std::ceil(module));
  }
  const double gap = code.NarrowestGap();
  if (gap < kMinDots - kRounding) {
    return Format(L"gaps of %.1f dots at %.6g dpi: use 2 or more, or ink closes them", gap, dpi);
  }
  return {};
}

}  // namespace

std::wstring BarAdvice(const PageOptions& options, const BarCode& code) {
  if (code.isInverse) return L"light bars on dark ground: most readers need dark bars on light";
  std::wstring widths = code.CanMeasure() ? WidthAdvice(options, code) : L"";
  if (!code.IsTilted()) return widths;
  const std::wstring degrees = Format(L"%.2g", code.Tilt());
  const std::wstring tilt = L"tilted by about " + degrees +
                            (degrees == L"1" ? L" degree" : L" degrees") +
                            L", so bars differ by a dot: draw it upright";
  return widths.empty() ? tilt : tilt + L"; " + widths;
}

void AddBarAdvice(Report* report, const PageOptions& options, Bitmap* page) {
  JsonWriter& json = report->json();
  json.Key("barCodes");
  json.BeginArray();
  for (const BarCode& code : FindBarCodes(GreyDotsOf(page))) {
    const PageArea area = code.Area();
    const std::wstring advice = BarAdvice(options, code);
    if (!advice.empty()) {
      report->Line(L"bar code", PlaceText(options, area.x, area.y) + L", " + advice);
    }
    json.BeginObject();
    AddPlace(&json, options, area.x, area.y);
    json.Member("moduleDots", code.module);
    json.Member("narrowestGapDots", code.NarrowestGap());
    json.Member("advice", advice);
    json.EndObject();
  }
  json.EndArray();
}

}  // namespace orv::tool
