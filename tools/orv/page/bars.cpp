#include "tools/orv/page/bars.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <numeric>
#include <utility>

#include "tools/orv/page/bar_follower.h"
#include "tools/orv/page/extremes.h"

namespace orv::tool {
namespace {

constexpr std::size_t kMinBars = 9;  ///< of the shortest symbols
constexpr double kMinOverlap =
    0.65;                          ///< of the lengths of adjacent bars: some codes have long ones
constexpr double kMaxSlope = 0.2;  ///< of bars that are measured, in dots per line

/// Adjacent bars of similar length and tilt, from left to right.
class Group {
 public:
  Group(const FollowedBar& first, int drift)
      : bars_{first},
        drift_(drift),
        firstLine_(first.firstLine),
        endLine_(first.endLine),
        narrowest_(first.Width()),
        covariance_(first.Covariance()),
        variance_(first.Variance()) {}

  const std::vector<FollowedBar>& bars() const { return bars_; }
  int drift() const { return drift_; }
  /// The mean slope of the bars on the page.
  double Slope() const { return drift_ + covariance_ / variance_; }
  /// The middle of the lines that cross all bars, at the last bar.
  double MiddleLine() const { return (firstLine_ + endLine_) / 2; }
  /// The number of lines that cross all bars. They are at a right angle to the bars.
  double Lines() const { return endLine_ - firstLine_; }

  /// The widest space next to a bar as narrow as `narrow`: wide elements have few modules.
  static double MaxSpace(double narrow) { return 5 * narrow + 1; }
  /// How much a line at a right angle to bars of this slope rises within `dots` of a row.
  static double Rise(double slope, double dots) { return slope / (1 + slope * slope) * dots; }

  /// Whether all bars from this place on are too far away.
  bool IsComplete(double start) const {
    return start - bars_.back().last.end > MaxSpace(narrowest_);
  }

  /// Whether a bar continues the group: lengths and slopes are similar, and dark margins at the
  /// page's edge are not bars.
  bool Takes(const FollowedBar& next) const {
    const FollowedBar& last = bars_.back();
    const double distance = DistanceTo(next);
    const double gap = distance - (last.Width() + next.Width()) / 2;
    const double maxSpace = MaxSpace(std::min(narrowest_, next.Width()));
    const double atEdge =
        std::max(last.isAtEdge ? last.Width() : 0, next.isAtEdge ? next.Width() : 0);
    if (gap <= 0 || std::max(gap, atEdge) > maxSpace) return false;
    const double maxTurn = 0.05 + 1.5 / std::min(last.Length(), next.Length());
    if (std::abs(drift_ + next.Slope() - Slope()) > maxTurn) return false;
    const double rise = Rise(Slope(), distance);
    const double overlap = std::min<double>(endLine_ - rise, next.endLine) -
                           std::max<double>(firstLine_ - rise, next.firstLine);
    return overlap >= kMinOverlap * std::max(last.Length(), next.Length());
  }

  void Add(const FollowedBar& next) {
    const double rise = Rise(Slope(), DistanceTo(next));
    firstLine_ = std::max<double>(firstLine_ - rise, next.firstLine);
    endLine_ = std::min<double>(endLine_ - rise, next.endLine);
    narrowest_ = std::min(narrowest_, next.Width());
    covariance_ += next.Covariance();
    variance_ += next.Variance();
    bars_.push_back(next);
  }

 private:
  /// From the middle of the last bar to that of the next one, on a row that crosses both.
  double DistanceTo(const FollowedBar& next) const {
    const FollowedBar& last = bars_.back();
    const int line =
        (std::max(last.firstLine, next.firstLine) + std::min(last.endLine, next.endLine)) / 2;
    return next.MiddleAt(line) - last.MiddleAt(line);
  }

  std::vector<FollowedBar> bars_;
  int drift_;
  double firstLine_;  ///< of the lines that cross all bars, at the last bar
  double endLine_;
  double narrowest_;
  double covariance_;  ///< of all bars
  double variance_;
};

/// Groups bars, which come in the order of their places. Groups that can still grow are found by
/// their middle line: it is a line of every bar that they can take, because most of both overlaps.
class BarGrouper {
 public:
  BarGrouper(int lines, int drift)
      : drift_(drift), bands_(static_cast<std::size_t>(lines / kMinLength) + 1) {}

