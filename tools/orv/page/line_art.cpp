#include "tools/orv/page/line_art.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>
#include <vector>

#include "tools/orv/page/bar_follower.h"
#include "tools/orv/page/options.h"

namespace orv::tool {
namespace {

constexpr int kLightest = 240;  ///< lighter dots are paper
constexpr int kReach = 2;       ///< width of the edge of a shape, in dots

/// Dots of a row that are darker than paper. A page of noise has one for every third dot.
struct DarkRun {
  int y;
  int start;
  int end;
  int overlap = 0;       ///< with the runs of the row above, in dots
  std::uint32_t parent;  ///< a run of the same shape; itself in the run that stands for the shape
  std::uint32_t shape = 0;  ///< its number, in that run
};

/// Dark dots that are connected at a side or a corner.
struct Shape {
  std::int64_t area = 0;
  std::int64_t perimeter = 0;
  std::int64_t ends = 0;      ///< of its runs
  std::int64_t softEnds = 0;  ///< those that fade into paper
  std::int64_t cores = 0;     ///< dots that do not touch paper
  double sum = 0;             ///< of their grey values
  double squares = 0;
  int darkest = 255;

  /// The grey of the shape without its edges.
  double Grey() const { return cores > 0 ? sum / static_cast<double>(cores) : darkest; }

  /// Whether it consists of thin strokes of one colour with sharp edges.
  bool IsLineArt() const {
    constexpr double kMaxStroke = 24;  // dots
    constexpr double kMaxDeviation = 16;
    constexpr double kMaxSoft = 0.2;
    if (2.0 * static_cast<double>(area) > kMaxStroke * static_cast<double>(perimeter)) return false;
    if (static_cast<double>(softEnds) > kMaxSoft * static_cast<double>(ends)) return false;
    if (cores == 0) return true;
    const double variance = squares / static_cast<double>(cores) - Grey() * Grey();
    return variance <= kMaxDeviation * kMaxDeviation;
  }
};

/// The shapes of a page.
class Shapes {
 public:
  explicit Shapes(const Dots& grey) : grey_(grey) {
    runs_.reserve(CountRuns());
    FindRuns();
    std::uint32_t shapes = 0;
    for (std::uint32_t i = 0; i < runs_.size(); ++i) {
      if (runs_[i].parent == i) runs_[i].shape = shapes++;
    }
    shapes_.resize(shapes);
    for (std::uint32_t i = 0; i < runs_.size(); ++i) Add(runs_[i], &ShapeOf(i));
  }

  /// Calls `work(run, shape)` for every run.
  template <typename Work>
  void ForEachRun(const Work& work) {
    for (std::uint32_t i = 0; i < runs_.size(); ++i) work(runs_[i], ShapeOf(i));
  }

 private:
  std::size_t CountRuns() const {
    std::size_t count = 0;
    for (int y = 0; y < grey_.height; ++y) {
      const std::uint8_t* row = grey_.Row(y);
      bool isDark = false;
      for (int x = 0; x < grey_.width; ++x) {
        const bool wasDark = std::exchange(isDark, row[x] < kLightest);
        count += isDark && !wasDark;
      }
    }
    return count;
  }

  void FindRuns() {
    std::uint32_t above = 0;  ///< the first run of the row above that can touch
    for (int y = 0; y < grey_.height; ++y) {
      const auto first = static_cast<std::uint32_t>(runs_.size());
      const std::uint8_t* row = grey_.Row(y);
      for (int x = 0; x < grey_.width;) {
        if (row[x] >= kLightest) {
          ++x;
          continue;
        }
        const int start = x;
        while (x < grey_.width && row[x] < kLightest) ++x;
        runs_.push_back(
            {.y = y, .start = start, .end = x, .parent = static_cast<std::uint32_t>(runs_.size())});
        above = Connect(above, first);
      }
      above = first;
    }
  }

