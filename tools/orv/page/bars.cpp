#include "tools/orv/page/bars.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <optional>
#include <utility>

#include "orv/imaging/color_extensions.h"

namespace orv::tool {
namespace {

constexpr double kMinEdge = 20;      ///< the least difference of grey values at an edge
constexpr int kMinLength = 12;       ///< of a bar, in dots
constexpr int kMaxBarWidth = 96;     ///< in dots; wider runs are areas
constexpr std::size_t kMinBars = 9;  ///< of the shortest symbols
constexpr double kMinOverlap =
    0.65;  ///< of the lengths of adjacent bars: some codes have long ones

/// The middle of a stretch where the values along a line are extreme.
struct Extreme {
  int at;  ///< the boundary before this dot
  double value;
};

/// Finds the extremes of a line, alternately light and dark, from the paper before the first bar to
/// the paper after the last one. `values[i]` is the grey value of dot i. Paper surrounds the page:
/// it is as light as the space next to a bar at the end of the line.
template <typename Value>
class Extremes {
 public:
  /// Empty if the line has no edge.
  const std::vector<Extreme>& Find(const Value* values, int count) {
    found_.clear();
    const std::optional<bool> startsDark = StartsDark(values, count);
    if (!startsDark) return found_;
    isDark_ = *startsDark;
    if (isDark_) found_.push_back({0, 0});
    Start(0, values[0]);
    for (int i = 1; i < count; ++i) {
      const double value = values[i];
      const double beyond = isDark_ ? value_ - value : value - value_;
      if (beyond > 0) {
        Start(i, value);
      } else if (beyond == 0) {
        end_ = i + 1;
      } else if (-beyond >= kMinEdge) {
        Push();
        isDark_ = !isDark_;
        Start(i, value);
      }
    }
    Push();
    if (isDark_) found_.push_back({count, found_[found_.size() - 2].value});
    if (*startsDark) found_[0].value = found_[2].value;
    return found_;
  }

 private:
  /// Whether the first edge leads from dark to light; unset without edges.
  static std::optional<bool> StartsDark(const Value* values, int count) {
    double darkest = values[0];
    double lightest = values[0];
    for (int i = 1; i < count; ++i) {
      const double value = values[i];
      if (value - darkest >= kMinEdge) return true;
      if (lightest - value >= kMinEdge) return false;
      darkest = std::min(darkest, value);
      lightest = std::max(lightest, value);
    }
    return {};
  }

  void Push() { found_.push_back({(start_ + end_ + 1) / 2, value_}); }

  void Start(int at, double value) {
    start_ = at;
    end_ = at + 1;
    value_ = value;
  }

  std::vector<Extreme> found_;
  bool isDark_ = false;
  int start_ = 0;  ///< the last stretch of the most extreme value so far
  int end_ = 0;
  double value_ = 0;
};

/// Where the values between two extremes cross their middle, in dots.
template <typename Value>
double Crossing(const Value* values, const Extreme& from, const Extreme& to) {
  const double middle = (from.value + to.value) / 2;
  const bool falls = to.value < from.value;
  int i = from.at;
  while (i < to.at && (values[i] >= middle) == falls) ++i;
  if (i == 0 || i == to.at) return i;  // the page's edge
  const double before = values[i - 1];
  const double after = values[i];
  // The values are those of the centres of dots.
  return before == after ? i : i - 0.5 + std::clamp((before - middle) / (before - after), 0.0, 1.0);
}

/// A bar that the scan lines up to now have crossed.
struct FollowedBar {
  Bar bar;
  int firstLine;
  int endLine;
  bool isAtEdge;  ///< of the page

