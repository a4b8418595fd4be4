#pragma once

/// Finds the highlight of a page with SIMD vectors of single-precision lanes. Distances are
/// computed with a known maximum error; only colours whose distance is that close to the tolerance
/// are passed to `IsHighlight`.

#include <algorithm>
#include <array>
#include <cmath>

#include "imaging/colour.h"
#include "imaging/highlight.h"
#include "imaging/vector_pixels.h"
#include "orv/imaging/color_extensions.h"

namespace orv {
namespace {

/// Maximum difference, before scaling, between a distance computed here and the one that
/// `IsHighlight` compares; docs/imaging.md derives less than half of it.
constexpr float kDistanceError = 1.0f;

/// Exceeds the distance of any two colours, before scaling.
constexpr double kMaxDistance = 1e6;

constexpr int kColours = 4 * kHalves;  ///< colours per vector

/// The cube root of a positive number, with a relative error of at most 6.6 times 2^-24. The first
/// approximation, of the reciprocal, comes from the number's bits and is within 3.5 %; a
/// third-order and a second-order step follow. Not defined for 0: only black yields it, and black
/// is decided before.
inline VecFloat CubeRoot(VecFloat t) {
  const VecFloat one = SetFloat(1.0f);
  const VecFloat third = SetFloat(1.0f / 3.0f);
  const Vec guess = Sub32(Set32(0x54A21D2A), Truncate(MulF(ToFloat(AsBits(t)), third)));
  VecFloat r = AsFloat(guess);
  VecFloat h = SubF(one, MulF(MulF(t, r), MulF(r, r)));
  r = AddF(r, MulF(MulF(r, h), AddF(third, MulF(h, SetFloat(2.0f / 9.0f)))));
  h = SubF(one, MulF(MulF(t, r), MulF(r, r)));
  r = AddF(r, MulF(MulF(r, h), third));
  return MulF(MulF(t, r), r);
}

class HighlightExtractor {
 public:
  HighlightExtractor(const HighlightRule& rule, HighlightLimits* limits)
      : rule_(rule), linear_(LinearChannels().data()), factor_(StretchFactor(rule.colour)) {
    ColorExtensions::RGBToLab(Color(rule.colour), lab_);
    const double radius = std::min(rule.tolerance * kDistanceScale, kMaxDistance);
    const float inner = static_cast<float>(radius) - kDistanceError;
    const float outer = static_cast<float>(radius) + kDistanceError;
    inner_ = inner > 0.0f ? inner * inner : 0.0f;
    outer_ = outer > 0.0f ? outer * outer : 0.0f;
    if (!limits->areKnown) FindChannelLimits(outer, limits);
    minChannels_ = limits->lowest;
    maxChannels_ = limits->highest;
    for (Remembered& entry : remembered_) entry.colour = ~std::uint32_t{0};
  }

  /// Handles `kColours` pixels; reads up to four bytes more.
  void Extract(std::uint8_t* pixels) {
    const Vec spread = Indexes(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1);
    const Vec colours = Shuffle(Load(pixels, pixels + 12), spread);
    // Rejects most colours early: they have a channel outside the limits of all colours within the
    // tolerance.
    const Vec beyond = Or(SubSaturated8(colours, Set32(static_cast<int>(maxChannels_))),
                          SubSaturated8(Set32(static_cast<int>(minChannels_)), colours));
    const Vec nearlyWhite = Equal32(Or(colours, Set32(0x010101)), Set32(0xFFFFFF));
    const Vec nearlyBlack = Equal32(And(colours, Set32(0xFEFEFE)), Zero());
    const Vec isOpen = AndNot(Or(nearlyWhite, nearlyBlack), Equal32(beyond, Zero()));
    std::uint32_t inside = 0;
    if (const std::uint32_t open = SignBits32(isOpen); open != 0) {
      const VecFloat distance = SquaredDistances(Linear(colours));
      inside = SignBits32(LessF(distance, SetFloat(inner_))) & open;
      std::uint32_t unsure = SignBits32(LessF(distance, SetFloat(outer_))) & open & ~inside;
      for (; unsure != 0; unsure &= unsure - 1) {
        const int index = __builtin_ctz(unsure);
        if (Decide(ColourAt(pixels, index))) inside |= 1u << index;
      }
    }
    if (inside == 0) {
      std::memset(pixels, 255, 3 * kColours);
      return;
    }
    alignas(32) std::uint8_t values[4 * kColours];
    StoreAll(values, StretchedGreys(colours));
    for (int i = 0; i < kColours; ++i) {
      const std::uint8_t value = (inside >> i & 1) != 0 ? values[4 * i] : 255;
      pixels[3 * i] = pixels[3 * i + 1] = pixels[3 * i + 2] = value;
    }
  }

