#include "tools/orv/page/halftone.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "orv/imaging/color_extensions.h"
#include "orv/platform/types.h"
#include "orv/text/format.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/output.h"
#include "tools/orv/page/dots.h"
#include "tools/orv/page/line_art.h"
#include "tools/orv/page/min_dots.h"
#include "tools/orv/page/options.h"
#include "tools/orv/page/screens.h"

namespace orv::tool {
namespace {

int GreyOf(const unsigned char* pixel) {
  return static_cast<int>(ColorExtensions::CalculateGrayValue(pixel[2], pixel[1], pixel[0]));
}

template <const Screen& (*kScreen)()>
void DitherByScreen(const PagePixels& page, int, const Ink& ink) {
  const Screen& screen = kScreen();
  ForEachPixel(page, [&](unsigned char* pixel, int x, int y) {
    Paint(pixel, GreyOf(pixel) < screen.Row(y)[x % screen.size], ink);
  });
}

/// Floyd-Steinberg with every second row from right to left: R. Ulichney, "Digital Halftoning", MIT
/// Press (1987).
void DitherSerpentine(const PagePixels& page, int threshold, const Ink& ink) {
  constexpr int kUnit = 16;  // errors are kept in sixteenths, their shares in 256ths
  const auto width = static_cast<std::size_t>(page.width());
  std::vector<int> current(width + 2);  // one more at each end
  std::vector<int> next(width + 2);
  for (int y = 0; y < page.height(); ++y) {
    const bool isForward = y % 2 == 0;
    const std::ptrdiff_t step = isForward ? 1 : -1;
    std::ptrdiff_t x = isForward ? 0 : page.width() - 1;
    for (std::size_t i = 0; i < width; ++i, x += step) {
      unsigned char* pixel = page.Row(y) + 3 * x;
      int* const here = current.data() + 1 + x;
      int* const below = next.data() + 1 + x;
      const int value = kUnit * GreyOf(pixel) + (*here >> 4);
      const bool isInk = value < kUnit * threshold;
      const int error = value - (isInk ? 0 : kUnit * 255);
      here[step] += 7 * error;
      below[-step] += 3 * error;
      below[0] += 5 * error;
      below[step] += error;
      Paint(pixel, isInk, ink);
    }
    current.swap(next);
    std::fill(next.begin(), next.end(), 0);
  }
}

struct ProgramMethod {
  const char* name;
  bool hasThreshold;
  /// Null for the mixed method: Floyd-Steinberg without line art.
  void (*dither)(const PagePixels& page, int threshold, const Ink& ink);
};
constexpr ProgramMethod kProgramMethods[] = {
    {"serpentine", true, DitherSerpentine},
    {"blue-noise", false, DitherByScreen<BlueNoiseScreen>},
    {"clustered", false, DitherByScreen<ClusteredScreen>},
    {"mixed", true, nullptr},
};

/// The method with a name; null if it is in the other table.
template <typename Methods>
auto FindMethod(const Methods& methods, const std::string& name) {
  const auto found = std::find_if(std::begin(methods), std::end(methods),
                                  [&](const auto& method) { return method.name == name; });
  return found == std::end(methods) ? nullptr : &*found;
}

using Tones = std::array<std::uint8_t, 256>;

/// The grey to dither for every grey of a page.
Tones TonesOf(const DitherOptions& options) {
  Tones tones;
  for (std::size_t i = 0; i < tones.size(); ++i) {
    const double light = std::pow(static_cast<double>(i) / 255, 1 / options.gamma);
    double ink = 1 - light;
    if (options.dotGain > 0) {
      // The share of ink a that grows to `ink` = a + 4 gain a (1 - a).
      const double four = 4 * options.dotGain / 100.0;
      ink = (1 + four - std::sqrt((1 + four) * (1 + four) - 4 * four * ink)) / (2 * four);
    }
    tones[i] = static_cast<std::uint8_t>(std::lround(255 * (1 - ink)));
  }
  return tones;
}

bool HasTones(const DitherOptions& options) { return options.gamma != 1 || options.dotGain != 0; }

PagePointer CopyOf(Bitmap* page) {
  PagePointer copy(page->Clone(0, 0, static_cast<INT>(page->GetWidth()),
                               static_cast<INT>(page->GetHeight()), PixelFormat24bppRGB));
  if (copy == nullptr) Fail(kUnreadable, L"not enough memory to dither the page");
  return copy;
}

}  // namespace

std::optional<eBitmapDitherer> DitherOptions::Plain() const {
  const DitherMethod* const library = FindMethod(kDitherMethods, name);
  const bool hasThreshold =
      library != nullptr ? library->hasThreshold : FindMethod(kProgramMethods, name)->hasThreshold;
  if (!hasThreshold && thresholdOption != nullptr && thresholdOption->count() > 0) {
    Fail(kUsage, L"--threshold has no effect with --method " + ToWide(name));
  }
  if (library == nullptr || HasTones(*this) || minDots > 1) return {};
  return library->method;
}

std::wstring DitherOptions::Text() const {
  std::wstring text = Format(L"method %ls, threshold %d", ToWide(name).c_str(), threshold);
  if (gamma != 1) text += Format(L", gamma %.4g", gamma);
  if (dotGain != 0) text += Format(L", dot gain %d %%", dotGain);
  if (minDots > 1) text += Format(L", clusters of %d dots or more", minDots);
  return text;
}

bool IsMixed(const DitherOptions& options) { return options.name == "mixed"; }

std::vector<std::string> MethodNames() {
  std::vector<std::string> names;
  for (const DitherMethod& method : kDitherMethods) names.push_back(method.name);
  for (const ProgramMethod& method : kProgramMethods) names.push_back(method.name);
  return names;
}

void AddDitherOptions(CLI::App* command, DitherOptions* options) {
  CLI::Option* method =
      command->add_option("--method", options->name,
                          "none, floyd-steinberg, sierra-lite, matrix4, matrix8, matrix16, "
                          "serpentine, blue-noise, clustered or mixed");
  AllowWords(method, MethodNames(), "METHOD")->capture_default_str();
  options->thresholdOption = AddThresholdOption(command, &options->threshold);
  AddToneOptions(command, options);
}

void AddToneOptions(CLI::App* command, DitherOptions* options) {
  command
      ->add_option("--gamma", options->gamma,
                   "Lightens midtones before dithering; below 1 darkens them; 0.2 to 5")
      ->check(NotEmpty("a number"))
      ->check(CLI::Validator(
          [](std::string& text) {
            double value = 0;
            const bool isGamma =
                CLI::detail::lexical_cast(text, value) && value >= 0.2 && value <= 5;
            return isGamma ? std::string() : "not a gamma of 0.2 to 5: " + text;
          },
          "G"))
      ->capture_default_str();
  command
      ->add_option(
          "--dot-gain", options->dotGain,
          "Compensates for dots that grow on paper: the growth at half ink in percent, 0 to 25")
      ->check(InRange(0, 25))
      ->type_name("PERCENT")
      ->capture_default_str();
  command
      ->add_option("--min-dots", options->minDots,
                   "Dots in the smallest cluster of ink, 1 to 9; smaller ones grow or are left out")
      ->check(InRange(1, 9))
      ->type_name("N")
      ->capture_default_str();
}

PagePointer Dithered(Bitmap* page, const DitherOptions& options, Color colour) {
  if (const std::optional<eBitmapDitherer> method = options.Plain()) {
    return Dithered(page, *method, options.threshold, colour);
  }
  PagePointer copy = CopyOf(page);
  if (HasTones(options)) {
    const Tones tones = TonesOf(options);
    ForEachPixel(PagePixels(copy.get()), [&](unsigned char* pixel, int, int) {
      pixel[0] = pixel[1] = pixel[2] = tones[static_cast<std::size_t>(GreyOf(pixel))];
    });
  }
  const Ink ink = InkOf(colour);
  std::optional<LineArt> art;
  if (IsMixed(options)) {
    art.emplace(GreyDotsOf(page));
    art->Paint(PagePixels(copy.get()), {0, 0, 0});  // leaves no errors to neighbours
  }
  const ProgramMethod* const program = FindMethod(kProgramMethods, options.name);
  if (program != nullptr && program->dither != nullptr) {
    program->dither(PagePixels(copy.get()), options.threshold, ink);
  } else {
    const eBitmapDitherer method =
        art ? eBitmapDithererFloydSteinberg : FindMethod(kDitherMethods, options.name)->method;
    if (method == eBitmapDithererNone) return copy;
    copy = Dithered(copy.get(), method, options.threshold, colour);
  }
  const PagePixels dots(copy.get());
  IsKept isKept;
  if (art) {
    art->Paint(dots, ink);
    isKept = [&](int x, int y) { return art->Has(x, y); };
  }
  if (options.minDots > 1) RemoveSmallClusters(dots, options.minDots, ink, isKept);
  return copy;
}

}  // namespace orv::tool