  /// Connects the last run with those of the row above, from `above` up to `end`. Returns the first
  /// one that the next run can touch.
  std::uint32_t Connect(std::uint32_t above, std::uint32_t end) {
    const auto last = static_cast<std::uint32_t>(runs_.size() - 1);
    DarkRun& run = runs_[last];
    while (above < end && (runs_[above].y < run.y - 1 || runs_[above].end < run.start)) ++above;
    for (std::uint32_t i = above; i < end && runs_[i].start <= run.end; ++i) {
      run.overlap +=
          std::max(std::min(run.end, runs_[i].end) - std::max(run.start, runs_[i].start), 0);
      runs_[Root(last)].parent = Root(i);
    }
    return above;
  }

  std::uint32_t Root(std::uint32_t i) {
    while (runs_[i].parent != i) i = runs_[i].parent = runs_[runs_[i].parent].parent;
    return i;
  }

  Shape& ShapeOf(std::uint32_t run) { return shapes_[runs_[Root(run)].shape]; }

  /// Whether the paper two dots away is not white.
  bool IsSoft(int x, int y) const {
    constexpr int kWhite = 250;
    if (x < 0 || x >= grey_.width) return false;
    return grey_.At(x, y) >= kLightest && grey_.At(x, y) < kWhite;
  }

  void Add(const DarkRun& run, Shape* shape) const {
    const int length = run.end - run.start;
    shape->area += length;
    shape->perimeter += 2 + 2 * (length - run.overlap);
    shape->ends += 2;
    shape->softEnds += IsSoft(run.start - kReach, run.y);
    shape->softEnds += IsSoft(run.end + kReach - 1, run.y);
    const bool hasRows = run.y > 0 && run.y + 1 < grey_.height;
    for (int x = run.start; x < run.end; ++x) {
      const int value = grey_.At(x, run.y);
      shape->darkest = std::min(shape->darkest, value);
      const bool isCore = hasRows && x > run.start && x + 1 < run.end &&
                          grey_.At(x, run.y - 1) < kLightest && grey_.At(x, run.y + 1) < kLightest;
      if (!isCore) continue;
      ++shape->cores;
      shape->sum += value;
      shape->squares += static_cast<double>(value) * value;
    }
  }

