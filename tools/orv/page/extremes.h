#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

/// The light and dark elements of a line of grey values.

namespace orv::tool {

/// The middle of a stretch where the values along a line are extreme.
struct Extreme {
  int at;  ///< the boundary before this dot
  double value;
};

/// Where the values cross `middle` between the dot before `i` and dot `i`. They are those of the
/// centres of dots.
inline double CrossingBefore(const std::uint8_t* values, int i, double middle) {
  const double before = values[i - 1];
  const double after = values[i];
  return before == after ? i : i - 0.5 + std::clamp((before - middle) / (before - after), 0.0, 1.0);
}

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
  static constexpr double kMinEdge = 20;  ///< the least difference of grey values at an edge

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

}  // namespace orv::tool