 private:
  /// The contributions of blue, green and red to X, Y and Z.
  static constexpr float kX[3] = {0.180423f * 95.047f, 0.35758f * 95.047f, 0.412453f * 95.047f};
  static constexpr float kY[3] = {0.072169f * 100.0f, 0.71516f * 100.0f, 0.212671f * 100.0f};
  static constexpr float kZ[3] = {0.950227f * 108.883f, 0.119193f * 108.883f, 0.019334f * 108.883f};

  struct Remembered {
    std::uint32_t colour;
    bool isHighlight;
  };

  static std::uint32_t ColourAt(const std::uint8_t* pixels, int index) {
    const std::uint8_t* pixel = pixels + 3 * index;
    return std::uint32_t{pixel[2]} << 16 | std::uint32_t{pixel[1]} << 8 | pixel[0];
  }

  /// Values of the blue, green and red channel.
  using Channels = std::array<int, 3>;

  /// Whether no colour between `lowest` and `highest` is within `radius`, before scaling. L* grows
  /// with every channel, a* with red and blue and against green, b* with red and green and against
  /// blue (docs/imaging.md shows why), so two corners determine the range of each.
  bool IsBeyond(const Channels& lowest, const Channels& highest, double radius) const {
    const auto root = [this](const float(&weights)[3], int blue, int green, int red) {
      return std::cbrt(double{weights[0]} * linear_[blue] + double{weights[1]} * linear_[green] +
                       double{weights[2]} * linear_[red]);
    };
    const auto lightness = [&](int blue, int green, int red) {
      return 116 * root(kY, blue, green, red) - 16;
    };
    const auto greenRed = [&](int blue, int green, int red) {
      return 500 * (root(kX, blue, green, red) - root(kY, blue, green, red));
    };
    const auto blueYellow = [&](int blue, int green, int red) {
      return 200 * (root(kY, blue, green, red) - root(kZ, blue, green, red));
    };
    const auto gap = [](double value, double from, double to) {
      return std::max({0.0, from - value, value - to});
    };
    const double gaps[] = {
        gap(lab_[0], lightness(lowest[0], lowest[1], lowest[2]),
            lightness(highest[0], highest[1], highest[2])),
        gap(lab_[1], greenRed(lowest[0], highest[1], lowest[2]),
            greenRed(highest[0], lowest[1], highest[2])),
        gap(lab_[2], blueYellow(highest[0], lowest[1], lowest[2]),
            blueYellow(lowest[0], highest[1], highest[2])),
    };
    return std::hypot(gaps[0], gaps[1], gaps[2]) > radius;
  }

  /// Finds channel limits that contain every colour within `radius`: cuts slices off the cube of
  /// all colours while a whole slice is farther away.
  void FindChannelLimits(double radius, HighlightLimits* limits) const {
    constexpr int kSlice = 8;
    Channels lowest = {0, 0, 0};
    Channels highest = {255, 255, 255};
    for (bool isSmaller = true; isSmaller;) {
      isSmaller = false;
      for (std::size_t channel = 0; channel < 3; ++channel) {
        while (highest[channel] - lowest[channel] > kSlice) {
          Channels from = lowest;
          from[channel] = highest[channel] - kSlice + 1;
          if (!IsBeyond(from, highest, radius)) break;
          highest[channel] -= kSlice;
          isSmaller = true;
        }
        while (highest[channel] - lowest[channel] > kSlice) {
          Channels to = highest;
          to[channel] = lowest[channel] + kSlice - 1;
          if (!IsBeyond(lowest, to, radius)) break;
          lowest[channel] += kSlice;
          isSmaller = true;
        }
      }
    }
    limits->areKnown = true;
    for (std::size_t channel = 0; channel < 3; ++channel) {
      limits->lowest |= static_cast<std::uint32_t>(lowest[channel]) << 8 * channel;
      limits->highest |= static_cast<std::uint32_t>(highest[channel]) << 8 * channel;
    }
  }