  int Length() const { return endLine - firstLine; }
  double Width() const { return bar.end - bar.start; }
};

/// Follows dark elements from line to line. What keeps its place over enough lines is a bar.
class BarFollower {
 public:
  std::vector<FollowedBar> Find(const Dots& grey) {
    for (int y = 0; y < grey.height; ++y) {
      FollowInto(grey.Row(y), grey.width, y);
    }
    for (const FollowedBar& candidate : open_) Keep(candidate);
    std::sort(bars_.begin(), bars_.end(), [](const FollowedBar& a, const FollowedBar& b) {
      return a.bar.start != b.bar.start ? a.bar.start < b.bar.start : a.firstLine < b.firstLine;
    });
    return std::move(bars_);
  }

 private:
  static constexpr int kMaxGap = 2;  ///< damaged lines in a bar

  void Keep(const FollowedBar& candidate) {
    if (candidate.Length() >= kMinLength) bars_.push_back(candidate);
  }

  static bool IsSame(const Bar& one, const Bar& other) {
    constexpr double kTolerance = 0.6;
    return std::abs(one.start - other.start) < kTolerance &&
           std::abs(one.end - other.end) < kTolerance;
  }

  /// Continues the open candidates with the elements of a line; both are in the order of their
  /// places.
  void FollowInto(const std::uint8_t* line, int width, int y) {
    next_.clear();
    auto old = open_.begin();
    const auto pass = [&](double start) {
      for (; old != open_.end() && old->bar.start < start; ++old) {
        (y - old->endLine < kMaxGap) ? next_.push_back(*old) : Keep(*old);
      }
    };
    const std::vector<Extreme>& extremes = extremes_.Find(line, width);
    for (std::size_t i = 1; i + 1 < extremes.size(); i += 2) {
      const Bar bar = {Crossing(line, extremes[i - 1], extremes[i]),
                       Crossing(line, extremes[i], extremes[i + 1])};
      if (bar.end - bar.start > kMaxBarWidth) continue;
      pass(bar.start - 0.6);
      const bool isAtEdge = bar.start == 0 || bar.end == width;
      if (old != open_.end() && IsSame(old->bar, bar)) {
        next_.push_back({bar, old->firstLine, y + 1, isAtEdge});
        ++old;
      } else {
        next_.push_back({bar, y, y + 1, isAtEdge});
      }
    }
    pass(width + 1.0);
    std::swap(open_, next_);
  }

  Extremes<std::uint8_t> extremes_;
  std::vector<FollowedBar> open_;
  std::vector<FollowedBar> next_;
  std::vector<FollowedBar> bars_;
};

/// Adjacent bars of similar length, from left to right.
struct Group {
  std::vector<Bar> bars;
  int firstLine;
  int endLine;
  int length;  ///< of the last bar
  double narrowest;
  bool isAtEdge;  ///< the last bar

  explicit Group(const FollowedBar& first)
      : bars{first.bar},
        firstLine(first.firstLine),
        endLine(first.endLine),
        length(first.Length()),
        narrowest(first.Width()),
        isAtEdge(first.isAtEdge) {}

  /// The widest space next to a bar as narrow as `narrow`: wide elements have few modules.
  static double MaxSpace(double narrow) { return 5 * narrow + 1; }

  /// Whether all bars from this place on are too far away.
  bool IsComplete(double start) const { return start - bars.back().end > MaxSpace(narrowest); }

  /// Whether a bar continues the group: lengths are similar, and dark margins at the page's edge
  /// are not bars.
  bool Takes(const FollowedBar& next) const {
    const double gap = next.bar.start - bars.back().end;
    const double narrow = std::min(narrowest, next.Width());
    const int overlap = std::min(endLine, next.endLine) - std::max(firstLine, next.firstLine);
    const double atEdge = std::max(isAtEdge ? bars.back().end - bars.back().start : 0,
                                   next.isAtEdge ? next.Width() : 0);
    return gap > 0 && std::max(gap, atEdge) <= MaxSpace(narrow) &&
           overlap >= kMinOverlap * std::max(length, next.Length());
  }