  void Add(const FollowedBar& bar) {
    const double slope = drift_ + bar.Slope();
    const double rise = std::abs(Group::Rise(slope, Group::MaxSpace(bar.Width()) + kMaxBarWidth));
    std::size_t taker = groups_.size();
    for (std::size_t i = BandOf(bar.firstLine - rise); i <= BandOf(bar.endLine + rise); ++i) {
      std::erase_if(bands_[i],
                    [&](std::size_t group) { return groups_[group].IsComplete(bar.last.start); });
      for (const std::size_t group : bands_[i]) {
        if (group < taker && groups_[group].Takes(bar)) taker = group;
      }
    }
    if (taker == groups_.size()) {
      groups_.emplace_back(bar, drift_);
    } else {
      std::erase(BandOf(groups_[taker]), taker);
      groups_[taker].Add(bar);
    }
    BandOf(groups_[taker]).push_back(taker);
  }

  /// The groups that are long and high enough, in the order of their first bars.
  std::vector<Group> Take() {
    std::erase_if(groups_, [](const Group& group) {
      return group.bars().size() < kMinBars || group.Lines() + 1 < kMinLength;
    });
    return std::move(groups_);
  }

 private:
  std::size_t BandOf(double line) const {
    const auto last = static_cast<double>(bands_.size() - 1);
    return static_cast<std::size_t>(std::clamp(line / kMinLength, 0.0, last));
  }
  std::vector<std::size_t>& BandOf(const Group& group) {
    return bands_[BandOf(group.MiddleLine())];
  }

