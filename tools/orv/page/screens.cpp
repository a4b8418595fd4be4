#include "tools/orv/page/screens.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <random>

namespace orv::tool {
namespace {

/// The threshold for a rank: as many of `count` thresholds are at most v as v * count / 255 rounds
/// to.
std::uint8_t ThresholdOf(std::size_t rank, std::size_t count) {
  return static_cast<std::uint8_t>((2 * rank + 1) * 255 / (2 * count) + 1);
}

/// R. Ulichney, "The void-and-cluster method for dither array generation", Proc. SPIE 1913 (1993).
class VoidAndCluster {
 public:
  static constexpr int kSize = 64;
  static constexpr std::size_t kCount = std::size_t{kSize} * kSize;

  VoidAndCluster() : isDot_(kCount), energy_(kCount), ranks_(kCount) {
    FillKernel();
    Scatter();
    Spread();
    Rank();
  }

  const std::vector<std::size_t>& ranks() const { return ranks_; }

 private:
  static constexpr int kReach = 8;  ///< the energy of a dot is 0 beyond

  /// Gaussian with a standard deviation of 1.5 dots. Whole numbers make sums exact, so that every
  /// platform finds the same order.
  void FillKernel() {
    constexpr double kStep = 0.8007374029168081;  // exp(-1 / (2 * 1.5 * 1.5))
    std::array<double, 2 * kReach * kReach + 1> powers;
    powers[0] = 1 << 24;
    for (std::size_t i = 1; i < powers.size(); ++i) powers[i] = powers[i - 1] * kStep;
    for (int y = -kReach; y <= kReach; ++y) {
      for (int x = -kReach; x <= kReach; ++x) {
        kernel_[static_cast<std::size_t>(y + kReach)][static_cast<std::size_t>(x + kReach)] =
            std::llround(powers[static_cast<std::size_t>(x * x + y * y)]);
      }
    }
  }

  void Set(std::size_t at, bool isDot) {
    isDot_[at] = isDot;
    const int row = static_cast<int>(at) / kSize;
    const int column = static_cast<int>(at) % kSize;
    for (int y = -kReach; y <= kReach; ++y) {
      for (int x = -kReach; x <= kReach; ++x) {
        const int to = (row + y + kSize) % kSize * kSize + (column + x + kSize) % kSize;
        const std::int64_t energy =
            kernel_[static_cast<std::size_t>(y + kReach)][static_cast<std::size_t>(x + kReach)];
        energy_[static_cast<std::size_t>(to)] += isDot ? energy : -energy;
      }
    }
  }

  /// The dot with the most dots around it.
  std::size_t TightestCluster() const {
    std::size_t best = kCount;
    for (std::size_t i = 0; i < kCount; ++i) {
      if (isDot_[i] && (best == kCount || energy_[i] > energy_[best])) best = i;
    }
    return best;
  }

  /// The place without a dot that has the fewest dots around it.
  std::size_t LargestVoid() const {
    std::size_t best = kCount;
    for (std::size_t i = 0; i < kCount; ++i) {
      if (!isDot_[i] && (best == kCount || energy_[i] < energy_[best])) best = i;
    }
    return best;
  }

  /// Starts with dots at random places. The generator's numbers are laid down by the language.
  void Scatter() {
    std::mt19937 random(1);
    while (dots_ < kCount / 10) {
      const std::size_t at = random() % kCount;
      if (isDot_[at]) continue;
      Set(at, true);
      ++dots_;
    }
  }

  /// Moves dots from clusters to voids until the void is where the cluster was.
  void Spread() {
    std::size_t from;
    std::size_t to;
    do {
      from = TightestCluster();
      Set(from, false);
      to = LargestVoid();
      Set(to, true);
    } while (from != to);
  }

  void Rank() {
    const std::vector<bool> start = isDot_;
    for (std::size_t rank = dots_; rank-- > 0;) {
      const std::size_t at = TightestCluster();
      Set(at, false);
      ranks_[at] = rank;
    }
    for (std::size_t i = 0; i < kCount; ++i) {
      if (start[i]) Set(i, true);
    }
    // From half of the dots on the method fills the tightest cluster of white places. That is the
    // largest void, because the energies of both colours add up to the same sum everywhere.
    for (std::size_t rank = dots_; rank < kCount; ++rank) {
      const std::size_t at = LargestVoid();
      Set(at, true);
      ranks_[at] = rank;
    }
  }

  std::array<std::array<std::int64_t, 2 * kReach + 1>, 2 * kReach + 1> kernel_{};
  std::vector<bool> isDot_;
  std::vector<std::int64_t> energy_;
  std::vector<std::size_t> ranks_;
  std::size_t dots_ = 0;
};

Screen MakeBlueNoise() {
  const VoidAndCluster order;
  Screen screen{VoidAndCluster::kSize, {}};
  for (const std::size_t rank : order.ranks()) {
    screen.thresholds.push_back(ThresholdOf(rank, VoidAndCluster::kCount));
  }
  return screen;
}

/// Ranks the places of a square by the spot function cos(pi x / 4) cos(pi y / 4), which is highest
/// at two corners of places and lowest half-way between them: T. M. Holladay, "An optimum algorithm
/// for halftone generation for displays and hard copies", Proc. SID 21 (1980).
Screen MakeClustered() {
  constexpr std::size_t kSize = 8;
  constexpr std::size_t kCount = kSize * kSize;
  struct Place {
    long height;
    std::size_t pair;  ///< the same for the two places at which the spots grow alike
    std::size_t at;
  };
  std::vector<Place> places;
  for (std::size_t at = 0; at < kCount; ++at) {
    const auto wave = [](std::size_t i) {
      return std::cos(std::numbers::pi * (static_cast<double>(i) + 0.5) * 2 / kSize);
    };
    const std::size_t twin = (at / kSize + kSize / 2) % kSize * kSize + (at + kSize / 2) % kSize;
    // Rounded, so that equal heights are equal on every platform.
    places.push_back(
        {std::lround(1000 * wave(at % kSize) * wave(at / kSize)), std::min(at, twin), at});
  }
  std::stable_sort(places.begin(), places.end(), [](const Place& a, const Place& b) {
    return a.height != b.height ? a.height < b.height : a.pair < b.pair;
  });
  Screen screen{static_cast<int>(kSize), std::vector<std::uint8_t>(kCount)};
  for (std::size_t rank = 0; rank < kCount; ++rank) {
    screen.thresholds[places[rank].at] = ThresholdOf(rank, kCount);
  }
  return screen;
}

}  // namespace

const Screen& BlueNoiseScreen() {
  static const Screen screen = MakeBlueNoise();
  return screen;
}

const Screen& ClusteredScreen() {
  static const Screen screen = MakeClustered();
  return screen;
}

}  // namespace orv::tool