  bool Decide(std::uint32_t colour) {
    Remembered& entry = remembered_[colour * 2654435761u >> 24];
    if (entry.colour != colour) entry = {colour, IsHighlight(colour, rule_)};
    return entry.isHighlight;
  }

  struct LinearColours {
    VecFloat red;
    VecFloat green;
    VecFloat blue;
  };

  LinearColours Linear(Vec colours) const {
    const Vec byte = Set32(0xFF);
    return {LookUp(linear_, And(ShiftRight32<16>(colours), byte)),
            LookUp(linear_, And(ShiftRight32<8>(colours), byte)),
            LookUp(linear_, And(colours, byte))};
  }

  static VecFloat Weighted(const LinearColours& c, const float (&weights)[3]) {
    return AddF(AddF(MulF(c.red, SetFloat(weights[2])), MulF(c.green, SetFloat(weights[1]))),
                MulF(c.blue, SetFloat(weights[0])));
  }

  VecFloat SquaredDistances(const LinearColours& linear) const {
    const VecFloat fx = CubeRoot(Weighted(linear, kX));
    const VecFloat fy = CubeRoot(Weighted(linear, kY));
    const VecFloat fz = CubeRoot(Weighted(linear, kZ));
    const VecFloat lightness = SubF(MulF(fy, SetFloat(116.0f)), SetFloat(lab_[0] + 16.0f));
    const VecFloat greenRed = SubF(MulF(SubF(fx, fy), SetFloat(500.0f)), SetFloat(lab_[1]));
    const VecFloat blueYellow = SubF(MulF(SubF(fy, fz), SetFloat(200.0f)), SetFloat(lab_[2]));
    return AddF(AddF(MulF(lightness, lightness), MulF(greenRed, greenRed)),
                MulF(blueYellow, blueYellow));
  }

  /// `StretchGrey` of each colour, with the same operations.
  Vec StretchedGreys(Vec colours) const {
    const Vec blueRed = And(colours, Set32(0x00FF00FF));
    const Vec green = And(ShiftRight32<8>(colours), Set32(0xFF));
    const Vec thousandths =
        Add32(MulAddPairs(blueRed, Set32(299 << 16 | 114)), MulAddPairs(green, Set32(587)));
    const Vec grey = ShiftRight32<22>(Mul32(ShiftRight32<3>(thousandths), Set32(33555)));
    const VecFloat value =
        SubF(SetFloat(255.0f), MulF(ToFloat(Sub32(Set32(255), grey)), SetFloat(factor_)));
    return Truncate(MaxF(value, SetFloat(0.0f)));
  }

  HighlightRule rule_;
  const float* linear_;
  float factor_;
  float lab_[3];
  float inner_;                ///< squared distances below it are within the tolerance
  float outer_;                ///< squared distances from it on are not
  std::uint32_t minChannels_;  ///< minimum of each channel, 0x00RRGGBB, within outer_
  std::uint32_t maxChannels_;  ///< maximum of each channel
  Remembered remembered_[256];
};

void ExtractHighlight(const PixelPlane& plane, const HighlightRule& rule, HighlightLimits* limits) {
  HighlightExtractor extractor(rule, limits);
  for (int y = 0; y < plane.height; ++y) {
    ForRow<kColours, 4>(plane.Row(y), plane.width,
                        [&](std::uint8_t* pixels, int) { extractor.Extract(pixels); });
  }
}

}  // namespace
}  // namespace orv
