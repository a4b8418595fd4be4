#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <functional>
#include <memory>
#include <numeric>
#include <optional>
#include <vector>

#include "orv/imaging/color_extensions.h"
#include "orv/platform/graphics.h"
#include "orv/text/format.h"
#include "tools/orv/common/commands.h"
#include "tools/orv/common/options.h"
#include "tools/orv/common/output.h"
#include "tools/orv/page/file.h"
#include "tools/orv/page/options.h"
#include "tools/orv/page/pixels.h"
#include "tools/orv/page/planes.h"

/// `orv page explain`.

namespace orv::tool {
namespace {

Color ColourOf(const unsigned char* pixel) { return Color(pixel[2], pixel[1], pixel[0]); }

bool IsNearlyWhiteOrBlack(const Color& colour) {
  return ColorExtensions::IsNearlyWhite(colour) || ColorExtensions::IsNearlyBlack(colour);
}

/// Distances of colours from one colour, with a cache.
class Distances {
 public:
  explicit Distances(const Color& colour) : colour_(colour), remembered_(kCount) {}

  double To(const Color& other) {
    const std::uint32_t rgb = other.GetValue();
    Entry& entry = remembered_[(rgb * 2654435761u) >> 16];
    if (entry.rgb != rgb) {
      entry = {rgb, ColorExtensions::CalculateToleranceCIE76(other, colour_)};
    }
    return entry.distance;
  }

 private:
  static constexpr std::size_t kCount = 1 << 16;
  struct Entry {
    std::uint32_t rgb = 0;  ///< 0 has no alpha, so it is not a pixel's colour
    double distance = 0;
  };

  Color colour_;
  std::vector<Entry> remembered_;
};

/// Whether a colour is a mixture of the highlight colour and white, as soft edges are.
bool IsMixture(const Color& colour, const Color& highlight) {
  // Largest error per channel. Scans are noisy, but a pale grey must not pass as a pale edge.
  constexpr double kMaxError = 4;
  constexpr double kMaxErrorOfColour = 16;
  const std::array<double, 3> depth = {255.0 - highlight.GetRed(), 255.0 - highlight.GetGreen(),
                                       255.0 - highlight.GetBlue()};
  const std::array<double, 3> own = {255.0 - colour.GetRed(), 255.0 - colour.GetGreen(),
                                     255.0 - colour.GetBlue()};
  const double length = std::inner_product(depth.begin(), depth.end(), depth.begin(), 0.0);
  const double share = std::inner_product(own.begin(), own.end(), depth.begin(), 0.0) / length;
  const double within = std::lerp(kMaxError, kMaxErrorOfColour, std::clamp(share, 0.0, 1.0));
  for (std::size_t i = 0; i < own.size(); ++i) {
    if (std::abs(own[i] - std::min(share, 1.0) * depth[i]) > within) return false;
  }
  return true;
}

/// The colours of a page around the highlight colour.
struct Gap {
  double next = 0;                  ///< distance of the next colour; 0 on a page without one
  std::optional<double> tolerance;  ///< ends before the next colour; unset without a gap
  std::int64_t left = 0;            ///< pixels of soft edges outside that tolerance
  bool hasColour = true;            ///< whether the page has the highlight colour
};

/// Finds the gap between a highlight colour's own soft edges and the next colour.
class GapFinder {
 public:
  GapFinder(Bitmap* page, const Color& colour) {
    Distances distances(colour);
    ForEachPixel(PagePixels(page), [&](const unsigned char* pixel, int, int) {
      const Color own = ColourOf(pixel);
      if (IsNearlyWhiteOrBlack(own)) return;
      const std::size_t slice =
          std::min(static_cast<std::size_t>(distances.To(own) * kSlicesPerUnit), edges_.size() - 1);
      const bool isEdge = slice < kAlike || IsMixture(own, colour);
      ++(isEdge ? edges_ : others_)[slice];
    });
  }

  Gap Find() const {
    const std::int64_t own = Sum(edges_, 0, kAlike);
    if (own == 0) return Missing();
    const std::size_t next = NextColour(others_, own);
    std::size_t lastEdge = edges_.size() - 1;
    while (edges_[lastEdge] == 0) --lastEdge;
    if (next == others_.size()) return {0, ToleranceAfter(lastEdge)};
    const double distance = static_cast<double>(next) / kSlicesPerUnit;
    if (next <= kAlike + 1) return {distance, {}};
    // The middle of the gap, or as close to the next colour as possible if the edges go on.
    const std::size_t last = std::min((lastEdge + next) / 2, next - 2);
    return {distance, ToleranceAfter(last), Sum(edges_, last + 1, edges_.size())};
  }

 private:
  static constexpr int kSlicesPerUnit = 100;
  static constexpr std::size_t kAlike = 5;  ///< slices of colours that look alike
  using Slices = std::array<std::int64_t, 2 * kSlicesPerUnit>;