  const Dots& grey_;
  std::vector<DarkRun> runs_;
  std::vector<Shape> shapes_;
};

/// How far to move a bar code, by at most half a dot, so that its bars start as near as possible to
/// whole dots. Then bars that start between two dots all go the same way.
double ShiftOf(const BarCode& code) {
  constexpr int kSteps = 8;
  double best = 0;
  double least = 1e9;
  for (const int step : {0, 1, -1, 2, -2, 3, -3, 4}) {
    const double shift = static_cast<double>(step) / kSteps;
    double sum = 0;
    for (const Bar& bar : code.bars) {
      const double off = bar.start + shift - std::round(bar.start + shift);
      sum += off * off;
    }
    if (sum >= least) continue;
    least = sum;
    best = shift;
  }
  return best;
}

/// Whether a dot is darker than the middle between the bars and the paper of an upright code.
bool IsDark(const Dots& grey, const BarCode& code, double place, int line) {
  const int along = static_cast<int>(std::floor(place));
  if (along < 0 || along >= (code.isTurned ? grey.height : grey.width)) return false;
  const int value = code.isTurned ? grey.At(line, along) : grey.At(along, line);
  return value < (code.paper + code.ink) / 2;
}

/// The lines of a bar: some are longer than the others. Where both sides are dark too, it is not
/// the bar that goes on.
std::pair<int, int> LinesOf(const Bar& bar, const Dots& grey, const BarCode& code) {
  const auto goesOn = [&](int line) {
    return IsDark(grey, code, bar.Middle(), line) &&
           !(IsDark(grey, code, bar.start - code.module / 2, line) &&
             IsDark(grey, code, bar.end + code.module / 2, line));
  };
  const int lines = code.isTurned ? grey.width : grey.height;
  int top = code.firstLine;
  while (top > 0 && goesOn(top - 1)) --top;
  int bottom = code.endLine;
  while (bottom < lines && goesOn(bottom)) ++bottom;
  return {top, bottom};
}

}  // namespace

LineArt::LineArt(const Dots& grey, const std::vector<BarCode>& codes)
    : marks_{grey.width, grey.height, {}} {
  marks_.values.resize(grey.values.size());
  Shapes shapes(grey);
  shapes.ForEachRun([&](const DarkRun& run, const Shape& shape) {
    if (!shape.IsLineArt()) return;
    const double middle = (255 + shape.Grey()) / 2;
    for (int y = std::max(run.y - kReach, 0); y <= std::min(run.y + kReach, grey.height - 1); ++y) {
      const int end = std::min(run.end + kReach, grey.width);
      for (int x = std::max(run.start - kReach, 0); x < end; ++x) {
        if (grey.At(x, y) >= kLightest) Set(x, y, kWhiteMark);
      }
    }
    for (int x = run.start; x < run.end; ++x) {
      Set(x, run.y, grey.At(x, run.y) < middle ? kInkMark : kWhiteMark);
    }
  });
  for (const BarCode& code : codes) {
    code.IsTilted() ? MarkTiltedBars(grey, code) : MarkBars(grey, code);
  }
}

void LineArt::MarkTiltedBars(const Dots& grey, const BarCode& code) {
  if (!code.CanMeasure()) return;
  const PageArea area = code.Area();
  for (int y = std::max(area.y, 0); y < std::min(area.y + area.height, grey.height); ++y) {
    for (int x = std::max(area.x, 0); x < std::min(area.x + area.width, grey.width); ++x) {
      if (!code.Covers(x, y)) continue;
      Set(x, y, grey.At(x, y) < (code.paper + code.ink) / 2 ? kInkMark : kWhiteMark);
    }
  }
}

void LineArt::MarkBars(const Dots& grey, const BarCode& code) {
  const int places = code.isTurned ? grey.height : grey.width;
  const auto mark = [&](int from, int to, int line, Mark value) {
    for (int place = std::max(from, 0); place < std::min(to, places); ++place) {
      code.isTurned ? Set(line, place, value) : Set(place, line, value);
    }
  };
  const int first = static_cast<int>(code.bars.front().start);
  const int last = static_cast<int>(std::ceil(code.bars.back().end));
  for (int line = code.firstLine; line < code.endLine; ++line) mark(first, last, line, kWhiteMark);
  const double shift = ShiftOf(code);
  for (const Bar& bar : code.bars) {
    const int start = static_cast<int>(std::lround(bar.start + shift));
    const int end = start + std::max(static_cast<int>(std::lround(bar.end - bar.start)), 1);
    const auto [top, bottom] = LinesOf(bar, grey, code);
    for (int line = top; line < bottom; ++line) mark(start, end, line, kInkMark);
  }
}

void LineArt::Paint(const PagePixels& page, const Ink& ink) const {
  ForEachPixel(page, [&](unsigned char* pixel, int x, int y) {
    const std::uint8_t mark = marks_.At(x, y);
    if (mark != kNoMark) tool::Paint(pixel, mark == kInkMark, ink);
  });
}

int OtsuLevel(const Dots& grey) {
  std::array<std::int64_t, 256> counts{};
  for (const std::uint8_t value : grey.values) ++counts[value];
  const auto all = static_cast<double>(grey.values.size());
  double total = 0;
  for (std::size_t i = 0; i < counts.size(); ++i) {
    total += static_cast<double>(i) * static_cast<double>(counts[i]);
  }
  double best = -1;
  int first = 0;
  int last = 0;
  double dark = 0;  // dots below the level
  double sum = 0;   // of their values
  for (int level = 0; level < 256; ++level) {
    const double light = all - dark;
    const double difference = dark > 0 && light > 0 ? sum / dark - (total - sum) / light : 0;
    const double variance = dark * light * difference * difference;
    if (variance > best) {
      best = variance;
      first = level;
    }
    // Every level in a gap of the histogram divides the values in the same way.
    if (variance == best) last = level;
    const auto count = static_cast<double>(counts[static_cast<std::size_t>(level)]);
    dark += count;
    sum += level * count;
  }
  return (first + last + 1) / 2;
}

}  // namespace orv::tool
