#include <algorithm>
#include <cmath>
#include <utility>

#include "orv/platform/graphics.h"
#include "orv/text/format.h"
#include "orv/xml/markup.h"
#include "tools/orv/common/output.h"
#include "tools/orv/page/file.h"
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

/// Compares the sizes of a page and of the record's label.
void CompareWithLabel(const Span& width, const Span& height, const tagOEMDEV& record,
                      ReportPage* result) {
  constexpr double kTolerance = 0.5;  // mm
  const auto lengthOf = [](std::uint32_t thousandths) {
    return Span{thousandths / 1000.0, kMillimetresPerInch};
  };
  Span labelWidth = lengthOf(record.PaperWidth);
  Span labelHeight = lengthOf(record.PaperHeight);
  const bool isTurned = record.Rotation % 2 != 0;  // by one or three quarters
  if (isTurned) std::swap(labelWidth, labelHeight);
  result->fits = std::abs(width.Millimetres() - labelWidth.Millimetres()) <= kTolerance &&
                 std::abs(height.Millimetres() - labelHeight.Millimetres()) <= kTolerance;
  result->fit = L"The page is " + LengthsText(width, L" x ", height) + L", the label " +
                LengthsText(labelWidth, L" x ", labelHeight) + (isTurned ? L", turned." : L".");
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
  if (record) {
    CompareWithLabel(options->page.Columns(page->GetWidth()), options->page.Rows(page->GetHeight()),
                     record->out, &result);
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
    add(L"Black plane", std::move(planes.background));
    add(L"Coloured plane", std::move(planes.highlight));
    add(L"Both on paper", std::move(preview));
  }
  result.how += L", " + dither.Text();
  return result;
}

void WritePageSection(const ReportPage& page, HtmlWriter* html) {
  html->Element("p", page.path + L", " + page.how + L", printed at " + page.dpi +
                         L". On paper the pictures have the page's size.");
  if (!page.fit.empty()) {
    html->Element("p", page.fit, {{"class", page.fits ? L"" : L"bad"}});
  }
  html->Begin("div", {{"class", L"pictures"}});
  for (const ReportPicture& picture : page.pictures) {
    const std::wstring facts = Format(L"%d x %d dots, %ls, ink on %.2f %%", picture.width,
                                      picture.height, picture.size.c_str(), picture.inkPercent);
    html->Begin("figure", {{"style", Format(L"width:%.1fmm", picture.widthMm)}});
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
