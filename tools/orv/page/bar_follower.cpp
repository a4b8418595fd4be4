#include "tools/orv/page/bar_follower.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "tools/orv/page/extremes.h"

namespace orv::tool {
namespace {

/// Where the values between two extremes cross their middle, in dots.
double Crossing(const std::uint8_t* values, const Extreme& from, const Extreme& to) {
  const double middle = (from.value + to.value) / 2;
  const bool falls = to.value < from.value;
  int i = from.at;
  while (i < to.at && (values[i] >= middle) == falls) ++i;
  const bool isPageEdge = i == 0 || i == to.at;
  return isPageEdge ? i : CrossingBefore(values, i, middle);
}

/// Follows dark elements from line to line. What keeps its place over enough lines is a bar.
class BarFollower {
 public:
  /// Elements move by about `drift` dots from line to line.
  explicit BarFollower(int drift) : drift_(drift) {}

  /// Continues the open bars with the elements of a line, from left to right.
  void Follow(const std::vector<Bar>& elements, int width, int y) {
    next_.clear();
    auto old = open_.begin();
    const auto pass = [&](double start) {
      for (; old != open_.end() && old->last.start < start; ++old) {
        if (y - old->endLine < kMaxGap) {
          next_.push_back(*old);
        } else {
          Keep(*old);
        }
      }
    };
    for (const Bar& element : elements) {
      const bool isAtEdge = element.start == 0 || element.end == width;
      const int shift = drift_ * y;
      const Bar bar = {element.start - shift, element.end - shift};
      pass(bar.start - kStep);
      if (old != open_.end() && Continues(*old, bar)) {
        old->Add(bar, y, isAtEdge);
        next_.push_back(*old);
        ++old;
      } else {
        next_.emplace_back(bar, y, isAtEdge);
      }
    }
    pass(std::numeric_limits<double>::infinity());
    std::swap(open_, next_);
  }

  BarsAlong Take() {
    for (const FollowedBar& bar : open_) Keep(bar);
    std::sort(bars_.begin(), bars_.end(), [](const FollowedBar& a, const FollowedBar& b) {
      return a.last.start != b.last.start ? a.last.start < b.last.start : a.firstLine < b.firstLine;
    });
    return {drift_, std::move(bars_)};
  }

 private:
  static constexpr int kMaxGap = 2;      ///< damaged lines in a bar
  static constexpr double kStep = 1.05;  ///< of a tilted edge that is not smooth

  /// Keeps a bar that is on most of its lines. On every second or third line, hatchings seem to
  /// move in other directions.
  void Keep(const FollowedBar& bar) {
    if (bar.Length() >= kMinLength && 3 * bar.lines > 2 * bar.Length()) bars_.push_back(bar);
  }

  /// Whether an element is almost at the same place, or a dot away because the bar is tilted.
  static bool Continues(const FollowedBar& bar, const Bar& element) {
    constexpr double kTolerance = 0.6;
    constexpr double kSteepest = 0.55;  ///< steeper bars are found with another drift
    const double moved =
        std::max(std::abs(bar.last.start - element.start), std::abs(bar.last.end - element.end));
    const double turned = std::abs(element.Middle() - bar.origin);
    return moved < kTolerance || (moved < kStep && turned <= kSteepest * bar.Length() + 1);
  }

  int drift_;
  std::vector<FollowedBar> open_;
  std::vector<FollowedBar> next_;
  std::vector<FollowedBar> bars_;
};

/// Finds the dark elements of a line.
void FindElements(const std::uint8_t* line, const std::vector<Extreme>& extremes,
                  std::vector<Bar>* elements) {
  elements->clear();
  for (std::size_t i = 1; i + 1 < extremes.size(); i += 2) {
    const Bar element = {Crossing(line, extremes[i - 1], extremes[i]),
                         Crossing(line, extremes[i], extremes[i + 1])};
    if (element.Width() <= kMaxBarWidth) elements->push_back(element);
  }
}

}  // namespace

FollowedBar::FollowedBar(const Bar& bar, int line, bool isAtPageEdge)
    : last(bar),
      firstLine(line),
      endLine(line + 1),
      isAtEdge(isAtPageEdge),
      lines(1),
      origin(bar.Middle()),
      widths(bar.Width()),
      moves(0),
      rows(0),
      squares(0),
      products(0) {}

void FollowedBar::Add(const Bar& bar, int line, bool isAtPageEdge) {
  const double move = bar.Middle() - origin;
  const double row = line - firstLine;
  last = bar;
  endLine = line + 1;
  isAtEdge = isAtPageEdge;
  ++lines;
  widths += bar.Width();
  moves += move;
  rows += row;
  squares += row * row;
  products += row * move;
}

std::vector<BarsAlong> FollowBars(const Dots& grey) {
  std::vector<BarFollower> followers = {BarFollower(0), BarFollower(1), BarFollower(-1)};
  Extremes<std::uint8_t> finder;
  std::vector<Bar> elements;
  for (int y = 0; y < grey.height; ++y) {
    FindElements(grey.Row(y), finder.Find(grey.Row(y), grey.width), &elements);
    for (BarFollower& follower : followers) follower.Follow(elements, grey.width, y);
  }
  std::vector<BarsAlong> found;
  for (BarFollower& follower : followers) found.push_back(follower.Take());
  return found;
}

}  // namespace orv::tool