  void Add(const FollowedBar& next) {
    bars.push_back(next.bar);
    firstLine = std::max(firstLine, next.firstLine);
    endLine = std::min(endLine, next.endLine);
    length = next.Length();
    narrowest = std::min(narrowest, next.Width());
    isAtEdge = next.isAtEdge;
  }
};

/// Groups bars, which come in the order of their places. Groups that can still grow are found by
/// their middle line: it is a line of every bar that they can take, because most of both overlaps.
class BarGrouper {
 public:
  explicit BarGrouper(int lines) : bands_(BandOf(lines) + 1) {}

  void Add(const FollowedBar& bar) {
    std::size_t taker = groups_.size();
    for (std::size_t i = BandOf(bar.firstLine); i <= BandOf(bar.endLine); ++i) {
      std::erase_if(bands_[i],
                    [&](std::size_t group) { return groups_[group].IsComplete(bar.bar.start); });
      for (const std::size_t group : bands_[i]) {
        if (group < taker && groups_[group].Takes(bar)) taker = group;
      }
    }
    if (taker == groups_.size()) {
      groups_.emplace_back(bar);
    } else {
      std::erase(BandOf(groups_[taker]), taker);
      groups_[taker].Add(bar);
    }
    BandOf(groups_[taker]).push_back(taker);
  }

  /// The groups that are long and high enough, in the order of their first bars.
  std::vector<Group> Take() {
    std::erase_if(groups_, [](const Group& group) {
      return group.bars.size() < kMinBars || group.endLine - group.firstLine < kMinLength;
    });
    return std::move(groups_);
  }

 private:
  static std::size_t BandOf(int line) { return static_cast<std::size_t>(line / kMinLength); }
  std::vector<std::size_t>& BandOf(const Group& group) {
    return bands_[BandOf((group.firstLine + group.endLine) / 2)];
  }

