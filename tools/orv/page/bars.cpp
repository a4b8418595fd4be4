#include "tools/orv/page/bars.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numeric>
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
/// the paper after the last one. `values[i]` is the grey value of dot i.
template <typename Value>
class Extremes {
 public:
  const std::vector<Extreme>& Find(const Value* values, int count) {
    found_.clear();
    isDark_ = false;
    Start(0, values[0]);
    for (int i = 1; i < count; ++i) {
      const double value = values[i];
      const double beyond = isDark_ ? value_ - value : value - value_;
      if (beyond > 0) {
        Start(i, value);
      } else if (beyond == 0) {
        end_ = i + 1;
      } else if (-beyond >= kMinEdge) {
        found_.push_back({(start_ + end_ + 1) / 2, value_});
        isDark_ = !isDark_;
        Start(i, value);
      }
    }
    if (!isDark_) found_.push_back({(start_ + end_ + 1) / 2, value_});
    return found_;
  }

 private:
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
  if (i == 0) return 0;
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

  int Length() const { return endLine - firstLine; }
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
      if (old != open_.end() && IsSame(old->bar, bar)) {
        next_.push_back({bar, old->firstLine, y + 1});
        ++old;
      } else {
        next_.push_back({bar, y, y + 1});
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

  /// Whether a bar continues the group: wide spaces have few modules, and lengths are similar.
  bool Takes(const FollowedBar& next) const {
    constexpr double kMaxSpace = 5;  ///< narrowest bars
    const double gap = next.bar.start - bars.back().end;
    const double narrow = std::min(narrowest, next.bar.end - next.bar.start);
    const int overlap = std::min(endLine, next.endLine) - std::max(firstLine, next.firstLine);
    return gap > 0 && gap <= kMaxSpace * narrow + 1 &&
           overlap >= kMinOverlap * std::max(length, next.Length());
  }

  void Add(const FollowedBar& next) {
    bars.push_back(next.bar);
    firstLine = std::max(firstLine, next.firstLine);
    endLine = std::min(endLine, next.endLine);
    length = next.Length();
    narrowest = std::min(narrowest, next.bar.end - next.bar.start);
  }
};

std::vector<Group> GroupBars(const std::vector<FollowedBar>& bars) {
  std::vector<Group> groups;
  std::vector<Group> open;
  for (const FollowedBar& bar : bars) {
    // Groups that ended far to the left are complete.
    const auto complete = std::partition(open.begin(), open.end(), [&](const Group& group) {
      return bar.bar.start - group.bars.back().end < 6 * kMaxBarWidth;
    });
    std::move(complete, open.end(), std::back_inserter(groups));
    open.erase(complete, open.end());
    const auto taker = std::find_if(open.begin(), open.end(),
                                    [&](const Group& group) { return group.Takes(bar); });
    if (taker != open.end()) {
      taker->Add(bar);
    } else {
      open.push_back(
          {{bar.bar}, bar.firstLine, bar.endLine, bar.Length(), bar.bar.end - bar.bar.start});
    }
  }
  std::move(open.begin(), open.end(), std::back_inserter(groups));
  std::erase_if(groups, [](const Group& group) {
    return group.bars.size() < kMinBars || group.endLine - group.firstLine < kMinLength;
  });
  return groups;
}

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
  code->ink = *std::min_element(profile.begin(), profile.end());
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
  for (const Group& group : GroupBars(BarFollower().Find(grey))) {
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
  std::sort(codes.begin(), codes.end(), [](const BarCode& a, const BarCode& b) {
    const PageArea one = a.Area();
    const PageArea other = b.Area();
    return one.y != other.y ? one.y < other.y : one.x < other.x;
  });
  return codes;
}

}  // namespace orv::tool