  /// Returns the slice in which another colour begins, or the number of slices.
  static std::size_t NextColour(const Slices& slices, std::int64_t own) {
    // A few stray pixels are not a colour.
    const std::int64_t stray = std::max<std::int64_t>(own / 1000, 8);
    std::size_t next = 0;
    std::int64_t count = slices[0];
    while (count <= stray && ++next < slices.size()) count += slices[next];
    return next;
  }

  /// The next colour of a page without the highlight colour, whose mixtures are other colours then.
  Gap Missing() const {
    Slices all;
    std::transform(edges_.begin(), edges_.end(), others_.begin(), all.begin(), std::plus<>());
    const std::size_t next = NextColour(all, 0);
    const bool hasNext = next < all.size();
    return {hasNext ? static_cast<double>(next) / kSlicesPerUnit : 0, {}, 0, false};
  }

  static double ToleranceAfter(std::size_t slice) {
    return static_cast<double>(slice + 1) / kSlicesPerUnit;
  }
  static std::int64_t Sum(const Slices& slices, std::size_t from, std::size_t to) {
    return std::accumulate(slices.begin() + static_cast<std::ptrdiff_t>(from),
                           slices.begin() + static_cast<std::ptrdiff_t>(to), std::int64_t{0});
  }

  Slices edges_{};   ///< the colour itself and its mixtures with white
  Slices others_{};  ///< all other colours
};

/// The distances of a page's pixels from a colour, relative to a tolerance.
struct Explanation {
  static constexpr int kMinBars = 16;  ///< the last one counts all larger distances
  static constexpr int kMaxBars = 64;
  static constexpr int kBarsInside = 5;  ///< up to the tolerance
  static constexpr double kNear = 1.25;  ///< near: up to this much of the tolerance