  std::vector<Group> groups_;
  std::vector<std::vector<std::size_t>> bands_;  ///< groups that can still grow
};

/// The mean of the lines that cross all bars, from `left` up to `right`.
std::vector<double> ProfileOf(const Dots& grey, const Group& group, int left, int right) {
  std::vector<double> profile(static_cast<std::size_t>(right - left));
  for (int y = group.firstLine; y < group.endLine; ++y) {
    for (int x = left; x < right; ++x) profile[static_cast<std::size_t>(x - left)] += grey.At(x, y);
  }
  for (double& value : profile) value /= group.endLine - group.firstLine;
  return profile;
}

/// The mean of the narrowest widths. The next width has at least two modules.
double NarrowestOf(std::vector<double> widths) {
  std::sort(widths.begin(), widths.end());
  const double limit = 1.5 * widths[widths.size() / 8];
  const auto end = std::upper_bound(widths.begin(), widths.end(), limit);
  return std::accumulate(widths.begin(), end, 0.0) / static_cast<double>(end - widths.begin());
}

/// Half the width of a narrow bar and a narrow space: ink that spreads does not change the sum.
double ModuleOf(const std::vector<Bar>& bars) {
  std::vector<double> dark;
  std::vector<double> light;
  for (std::size_t i = 0; i < bars.size(); ++i) {
    dark.push_back(bars[i].end - bars[i].start);
    if (i > 0) light.push_back(bars[i].start - bars[i - 1].end);
  }
  return (NarrowestOf(std::move(dark)) + NarrowestOf(std::move(light))) / 2;
}

/// The median of a column of the lines that cross all bars: cuts in a bar do not make it pale.
double MedianOf(const Dots& grey, const Group& group, int x) {
  std::vector<std::uint8_t> values;
  for (int y = group.firstLine; y < group.endLine; ++y) values.push_back(grey.At(x, y));
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// Measures a group on the mean of its lines. False if it is not a bar code.
bool Measure(const Dots& grey, const Group& group, BarCode* code) {
  constexpr int kMargin = 4;  ///< of paper
  const int left = std::max(static_cast<int>(group.bars.front().start) - kMargin, 0);
  const int right = std::min(static_cast<int>(group.bars.back().end) + kMargin + 1, grey.width);
  const std::vector<double> profile = ProfileOf(grey, group, left, right);
  Extremes<double> finder;
  const std::vector<Extreme>& extremes = finder.Find(profile.data(), right - left);
  if (extremes.size() < 2 * kMinBars + 1) return false;

  code->firstLine = group.firstLine;
  code->endLine = group.endLine;
  const auto darkest = std::min_element(profile.begin(), profile.end());
  code->ink = *darkest;
  code->barInk = MedianOf(grey, group, left + static_cast<int>(darkest - profile.begin()));
  code->paper = *std::max_element(profile.begin(), profile.end());
  const double contrast = code->paper - code->ink;
  // The dots between the middles of a space and of a bar are dark by as much as the bar covers.
  const auto darkness = [&](int from, int to) {
    double sum = 0;
    for (int i = from; i < to; ++i) {
      sum += (code->paper - profile[static_cast<std::size_t>(i)]) / contrast;
    }
    return sum;
  };
  double edge = contrast;
  double widest = 0;
  for (std::size_t i = 1; i + 1 < extremes.size(); i += 2) {
    const int middle = extremes[i].at;
    const Bar bar = {left + middle - darkness(extremes[i - 1].at, middle),
                     left + middle + darkness(middle, extremes[i + 1].at)};
    code->bars.push_back(bar);
    widest = std::max(widest, bar.end - bar.start);
    edge = std::min({edge, extremes[i - 1].value - extremes[i].value,
                     extremes[i + 1].value - extremes[i].value});
  }
  code->modulation = edge / contrast;
  code->module = ModuleOf(code->bars);
  // Bars of equal widths are a hatching or a ruler.
  constexpr double kMinVariety = 1.6;
  return widest >= kMinVariety * code->module;
}

void AddCodes(const Dots& grey, bool isTurned, std::vector<BarCode>* codes) {
  BarGrouper grouper(grey.height);
  for (const FollowedBar& bar : BarFollower().Find(grey)) grouper.Add(bar);
  for (const Group& group : grouper.Take()) {
    BarCode code;
    code.isTurned = isTurned;
    if (Measure(grey, group, &code)) codes->push_back(std::move(code));
  }
}

}  // namespace

Dots GreyDotsOf(Bitmap* page) {
  return DotsOf(page, [](const unsigned char* pixel) {
    return static_cast<std::uint8_t>(
        ColorExtensions::CalculateGrayValue(pixel[2], pixel[1], pixel[0]));
  });
}

Dots Transposed(const Dots& dots) {
  Dots result{dots.height, dots.width, {}};
  result.values.resize(dots.values.size());
  for (int y = 0; y < dots.height; ++y) {
    std::uint8_t* to = result.values.data() + y;
    for (int x = 0; x < dots.width; ++x, to += dots.height) *to = dots.At(x, y);
  }
  return result;
}

PageArea BarCode::Area() const {
  const int start = static_cast<int>(std::lround(bars.front().start));
  const int length = static_cast<int>(std::lround(bars.back().end)) - start;
  const int lines = endLine - firstLine;
  return isTurned ? PageArea{firstLine, start, lines, length}
                  : PageArea{start, firstLine, length, lines};
}

double BarCode::NarrowestGap() const {
  double gap = bars[1].start - bars[0].end;
  for (std::size_t i = 2; i < bars.size(); ++i) {
    gap = std::min(gap, bars[i].start - bars[i - 1].end);
  }
  return gap;
}

std::vector<BarCode> FindBarCodes(const Dots& grey) {
  std::vector<BarCode> codes;
  AddCodes(grey, false, &codes);
  AddCodes(Transposed(grey), true, &codes);
  std::stable_sort(codes.begin(), codes.end(), [](const BarCode& a, const BarCode& b) {
    const PageArea one = a.Area();
    const PageArea other = b.Area();
    return one.y != other.y ? one.y < other.y : one.x < other.x;
  });
  return codes;
}

}  // namespace orv::tool
