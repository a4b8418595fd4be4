#include <algorithm>
#include <cmath>
#include <utility>

#include "devmode/explanation.h"
#include "orv/config/config.h"
#include "orv/devmode/oemdev.h"
#include "orv/platform/graphics.h"
#include "orv/text/format.h"
#include "orv/xml/markup.h"
#include "tools/orv/common/lengths.h"
#include "tools/orv/common/output.h"
#include "tools/orv/config/check.h"
#include "tools/orv/config/check_rules.h"
#include "tools/orv/page/file.h"
#include "tools/orv/page/halftone.h"
#include "tools/orv/page/options.h"
#include "tools/orv/page/pixels.h"
#include "tools/orv/page/planes.h"
#include "tools/orv/report/html.h"
#include "tools/orv/report/sections.h"

namespace orv::tool {
namespace {

std::wstring DataUrl(const std::string& png) {
  std::wstring text = CMarkup::EncodeBase64(reinterpret_cast<const unsigned char*>(png.data()),
                                            static_cast<int>(png.size()));
  std::erase_if(text, [](wchar_t sign) { return sign == L'\r' || sign == L'\n'; });
  return L"data:image/png;base64," + text;
}

std::optional<Resolution> DpiOf(const Config* model) {
  if (model == nullptr) return {};
  const GeneralSettings& settings = model->device.generalSettings;
  if (settings.resolutionDpiX <= 0 || settings.resolutionDpiY <= 0) return {};
  return Resolution{static_cast<double>(settings.resolutionDpiX),
                    static_cast<double>(settings.resolutionDpiY)};
}

std::wstring DpiText(const Resolution& dpi) { return Format(L"%g x %g dpi", dpi.x, dpi.y); }

/// Sizes up to this difference are the same, in millimetres.
constexpr double kSizeTolerance = 0.5;

Span LengthOf(std::int64_t thousandths) {
  return Span{static_cast<double>(thousandths) / 1000.0, kMillimetresPerInch};
}

/// The size of a print in percent of the page's size.
std::wstring ScaleText(const Resolution& page, const Resolution& printer) {
  const std::wstring width = Format(L"%.0f %%", 100 * page.x / printer.x);
  const std::wstring height = Format(L"%.0f %%", 100 * page.y / printer.y);
  return width == height ? width + L" of its size"
                         : width + L" of its width and " + height + L" of its height";
}

/// The page's own resolution, which decides the size in which it was drawn.
ReportComparison CompareResolution(const PageOptions& page,
                                   const std::optional<Resolution>& printer) {
  const bool isGiven = page.dpiSource == DpiSource::kOption;
  const std::optional<Resolution> stored = isGiven ? page.dpi : page.stored;
  ReportComparison row = {L"Resolution",
                          stored ? DpiText(*stored) : L"not in the file",
                          printer ? DpiText(*printer) : L"not known",
                          L"",
                          {}};
  constexpr double kTolerance = 1;  // files state dots per metre
  if (stored && printer &&
      (std::abs(stored->x - printer->x) > kTolerance ||
       std::abs(stored->y - printer->y) > kTolerance)) {
    row.fault = {Severity::kWarning,
                 L"The page was made for " + row.page + L", but the printer has " + row.printer +
                     L": it is printed at " + ScaleText(*stored, *printer) + L".",
                 L"Make the page in the printer's resolution, or convert it by orv page dither "
                 L"--to-dpi.",
                 L"#page"};
  }
  return row;
}

/// The sizes of the page and the label, which should be the same.
ReportComparison CompareSize(const Span& width, const Span& height, const Config* model,
                             const std::optional<Merged>& record) {
  ReportComparison row = {
      L"Size", LengthsText(width, L" x ", height), L"not known", L"not known", {}};
  if (model != nullptr) {
    const Label& label = model->device.label;
    row.printer =
        L"labels up to " + LengthsText(LengthOf(label.widthMax), L" x ", LengthOf(label.heightMax));
  }
  if (!record) return row;
  Span labelWidth = LengthOf(record->out.PaperWidth);
  Span labelHeight = LengthOf(record->out.PaperHeight);
  const bool isTurned = record->out.Rotation % 2 != 0;  // by one or three quarters
  if (isTurned) std::swap(labelWidth, labelHeight);
  row.label = LengthsText(labelWidth, L" x ", labelHeight) + (isTurned ? L", turned" : L"");
  const double tooWide = width.Millimetres() - labelWidth.Millimetres();
  const double tooLong = height.Millimetres() - labelHeight.Millimetres();
  if (std::max(std::abs(tooWide), std::abs(tooLong)) <= kSizeTolerance) return row;
  const bool isCut = std::max(tooWide, tooLong) > kSizeTolerance;
  row.fault = {isCut ? Severity::kError : Severity::kWarning,
               L"The page is " + row.page + L", the label " + row.label +
                   (isCut ? L": a part of the page is not printed." : L"."),
               L"Select the label of the page's size, or make the page in the label's size.",
               L"#page"};
  return row;
}

/// The print head limits the width of what is printed.
ReportComparison CompareHead(const Span& width, const Config& model) {
  const Span head = LengthOf(model.device.generalSettings.printWidth);
  constexpr std::int64_t kTenth = 100;  // thousandths
  const auto text = [](const Span& span) {
    return LengthText(std::llround(span.Millimetres() * 1000 / kTenth) * kTenth);
  };
  ReportComparison row = {L"Width of the print head", text(width), text(head), L"", {}};
  if (width.Millimetres() <= head.Millimetres() + kSizeTolerance) return row;
  row.fault = {Severity::kError,
               L"The page is " + row.page + L" wide, the print head " + row.printer +
                   L": a part of the page is not printed.",
               L"Make the page narrower, or use a printer with a wider print head.", L"#page"};
  return row;
}

/// The part of a page's pixels that are neither black, grey nor white.
double ColouredPart(Bitmap* page) {
  constexpr int kMinDifference = 32;  // of a channel; below, grey that was stored with losses
  const PagePixels pixels(page);
  std::int64_t count = 0;
  ForEachPixel(pixels, [&](const unsigned char* pixel, int, int) {
    const auto [least, most] = std::minmax({pixel[0], pixel[1], pixel[2]});
    if (most - least >= kMinDifference) ++count;
  });
  return static_cast<double>(count) / static_cast<double>(PixelCount(page));
}

ReportComparison CompareColours(double coloured, bool isSplit, const Config& model) {
  constexpr double kMinPart = 0.0001;  // fewer pixels are not worth a word
  const bool hasColour = coloured >= kMinPart;
  const bool hasHead = model.device.characteristics.color;
  ReportComparison row = {L"Colours",
                          hasColour ? Format(L"%.2f %% of the page are in colour", 100 * coloured)
                                    : std::wstring(L"black and grey"),
                          hasHead ? L"black and a second colour" : L"black alone",
                          L"",
                          {}};
  if (isSplit && !hasHead) {
    row.fault = {Severity::kError,
                 L"The page was split for two print heads, but the printer prints in black alone.",
                 L"Leave out --colour, or use a printer with two print heads.", L"#page"};
  } else if (hasColour && !hasHead) {
    row.fault = {Severity::kWarning,
                 row.page + L", but the printer prints in black alone: they become grey patterns.",
                 L"Make the page in black, or use a printer with two print heads.", L"#page"};
  } else if (hasColour && !isSplit) {
    row.fault = {Severity::kWarning,
                 row.page + L", but the report shows black alone: the printer has a second colour.",
                 L"Name the colour by --colour; orv page explain finds it.", L"#page"};
  }
  return row;
}

}  // namespace

ReportPage MakePage(ReportPageOptions* options, const Config* model,
                    const std::optional<Merged>& record) {
  const GraphicsSession graphics;
  const PagePointer page = LoadInput(&options->page, DpiOf(model));
  const Progress progress(L"Making the planes");
  ReportPage result;
  result.path = ToWide(options->page.input);
  result.dpi = options->page.DpiText();
  const Span pageWidth = options->page.Columns(page->GetWidth());
  const Span pageHeight = options->page.Rows(page->GetHeight());
  result.comparisons = {CompareResolution(options->page, DpiOf(model)),
                        CompareSize(pageWidth, pageHeight, model, record)};
  if (model != nullptr) {
    result.comparisons.push_back(CompareHead(pageWidth, *model));
    result.comparisons.push_back(
        CompareColours(ColouredPart(page.get()), !options->colour.empty(), *model));
  }
  const auto add = [&](const wchar_t* name, PagePointer picture) {
    picture = To1Bpp(std::move(picture));
    Bitmap* const plane = picture.get();
    const auto width = static_cast<int>(plane->GetWidth());
    const auto height = static_cast<int>(plane->GetHeight());
    result.pictures.push_back(
        {name, PngOf(plane, options->page.KnownDpi()), width, height,
         options->page.Columns(width).Millimetres(),
         LengthsText(options->page.Columns(width), L" x ", options->page.Rows(height)),
         100.0 * static_cast<double>(CountInk(plane)) / static_cast<double>(PixelCount(plane))});
  };
  const DitherOptions& dither = options->dither;
  if (options->colour.empty()) {
    result.how = L"in black alone";
    add(L"Black plane", Dithered(page.get(), dither, Color(0xFF000000)));
  } else {
    const Color colour = ToColour(options->colour);
    result.how = Format(L"split at the colour %06X with a tolerance of %.4g",
                        static_cast<unsigned>(colour.GetValue() & 0xFFFFFF), options->tolerance);
    Planes planes = SplitPage(page.get(), colour, options->tolerance, dither);
    PagePointer preview = PreviewOf(planes);
    add(L"Both on paper", std::move(preview));
    add(L"Black plane", std::move(planes.background));
    add(L"Coloured plane", std::move(planes.highlight));
  }
  result.how += L", " + dither.Text();
  return result;
}

void WritePageSection(const ReportPage& page, HtmlWriter* html) {
  {
    HtmlTable table(html, L"What has to fit", {L"", L"The page", L"The printer", L"The label"});
    for (const ReportComparison& row : page.comparisons) {
      table.Row({{row.title}, {row.page}, {row.printer}, {row.label}},
                row.fault ? NameOf(row.fault->severity) : L"");
    }
  }
  html->Element("p", page.path + L", " + page.how + L", printed at " + page.dpi +
                         L". On paper the first picture has the page's size, if the paper is large "
                         L"enough.");
  html->Begin("div", {{"class", L"pictures"}});
  for (const ReportPicture& picture : page.pictures) {
    const std::wstring facts = Format(L"%d x %d dots, %ls, ink on %.2f %%", picture.width,
                                      picture.height, picture.size.c_str(), picture.inkPercent);
    html->Begin("figure", {{"style", Format(L"--width:%.1fmm", picture.widthMm)}});
    html->Empty("img", {{"alt", picture.name + L" of the page: " + facts},
                        {"width", std::to_wstring(picture.width)},
                        {"height", std::to_wstring(picture.height)},
                        {"src", DataUrl(picture.png)}});
    html->Begin("figcaption");
    html->Element("strong", picture.name);
    html->Element("small", facts);
    html->End();
    html->End();
  }
  html->End();
}

}  // namespace orv::tool