  int drift_;
  std::vector<Group> groups_;
  std::vector<std::vector<std::size_t>> bands_;  ///< groups that can still grow
};

/// A part of a line-by-line scan: its lines, and the places from the first bar to the last one.
struct Span {
  int firstLine;
  int endLine;
  double start;
  double end;
};

/// The mean of the lines, from `left` up to `right`.
std::vector<double> ProfileOf(const Dots& grey, const Span& span, int left, int right) {
  std::vector<double> profile(static_cast<std::size_t>(right - left));
  for (int y = span.firstLine; y < span.endLine; ++y) {
    for (int x = left; x < right; ++x) profile[static_cast<std::size_t>(x - left)] += grey.At(x, y);
  }
  for (double& value : profile) value /= span.endLine - span.firstLine;
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
    dark.push_back(bars[i].Width());
    if (i > 0) light.push_back(bars[i].start - bars[i - 1].end);
  }
  return (NarrowestOf(std::move(dark)) + NarrowestOf(std::move(light))) / 2;
}

/// The median of a column: cuts in a bar do not make it pale.
double MedianOf(const Dots& grey, const Span& span, int x) {
  std::vector<std::uint8_t> values;
  for (int y = span.firstLine; y < span.endLine; ++y) values.push_back(grey.At(x, y));
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// Whether a light bar and dark ground are on both sides of the code: then its bars are spaces.
bool IsInverse(const Dots& grey, const Span& span, const BarCode& code) {
  const int light = static_cast<int>(3.5 * code.module);  // the widest outer bar has 3 modules
  const int ground = static_cast<int>(6 * code.module);   // no space is as wide
  const Bar& first = code.bars.front();
  const Bar& last = code.bars.back();
  const int left = std::max(static_cast<int>(first.start) - light - ground - 1, 0);
  const int right = std::min(static_cast<int>(last.end) + light + ground + 2, grey.width);
  const std::vector<double> profile = ProfileOf(grey, span, left, right);
  const auto isDark = [&](int x) {
    return x >= left && x < right &&
           profile[static_cast<std::size_t>(x - left)] < (code.paper + code.ink) / 2;
  };
  const auto hasGround = [&](const Bar& bar, int x, int step) {
    if (bar.Width() > ground) return true;
    const int end = x + step * light;
    while (x != end && !isDark(x)) x += step;
    int dark = 0;
    for (; dark < ground && isDark(x); x += step) ++dark;
    const bool isPageDark = dark > 0 && (x < 0 || x >= grey.width);
    return dark == ground || isPageDark;
  };
  return hasGround(first, static_cast<int>(first.start) - 1, -1) &&
         hasGround(last, static_cast<int>(last.end) + 1, 1);
}

/// Whether the widths of the bars differ by a module, also if ink spreads. Bars of equal widths are
/// a hatching or a ruler, whose outermost lines the page's edge may cut.
bool HasVariety(const BarCode& code) {
  constexpr double kMinVariety = 0.6;
  const auto [narrowest, widest] = std::minmax_element(
      code.bars.begin() + 1, code.bars.end() - 1,
      [](const Bar& one, const Bar& other) { return one.Width() < other.Width(); });
  return widest->Width() - narrowest->Width() >= kMinVariety * code.module;
}

/// Measures a bar code on the mean of its lines. False if it is not one.
bool Measure(const Dots& grey, const Span& span, BarCode* code) {
  constexpr int kMargin = 4;  ///< of paper
  const int left = std::max(static_cast<int>(span.start) - kMargin, 0);
  const int right = std::min(static_cast<int>(span.end) + kMargin + 1, grey.width);
  const std::vector<double> profile = ProfileOf(grey, span, left, right);
  Extremes<double> finder;
  const std::vector<Extreme>& extremes = finder.Find(profile.data(), right - left);
  if (extremes.size() < 2 * kMinBars + 1) return false;

  code->firstLine = span.firstLine;
  code->endLine = span.endLine;
  const auto darkest = std::min_element(profile.begin(), profile.end());
  code->ink = *darkest;
  code->barInk = MedianOf(grey, span, left + static_cast<int>(darkest - profile.begin()));
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
  for (std::size_t i = 1; i + 1 < extremes.size(); i += 2) {
    const int middle = extremes[i].at;
    code->bars.push_back({left + middle - darkness(extremes[i - 1].at, middle),
                          left + middle + darkness(middle, extremes[i + 1].at)});
    edge = std::min({edge, extremes[i - 1].value - extremes[i].value,
                     extremes[i + 1].value - extremes[i].value});
  }
  code->modulation = edge / contrast;
  code->module = ModuleOf(code->bars);
  if (!HasVariety(*code)) return false;
  code->isInverse = IsInverse(grey, span, *code);
  return true;
}

/// Measures a group whose bars are vertical. False if it is not a bar code.
bool MeasureUpright(const Dots& grey, const Group& group, BarCode* code) {
  const std::vector<FollowedBar>& bars = group.bars();
  Span span = {0, grey.height, bars.front().last.start, bars.back().last.end};
  for (const FollowedBar& bar : bars) {
    span.firstLine = std::max(span.firstLine, bar.firstLine);
    span.endLine = std::min(span.endLine, bar.endLine);
  }
  return span.endLine - span.firstLine >= kMinLength && Measure(grey, span, code);
}

/// The part of the page with a group of tilted bars, with a margin. Sets the bars, as far as the
/// lines of the page have shown them.
TiltedPart PartOf(const Group& group, std::vector<Bar>* bars) {
  const double slope = group.Slope();
  const auto pageX = [&](double place, int line) { return place + group.drift() * line; };
  const FollowedBar& front = group.bars().front();
  TiltedPart part = {slope,
                     static_cast<int>(pageX(front.MiddleAt(front.firstLine), front.firstLine)),
                     front.firstLine, 0, 0};
  double top = -1e9;
  double bottom = 1e9;
  for (const FollowedBar& bar : group.bars()) {
    const int last = bar.endLine - 1;
    top = std::max(top,
                   part.LineOf(pageX(bar.MiddleAt(bar.firstLine), bar.firstLine), bar.firstLine));
    bottom = std::min(bottom, part.LineOf(pageX(bar.MiddleAt(last), last), last));
    const int line = (bar.firstLine + last) / 2;
    const double middle = part.ColumnOf(pageX(bar.MiddleAt(line), line), line);
    const double half = bar.Width() / (1 + slope * slope) / 2;
    bars->push_back({middle - half, middle + half});
  }
  // The margin is enough to tell dark ground from paper.
  const int margin = 12 * static_cast<int>(ModuleOf(*bars)) + 4;
  const int first = static_cast<int>(std::floor(bars->front().start)) - margin;
  const int line = static_cast<int>(std::ceil(top));
  const int x = part.PageX(first, line);
  const int y = part.PageY(first, line);
  for (Bar& bar : *bars) bar = {bar.start - first, bar.end - first};
  part.x = x;
  part.y = y;
  part.width = static_cast<int>(bars->back().end) + margin;
  part.height = std::max(static_cast<int>(bottom) - line + 1, 0);
  return part;
}

/// Measures a group of tilted bars in the straightened part. False if it is not a bar code.
bool MeasureTilted(const Dots& grey, const Group& group, BarCode* code) {
  std::vector<Bar> bars;
  code->part = PartOf(group, &bars);
  if (code->part.height < kMinLength) return false;
  if (std::abs(code->part.slope) <= kMaxSlope) {
    const Span span = {0, code->part.height, bars.front().start, bars.back().end};
    return Measure(Straightened(grey, code->part, 255), span, code);
  }
  code->endLine = code->part.height;
  code->module = ModuleOf(bars);
  code->bars = std::move(bars);
  return HasVariety(*code);
}

/// Whether a bar code was found before: steep ones are found in rows and in columns.
bool IsKnown(const BarCode& code, const std::vector<BarCode>& codes) {
  const PageArea area = code.Area();
  return std::ranges::any_of(codes, [&](const BarCode& other) {
    return other.Covers(area.x + area.width / 2, area.y + area.height / 2);
  });
}

void AddCodes(const Dots& grey, bool isTurned, std::vector<BarCode>* codes) {
  constexpr double kMaxMove = 0.5;  ///< of upright bars over their length, in dots
  for (const auto& [drift, bars] : FollowBars(grey)) {
    BarGrouper grouper(grey.height, drift);
    for (const FollowedBar& bar : bars) grouper.Add(bar);
    for (const Group& group : grouper.Take()) {
      BarCode code;
      code.isTurned = isTurned;
      const bool isUpright = std::abs(group.Slope()) * group.Lines() < kMaxMove;
      const bool isCode =
          isUpright ? MeasureUpright(grey, group, &code) : MeasureTilted(grey, group, &code);
      if (isCode && (isUpright || !IsKnown(code, *codes))) codes->push_back(std::move(code));
    }
  }
}

}  // namespace

double BarCode::NarrowestGap() const {
  double gap = bars[1].start - bars[0].end;
  for (std::size_t i = 2; i < bars.size(); ++i) {
    gap = std::min(gap, bars[i].start - bars[i - 1].end);
  }
  return gap;
}

double BarCode::Tilt() const {
  const double angle = std::abs(std::atan(part.slope)) * 180 / std::numbers::pi;
  return std::min(angle, 90 - angle);
}

bool BarCode::CanMeasure() const { return !isInverse && std::abs(part.slope) <= kMaxSlope; }

std::pair<int, int> BarCode::PlaceOf(double along, int line) const {
  const int place = static_cast<int>(std::lround(along));
  const int x = IsTilted() ? part.PageX(place, line) : place;
  const int y = IsTilted() ? part.PageY(place, line) : line;
  return isTurned ? std::pair(y, x) : std::pair(x, y);
}

PageArea BarCode::Area() const {
  const double start = bars.front().start;
  const double end = bars.back().end;
  const std::array<std::pair<int, int>, 4> corners = {
      PlaceOf(start, firstLine), PlaceOf(end, firstLine), PlaceOf(start, endLine),
      PlaceOf(end, endLine)};
  std::pair<int, int> least = corners[0];
  std::pair<int, int> greatest = corners[0];
  for (const auto& [x, y] : corners) {
    least = {std::min(least.first, x), std::min(least.second, y)};
    greatest = {std::max(greatest.first, x), std::max(greatest.second, y)};
  }
  return {least.first, least.second, greatest.first - least.first, greatest.second - least.second};
}

bool BarCode::Covers(int x, int y) const {
  const int along = isTurned ? y : x;
  const int across = isTurned ? x : y;
  const double column = IsTilted() ? part.ColumnOf(along, across) : along;
  const double line = IsTilted() ? part.LineOf(along, across) : across;
  return column >= bars.front().start && column < bars.back().end && line >= firstLine &&
         line < endLine;
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
