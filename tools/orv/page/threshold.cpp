#include <memory>
#include <utility>

#include "orv/platform/graphics.h"
#include "tools/orv/common/commands.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/output.h"
#include "tools/orv/page/bar_report.h"
#include "tools/orv/page/dots.h"
#include "tools/orv/page/file.h"
#include "tools/orv/page/fit.h"
#include "tools/orv/page/line_art.h"
#include "tools/orv/page/options.h"
#include "tools/orv/page/pixels.h"
#include "tools/orv/page/planes.h"

/// `orv page threshold`.

namespace orv::tool {

void AddPageThresholdCommand(CLI::App* group) {
  CLI::App* command = group->add_subcommand(
      "threshold", "Make every pixel ink or white by its grey value, without dithering");
  const auto options = std::make_shared<PageOptions>();
  const auto fit = std::make_shared<FitOptions>();
  const auto output = std::make_shared<std::string>();
  const auto colour = std::make_shared<std::string>("000000");
  const auto threshold = std::make_shared<int>(128);
  const auto isOtsu = std::make_shared<bool>(false);
  AddPageOptions(command, options.get());
  AddOutputFile(command, "-o,--output,OUT", output.get(), "The PNG image to write")->required();
  CLI::Option* const level = AddThresholdOption(command, threshold.get());
  command
      ->add_flag("--otsu", *isOtsu, "Finds the threshold that divides the page's grey values best")
      ->excludes(level);
  AddFitOptions(command, fit.get());
  AddColourOption(command, colour.get(), "The print colour")->capture_default_str();
  command->footer(
      "For pages of text, lines and bar codes. Reports bar codes whose modules or gaps are too "
      "narrow\n"
      "for the resolution. orv page dither --method mixed also dithers the pictures of a page.\n"
      "JSON: page, threshold, ink, barCodes with x, y, xMm, yMm, moduleDots, narrowestGapDots, "
      "advice;\n"
      "output.\n"
      "Examples:\n"
      "  orv page threshold label.png -o dots.png --threshold 160\n"
      "  orv page threshold photo.png -o dots.png --otsu");
  command->callback([=] {
    const GraphicsSession graphics;
    const PagePointer page = LoadFitted(options.get(), *fit);
    const Dots grey = GreyDotsOf(page.get());
    const int lightest = *isOtsu ? OtsuLevel(grey) : *threshold;
    PagePointer dots(page->Clone(0, 0, grey.width, grey.height, PixelFormat24bppRGB));
    if (dots == nullptr) Fail(kUnreadable, L"not enough memory for the page");
    const Ink ink = InkOf(ToColour(*colour));
    ForEachPixel(PagePixels(dots.get()), [&](unsigned char* pixel, int x, int y) {
      Paint(pixel, grey.At(x, y) < lightest, ink);
    });
    dots = To1Bpp(std::move(dots));
    PageFiles files(options->KnownDpi(), {ToWide(options->input)});
    files.Add(dots.get(), ToWide(*output));
    files.Finish();
    Report report(*options);
    report.PageSize(page.get());
    report.Number(L"threshold", "threshold", lightest);
    report.Pixels(L"ink", "ink", CountInk(dots.get()), PixelCount(page.get()));
    AddBarAdvice(&report, *options, page.get());
    report.Text(L"written", "output", ToWide(*output));
    report.Finish();
  });
}

}  // namespace orv::tool