  enum Class { kIn, kNearby, kOut, kNever };
  std::vector<std::int64_t> bars;
  std::array<std::int64_t, 4> classes{};
  std::int64_t changed = 0;  ///< pixels that the suggested tolerance moves in or out
};

constexpr const char* kClassKeys[] = {"in", "near", "out", "never"};
constexpr const wchar_t* kClassNames[] = {L"in the highlight", L"near it", L"out of it",
                                          L"nearly white or black"};

/// The colour of a pixel in the picture: the highlight colour, magenta for near misses, or a pale
/// grey.
std::array<unsigned char, 3> ClassColour(Explanation::Class kind, const Color& highlight,
                                         const unsigned char* pixel) {
  if (kind == Explanation::kIn) {
    return {highlight.GetBlue(), highlight.GetGreen(), highlight.GetRed()};
  }
  if (kind == Explanation::kNearby) return {255, 0, 255};
  const double grey = ColorExtensions::CalculateGrayValue(pixel[2], pixel[1], pixel[0]);
  const auto pale = static_cast<unsigned char>(255 - (255 - grey) / 4);
  return {pale, pale, pale};
}

/// The number of bars that shows the next colour; few if it is too far away to be shown.
std::size_t BarCount(double next, double tolerance) {
  const double bars =
      tolerance > 0 ? std::ceil(next * Explanation::kBarsInside / tolerance) + 2 : 0;
  if (bars > Explanation::kMaxBars) return Explanation::kMinBars;
  return static_cast<std::size_t>(std::max<double>(bars, Explanation::kMinBars));
}

/// Counts the pixels of a page by distance, and turns the page into the picture.
Explanation ExplainPage(Bitmap* page, const Color& colour, double tolerance, const Gap& gap) {
  Explanation result;
  result.bars.resize(BarCount(gap.next, tolerance));
  const auto all = static_cast<double>(result.bars.size());
  const double suggested = gap.tolerance.value_or(tolerance);
  Distances distances(colour);
  const PagePixels pixels(page);
  Progress progress(L"Measuring colours");
  ForEachPixel(pixels, [&](unsigned char* pixel, int x, int y) {
    if (x == 0) progress.Report(y, pixels.height());
    const Color own = ColourOf(pixel);
    Explanation::Class kind = Explanation::kNever;
    if (!IsNearlyWhiteOrBlack(own)) {
      const double distance = distances.To(own);
      kind = distance <= tolerance                        ? Explanation::kIn
             : distance <= tolerance * Explanation::kNear ? Explanation::kNearby
                                                          : Explanation::kOut;
      // Bars include their upper bound, so that the tolerance itself is inside.
      const double bar = tolerance > 0 ? std::ceil(distance * Explanation::kBarsInside / tolerance)
                                       : (distance > 0 ? all : 1);
      const double last = kind == Explanation::kIn ? Explanation::kBarsInside : all;
      ++result.bars[static_cast<std::size_t>(std::clamp(bar, 1.0, last)) - 1];
      if ((distance <= suggested) != (kind == Explanation::kIn)) ++result.changed;
    }
    ++result.classes[kind];
    const auto shade = ClassColour(kind, colour, pixel);
    std::copy(shade.begin(), shade.end(), pixel);
  });
  return result;
}

/// Where a bar of the histogram begins.
double BarStart(std::size_t bar, double tolerance) {
  return tolerance * static_cast<double>(bar) / Explanation::kBarsInside;
}

/// The histogram as text, with bars of up to 40 characters; empty if the tolerance is 0.
std::string HistogramText(const Explanation& explanation, double tolerance) {
  if (tolerance == 0) return {};
  const std::vector<std::int64_t>& bars = explanation.bars;
  const std::int64_t most = std::max<std::int64_t>(1, *std::max_element(bars.begin(), bars.end()));
  Table table({L"DISTANCE", L"PIXELS", L""});
  for (std::size_t i = 0; i < bars.size(); ++i) {
    const double from = BarStart(i, tolerance);
    const std::wstring range = i == bars.size() - 1
                                   ? Format(L"above %.4g", from)
                                   : Format(L"%.4g to %.4g", from, BarStart(i + 1, tolerance));
    const wchar_t sign = i < Explanation::kBarsInside ? L'#' : L'-';
    table.Add({range, Format(L"%lld", static_cast<long long>(bars[i])),
               std::wstring(static_cast<std::size_t>((bars[i] * 40 + most - 1) / most), sign)});
  }
  return "\n" + table.TakeText();
}

std::wstring SuggestionText(const Color& colour, const Gap& gap, std::int64_t changed) {
  if (IsNearlyWhiteOrBlack(colour)) {
    return L"none: nearly white or black pixels are never in the highlight";
  }
  if (!gap.hasColour) return L"none: the page does not have the colour";
  if (!gap.tolerance) return L"none: no gap before the next colour";
  std::wstring text = Format(L"--tolerance %.4g, ", *gap.tolerance) +
                      CountText(changed, L"pixel changes sides", L"pixels change sides");
  if (gap.left > 0) {
    text += L", " +
            CountText(gap.left, L"of the palest edges stays out", L"of the palest edges stay out");
  }
  return text;
}

void AddSuggestion(Report* report, const Color& colour, const Gap& gap, std::int64_t changed) {
  const auto member = [&](const char* key, const std::optional<double>& value) {
    report->json().Key(key);
    if (value) {
      report->json().Value(*value);
    } else {
      report->json().Null();
    }
  };
  member("nextColour", gap.next > 0 ? std::optional(gap.next) : std::nullopt);
  member("suggested", gap.tolerance);
  report->json().Member("changed", changed);
  report->json().Member("paleEdges", gap.left);
  report->Line(L"next colour",
               gap.next > 0 ? Format(L"from a distance of %.4g", gap.next) : L"none");
  report->Line(L"suggestion", SuggestionText(colour, gap, changed));
}

}  // namespace

void AddPageExplainCommand(CLI::App* group) {
  CLI::App* command =
      group->add_subcommand("explain", "Show how far a page's colours are from a highlight colour");
  const auto options = std::make_shared<PageOptions>();
  const auto colourText = std::make_shared<std::string>();
  const auto tolerance = std::make_shared<double>(0.1);
  const auto suggests = std::make_shared<bool>(false);
  const auto picture = std::make_shared<std::string>();
  AddPageOptions(command, options.get());
  AddColourOption(command, colourText.get(), "The highlight colour")->required();
  AddToleranceOption(command, tolerance.get());
  command->add_flag("--suggest", *suggests,
                    "Suggest a tolerance between the colour's own soft edges and the next colour");
  AddOutputFile(command, "--picture", picture.get(),
                "A PNG image to write: the highlight in its colour, pixels just outside it in "
                "magenta, all others pale");
  command->footer(
      "Examples:\n"
      "  orv page explain label.png --colour E02020 --suggest\n"
      "  orv page explain label.png --colour E02020 --tolerance 0.2 --picture where.png");
  command->callback([=] {
    const GraphicsSession graphics;
    const PagePointer page = LoadInput(options.get());
    const Color colour = ToColour(*colourText);
    const Gap gap = GapFinder(page.get(), colour).Find();
    const Explanation explanation = ExplainPage(page.get(), colour, *tolerance, gap);
    if (!picture->empty()) {
      PageFiles files(options->KnownDpi(), {ToWide(options->input)});
      files.Add(page.get(), ToWide(*picture));
      files.Finish();
    }
    Report report(*options);
    report.PageSize(page.get());
    report.json().Member("tolerance", *tolerance);
    for (std::size_t i = 0; i < explanation.classes.size(); ++i) {
      report.Pixels(kClassNames[i], kClassKeys[i], explanation.classes[i], PixelCount(page.get()));
    }
    if (*suggests) AddSuggestion(&report, colour, gap, explanation.changed);
    report.json().Key("histogram");
    report.json().BeginArray();
    for (std::size_t i = 0; i < explanation.bars.size(); ++i) {
      report.json().BeginObject();
      report.json().Member("from", BarStart(i, *tolerance));
      report.json().Member("pixels", explanation.bars[i]);
      report.json().EndObject();
    }
    report.json().EndArray();
    report.Finish(HistogramText(explanation, *tolerance));
  });
}

}  // namespace orv::tool
