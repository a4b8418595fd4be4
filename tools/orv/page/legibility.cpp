#include "tools/orv/page/legibility.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "base/utf8.h"
#include "orv/imaging/color_extensions.h"
#include "orv/text/format.h"
#include "tools/orv/page/pixels.h"

namespace orv::tool {
namespace {

/// One byte per dot of a page.
struct Dots {
  int width;
  int height;
  std::vector<std::uint8_t> values;

  std::uint8_t At(int x, int y) const {
    return values[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                  static_cast<std::size_t>(x)];
  }
};

/// Calls `valueOf` for every pixel.
template <typename Value>
Dots DotsOf(Bitmap* page, const Value& valueOf) {
  const PagePixels pixels(page);
  Dots dots{pixels.width(), pixels.height(), {}};
  dots.values.reserve(static_cast<std::size_t>(dots.width) * static_cast<std::size_t>(dots.height));
  ForEachPixel(
      pixels, [&](const unsigned char* pixel, int, int) { dots.values.push_back(valueOf(pixel)); });
  return dots;
}

/// A row or a column: `count` dots, `step` bytes apart.
struct Line {
  const std::uint8_t* first;
  std::ptrdiff_t step;
  int count;

  int operator[](int i) const { return first[i * step]; }
};

/// Measures bars and spaces line by line.
class WidthMeter {
 public:
  explicit WidthMeter(Legibility* result) : result_(result) {}

  /// `grey` is 0 for black to 255 for white, `ink` 1 where the plane has ink.
  void Measure(const Line& grey, const Line& ink) {
    FindRuns(grey);
    for (std::size_t i = 1; i + 1 < runs_.size(); ++i) {
      const Run& run = runs_[i];
      if (run.end - run.start > kMaxWidth || !HasSharpEdges(grey, i)) continue;
      // The window includes half of each neighbour, so that it covers blurred edges and bars that
      // are lost or merged with the next one.
      const int from = run.start - std::min((run.start - runs_[i - 1].start) / 2, kReach);
      const int to = run.end + std::min((runs_[i + 1].end - run.end) / 2, kReach);
      double expected = 0;
      double actual = 0;
      for (int at = from; at < to; ++at) {
        const double darkness = (kWhite - grey[at]) / double{kWhite};
        expected += run.isDark ? darkness : 1 - darkness;
        actual += (ink[at] != 0) == run.isDark ? 1 : 0;
      }
      (run.isDark ? result_->bars : result_->spaces).Add(expected, actual);
    }
  }

 private:
  static constexpr int kWhite = 255;
  static constexpr int kMiddle = 128;
  static constexpr int kDark = 64;      ///< a bar has a dot at least as dark
  static constexpr int kLight = 191;    ///< a space has a dot at least as light
  static constexpr int kReach = 4;      ///< maximum width of an edge
  static constexpr int kMaxWidth = 64;  ///< wider runs are areas

  struct Run {
    int start;
    int end;
    bool isDark;
  };

  void FindRuns(const Line& grey) {
    runs_.clear();
    for (int i = 0; i < grey.count; ++i) {
      const bool isDark = grey[i] < kMiddle;
      if (runs_.empty() || runs_.back().isDark != isDark) runs_.push_back({i, i, isDark});
      runs_.back().end = i + 1;
    }
  }

  /// Whether a run is fully dark or light within a few dots of an edge.
  static bool IsClear(const Line& grey, const Run& run, bool atStart) {
    const int from = atStart ? run.start : std::max(run.start, run.end - kReach);
    const int to = atStart ? std::min(run.end, run.start + kReach) : run.end;
    for (int at = from; at < to; ++at) {
      if (run.isDark ? grey[at] <= kDark : grey[at] >= kLight) return true;
    }
    return false;
  }

  bool HasSharpEdges(const Line& grey, std::size_t i) const {
    return IsClear(grey, runs_[i], true) && IsClear(grey, runs_[i], false) &&
           IsClear(grey, runs_[i - 1], false) && IsClear(grey, runs_[i + 1], true);
  }

