#include "tools/orv/page/min_dots.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace orv::tool {
namespace {

struct Dot {
  int x;
  int y;
  bool operator==(const Dot&) const = default;
};

/// A plane whose small clusters are removed one after another.
class ClusterFilter {
 public:
  ClusterFilter(const PagePixels& page, int minDots, const Ink& ink, const IsKept& isKept)
      : page_(page),
        minDots_(static_cast<std::size_t>(minDots)),
        ink_(ink),
        isKept_(isKept),
        balance_(static_cast<std::size_t>(page.width() / kStrip + 1)) {}

  void Run() {
    for (int y = 0; y < page_.height(); ++y) {
      for (int x = 0; x < page_.width(); ++x) {
        if (!IsInk({x, y})) continue;
        FindCluster({x, y});
        if (cluster_.size() >= minDots_) continue;
        const bool hasKept = std::any_of(cluster_.begin(), cluster_.end(),
                                         [&](const Dot& dot) { return Keeps(dot); });
        if (!hasKept) Adjust(&balance_[static_cast<std::size_t>(x / kStrip)]);
      }
    }
  }

 private:
  static constexpr int kStrip = 8;  ///< columns that share a balance of ink
  /// Where a dot grows first: 4 dots are a square, and 9.
  static constexpr Dot kGrowth[] = {{1, 0},  {0, 1},   {1, 1},  {-1, 0},
                                    {0, -1}, {-1, -1}, {-1, 1}, {1, -1}};

  bool IsInk(const Dot& dot) const {
    return dot.x >= 0 && dot.y >= 0 && dot.x < page_.width() && dot.y < page_.height() &&
           !IsWhite(page_.Row(dot.y) + std::ptrdiff_t{3} * dot.x);
  }

  bool Keeps(const Dot& dot) const { return isKept_ && isKept_(dot.x, dot.y); }

  void Set(const Dot& dot, bool isInk) {
    Paint(page_.Row(dot.y) + std::ptrdiff_t{3} * dot.x, isInk, ink_);
  }

  /// Finds the dots of a cluster, but not more than `minDots`.
  void FindCluster(const Dot& first) {
    cluster_.assign(1, first);
    for (std::size_t i = 0; i < cluster_.size(); ++i) {
      const Dot from = cluster_[i];
      for (int y = from.y - 1; y <= from.y + 1; ++y) {
        for (int x = from.x - 1; x <= from.x + 1; ++x) {
          const Dot dot = {x, y};
          if (!IsInk(dot) || std::find(cluster_.begin(), cluster_.end(), dot) != cluster_.end()) {
            continue;
          }
          cluster_.push_back(dot);
          if (cluster_.size() == minDots_) return;
        }
      }
    }
  }

  /// Removes the cluster or lets it grow, whichever brings the strip's balance closer to 0.
  void Adjust(int* balance) {
    const int size = static_cast<int>(cluster_.size());
    const int missing = static_cast<int>(minDots_) - size;
    if (*balance + missing <= size - *balance && Grow()) {
      *balance += missing;
      return;
    }
    for (const Dot& dot : cluster_) Set(dot, false);
    *balance -= size;
  }

  /// Adds dots around the cluster. Returns false and changes nothing if they do not fit.
  bool Grow() {
    const std::size_t size = cluster_.size();
    for (std::size_t i = 0; i < cluster_.size() && cluster_.size() < minDots_; ++i) {
      const Dot from = cluster_[i];
      for (const auto& [x, y] : kGrowth) {
        const Dot dot = {from.x + x, from.y + y};
        const bool isOnPage =
            dot.x >= 0 && dot.y >= 0 && dot.x < page_.width() && dot.y < page_.height();
        if (!isOnPage || IsInk(dot) || Keeps(dot) || cluster_.size() == minDots_) continue;
        Set(dot, true);
        cluster_.push_back(dot);
      }
    }
    if (cluster_.size() == minDots_) return true;
    for (std::size_t i = size; i < cluster_.size(); ++i) Set(cluster_[i], false);
    cluster_.resize(size);
    return false;
  }

  const PagePixels& page_;
  std::size_t minDots_;
  Ink ink_;
  const IsKept& isKept_;
  std::vector<Dot> cluster_;
  std::vector<int> balance_;  ///< of dots added and removed, per strip
};

}  // namespace

void RemoveSmallClusters(const PagePixels& page, int minDots, const Ink& ink,
                         const IsKept& isKept) {
  ClusterFilter(page, minDots, ink, isKept).Run();
}

}  // namespace orv::tool
