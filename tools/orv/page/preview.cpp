#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "orv/platform/graphics.h"
#include "tools/orv/common/commands.h"
#include "tools/orv/common/input.h"
#include "tools/orv/common/lengths.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/output.h"
#include "tools/orv/page/canvas.h"
#include "tools/orv/page/file.h"
#include "tools/orv/page/fit.h"
#include "tools/orv/page/halftone.h"
#include "tools/orv/page/legibility.h"
#include "tools/orv/page/options.h"
#include "tools/orv/page/pixels.h"

/// `orv page preview` and `orv page compare-methods`.

namespace orv::tool {
namespace {

struct PreviewOptions {
  std::vector<std::string> more;
  std::vector<std::string> inks;
  std::string output;
  bool isBare = false;
};

/// Draws a plane over a page: pixels that are not white get the ink, or keep their colour without
/// an ink. The inks mix like real ones: each channel takes the darker value.
void Overprint(const PagePixels& page, const PagePixels& plane, const std::string* ink) {
  const Color colour = ink != nullptr ? ToColour(*ink) : Color(0xFF000000);
  const unsigned char shade[] = {colour.GetBlue(), colour.GetGreen(), colour.GetRed()};
  ForEachPixel(plane, [&](const unsigned char* pixel, int x, int y) {
    if (IsWhite(pixel)) return;
    unsigned char* const below = page.Row(y) + std::ptrdiff_t{3} * x;
    for (int i = 0; i < 3; ++i) below[i] = std::min(below[i], ink != nullptr ? shade[i] : pixel[i]);
  });
}

/// The default area for comparing methods: in the middle, small enough to see dots.
PageArea MiddleOf(const PageOptions& options, int width, int height) {
  constexpr double kWidthMm = 30;
  constexpr double kHeightMm = 20;
  const auto pixels = [&](double millimetres, double dpi, int most) {
    return std::clamp(static_cast<int>(millimetres * dpi / kMillimetresPerInch), 1, most);
  };
  const int areaWidth = pixels(kWidthMm, options.dpi.x, width);
  const int areaHeight = pixels(kHeightMm, options.dpi.y, height);
  return {(width - areaWidth) / 2, (height - areaHeight) / 2, areaWidth, areaHeight};
}

PagePointer PartOf(Bitmap* page, const PageArea& area) {
  PagePointer part(page->Clone(area.x, area.y, area.width, area.height, PixelFormat24bppRGB));
  if (part == nullptr) Fail(kUnreadable, L"not enough memory for a part of the page");
  return part;
}

/// Draws a part of a page as every method makes it, with captions.
Canvas DrawMethods(Bitmap* page, const PageArea& area, int zoom, DitherOptions options,
                   const Color& colour) {
  const std::vector<std::string> names = MethodNames();
  const int count = static_cast<int>(names.size());
  constexpr int kColumns = 3;
  constexpr int kGap = 16;
  constexpr int kTextSize = 2;
  constexpr int kCaption = 3 * kGlyphHeight * kTextSize;
  constexpr int kMinWidth = 30 * kGlyphAdvance * kTextSize;  // room for the captions
  const int width = std::max(area.width * zoom, kMinWidth);
  const int height = kCaption + area.height * zoom;
  const int rows = (count + kColumns - 1) / kColumns;
  Canvas canvas(kGap + std::int64_t{kColumns} * (width + kGap),
                kGap + std::int64_t{rows} * (height + kGap), kMargin);
  options.name = names.front();
  // The methods are measured against the tones that they are given.
  const PagePointer part = PartOf(Dithered(page, options, colour).get(), area);
  const LegibilityMeter meter(part.get());
  Progress progress(L"Trying methods");
  int number = 0;
  for (const std::string& name : names) {
    progress.Report(number, count);
    const int x = kGap + number % kColumns * (width + kGap);
    const int y = kGap + number / kColumns * (height + kGap);
    const bool isPage = number == 0;
    options.name = name;
    const PagePointer dithered = isPage ? nullptr : Dithered(page, options, colour);
    canvas.Text(x, y, isPage ? "the page" : name, kTextSize, kText);
    if (!isPage) {
      const Legibility legibility = meter.Measure(PartOf(dithered.get(), area).get());
      canvas.Text(x, y + kCaption / 2 - kTextSize, ScoresText(legibility), kTextSize, kLine);
    }
    canvas.Put(x, y + kCaption, isPage ? page : dithered.get(), area, zoom);
    ++number;
  }
  return canvas;
}

}  // namespace

void AddPagePreviewCommand(CLI::App* group) {
  CLI::App* command = group->add_subcommand(
      "preview", "Draw planes as they print on white paper, with rulers in mm");
  const auto options = std::make_shared<PageOptions>();
  const auto preview = std::make_shared<PreviewOptions>();
  const auto view = std::make_shared<ViewOptions>();
  AddPageOptions(command, options.get(), "PLANE", "A plane, or a whole page; a PNG image");
  AddInputFile(command, "MORE", &preview->more,
               "Planes to print over the first one, of the same size");
  AddOutputFile(command, "-o,--output", &preview->output, "The PNG image to write")->required();
  command->add_option("--ink", preview->inks, "The ink of a plane, once for each in their order")
      ->check(IsColour())
      ->default_str("its own colours")
      ->allow_extra_args(false);
  AddViewOptions(command, view.get());
  command->add_flag("--bare", preview->isBare, "Without the rulers");
  command->footer(
      "JSON: page, the columns and rows that are shown, output.\n"
      "Examples:\n"
      "  orv page preview black.png red.png --dpi 300 -o preview.png\n"
      "  orv page preview black.png red.png --ink 000000 --ink E02020 --crop 5,5,30,20 --zoom 4 "
      "\\\n"
      "    -o corner.png");
  command->callback([=] {
    const GraphicsSession graphics;
    const PagePointer page = LoadInput(options.get());
    const int width = static_cast<int>(page->GetWidth());
    const int height = static_cast<int>(page->GetHeight());
    const PageArea area = view->Area(*options, width, height);
    if (preview->inks.size() > preview->more.size() + 1) {
      Fail(kUsage, L"there are more inks than planes");
    }
    const auto inkOf = [&](std::size_t plane) {
      return plane < preview->inks.size() ? &preview->inks[plane] : nullptr;
    };
    std::vector<std::wstring> inputs = {ToWide(options->input)};
    {
      const PagePixels pixels(page.get());
      if (inkOf(0) != nullptr) {
        const Color colour = ToColour(*inkOf(0));
        ForEachPixel(pixels, [&](unsigned char* pixel, int, int) {
          if (IsWhite(pixel)) return;
          pixel[0] = colour.GetBlue();
          pixel[1] = colour.GetGreen();
          pixel[2] = colour.GetRed();
        });
      }
      for (std::size_t i = 0; i < preview->more.size(); ++i) {
        const std::wstring path = ToWide(preview->more[i]);
        inputs.push_back(path);
        const PagePointer plane = LoadPage(path);
        if (static_cast<int>(plane->GetWidth()) != width ||
            static_cast<int>(plane->GetHeight()) != height) {
          Fail(kFindings, InputName(path) + L" differs in size from the first plane");
        }
        Overprint(pixels, PagePixels(plane.get()), inkOf(i + 1));
      }
    }
    DrawView(page.get(), nullptr, area, view->zoom, options->dpi, preview->isBare)
        .Save(ToWide(preview->output), std::move(inputs));
    Report report(*options);
    report.PageSize(page.get());
    report.Columns(area.x, area.x + area.width - 1);
    report.Rows(area.y, area.y + area.height - 1);
    report.Text(L"written", "output", ToWide(preview->output));
    report.Finish();
  });
}

void AddPageMethodsCommand(CLI::App* group) {
  CLI::App* command = group->add_subcommand(
      "compare-methods", "Draw a part of a page as every dithering method makes it, side by side");
  const auto options = std::make_shared<PageOptions>();
  const auto view = std::make_shared<ViewOptions>();
  const auto colour = std::make_shared<std::string>("000000");
  const auto output = std::make_shared<std::string>();
  const auto fit = std::make_shared<FitOptions>();
  const auto dither = std::make_shared<DitherOptions>();
  view->zoom = 2;
  AddPageOptions(command, options.get());
  AddOutputFile(command, "-o,--output", output.get(), "The PNG image to write")->required();
  AddViewOptions(command, view.get());
  AddThresholdOption(command, &dither->threshold);
  AddToneOptions(command, dither.get());
  AddFitOptions(command, fit.get());
  AddColourOption(command, colour.get(), "The print colour")->capture_default_str();
  command->footer(
      "Dithers the whole page and shows a part of it: 30 x 20 mm in the middle, or that of "
      "--crop.\n"
      "The scores of that part are below the name of the method; orv page legibility explains "
      "them.\n"
      "JSON: page, the columns and rows that are shown, output.\n"
      "Examples:\n"
      "  orv page compare-methods label.png -o methods.png\n"
      "  orv page compare-methods label.png --crop 5,118,30,20 --zoom 3 -o methods.png");
  command->callback([=] {
    const GraphicsSession graphics;
    const PagePointer page = LoadFitted(options.get(), *fit);
    const int width = static_cast<int>(page->GetWidth());
    const int height = static_cast<int>(page->GetHeight());
    const PageArea area = view->crop.empty() ? MiddleOf(*options, width, height)
                                             : view->Area(*options, width, height);
    DrawMethods(page.get(), area, view->zoom, *dither, ToColour(*colour))
        .Save(ToWide(*output), {ToWide(options->input)});
    Report report(*options);
    report.PageSize(page.get());
    report.Columns(area.x, area.x + area.width - 1);
    report.Rows(area.y, area.y + area.height - 1);
    report.Text(L"written", "output", ToWide(*output));
    report.Finish();
  });
}

}  // namespace orv::tool