  Legibility* result_;
  std::vector<Run> runs_;
};

void MeasureWidths(const Dots& grey, const Dots& ink, Legibility* result) {
  WidthMeter meter(result);
  const std::ptrdiff_t stride = grey.width;
  for (int y = 0; y < grey.height; ++y) {
    meter.Measure({grey.values.data() + y * stride, 1, grey.width},
                  {ink.values.data() + y * stride, 1, grey.width});
  }
  for (int x = 0; x < grey.width; ++x) {
    meter.Measure({grey.values.data() + x, stride, grey.height},
                  {ink.values.data() + x, stride, grey.height});
  }
}

/// Counts dots of ink without adjacent ink, and white dots without adjacent white.
void CountSpecks(const Dots& ink, Legibility* result) {
  const auto hasLike = [&](int x, int y) {
    for (int row = std::max(y - 1, 0); row <= std::min(y + 1, ink.height - 1); ++row) {
      for (int column = std::max(x - 1, 0); column <= std::min(x + 1, ink.width - 1); ++column) {
        if ((row != y || column != x) && ink.At(column, row) == ink.At(x, y)) return true;
      }
    }
    return false;
  };
  for (int y = 0; y < ink.height; ++y) {
    for (int x = 0; x < ink.width; ++x) {
      const bool isInk = ink.At(x, y) != 0;
      if (isInk) ++result->ink;
      if (!hasLike(x, y)) ++(isInk ? result->dots : result->holes);
    }
  }
}

/// Compares the tones of blocks; blocks that are all white or all black in the page are skipped.
void MeasureTones(const Dots& grey, const Dots& ink, Legibility* result) {
  double sum = 0;
  for (int top = 0; top < grey.height; top += kToneBlock) {
    for (int left = 0; left < grey.width; left += kToneBlock) {
      const int bottom = std::min(top + kToneBlock, grey.height);
      const int right = std::min(left + kToneBlock, grey.width);
      double expected = 0;
      double actual = 0;
      for (int y = top; y < bottom; ++y) {
        for (int x = left; x < right; ++x) {
          expected += (255 - grey.At(x, y)) / 255.0;
          actual += ink.At(x, y);
        }
      }
      const double all = (bottom - top) * (right - left);
      if (expected == 0 || expected == all) continue;
      const double error = std::abs(actual - expected) / all;
      ++result->blocks;
      sum += error;
      if (error <= result->worstTone) continue;
      result->worstTone = error;
      result->worstX = left;
      result->worstY = top;
    }
  }
  if (result->blocks > 0) result->tone = sum / static_cast<double>(result->blocks);
}

}  // namespace

void WidthErrors::Add(double expected, double actual) {
  const double error = std::abs(actual - expected);
  ++count;
  sum += error;
  relative += error / expected;
  max = std::max(max, error);
}

double Legibility::WidthScore() const {
  const std::int64_t count = bars.count + spaces.count;
  return count > 0 ? 100 * (bars.relative + spaces.relative) / static_cast<double>(count) : 0;
}

double Legibility::SpeckScore() const {
  return ink > 0 ? 100 * static_cast<double>(dots + holes) / static_cast<double>(ink) : 0;
}

double Legibility::Loss() const {
  // Light tones consist of single dots, so specks have a small weight.
  constexpr double kSpeckWeight = 0.1;
  return WidthScore() + ToneScore() + kSpeckWeight * SpeckScore();
}

Legibility MeasureLegibility(Bitmap* source, Bitmap* plane) {
  const Dots grey = DotsOf(source, [](const unsigned char* pixel) {
    return static_cast<std::uint8_t>(
        ColorExtensions::CalculateGrayValue(pixel[2], pixel[1], pixel[0]));
  });
  const Dots ink = DotsOf(plane, [](const unsigned char* pixel) {
    return static_cast<std::uint8_t>(IsWhite(pixel) ? 0 : 1);
  });
  Legibility result;
  MeasureWidths(grey, ink, &result);
  CountSpecks(ink, &result);
  MeasureTones(grey, ink, &result);
  return result;
}

std::string ScoresText(const Legibility& legibility) {
  return WideToUtf8(Format(L"width %.1f tone %.1f specks %.1f", legibility.WidthScore(),
                           legibility.ToneScore(), legibility.SpeckScore()));
}

}  // namespace orv::tool
